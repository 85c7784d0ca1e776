/*
 * Memory that was refused, to whomever in this process: malloc, calloc and realloc of the whole program pass by here,
 * so that what shared libraries asked for is known as well. Much that is refused is gone on without, and leaves no
 * trace but another result. What is done about it is for each process to say.
 */
#pragma once

#include <string>

namespace command {

/* Whether memory was refused to this process, or to one that it was forked from, since that was last forgotten. In a
 * program with AddressSanitizer, whose own allocator stands there: never. */
bool memory_was_refused();
void forget_refused_memory();

/* Throws std::bad_alloc when it was. */
void require_no_refused_memory();

/* What has failed, and that memory was refused if it was: what cannot be read for want of it is told by some as if it
 * were no good. */
std::string with_likely_cause(const std::string &text);

/* From now on, in this process: `end` is called where memory is refused. It neither asks for any nor comes back. */
void end_when_refused_memory(void (*end)());

} // namespace command
