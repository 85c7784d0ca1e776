/* Calls of the library that fail on demand, one at a time. */
#pragma once

#include <cstddef>
#include <string>

namespace faults {

enum class Kind {
    memory, /* allocations */
    files,  /* calls to the system and the platform */
};

/* Whether one call fails or everything from it on. */
enum class Span { once, for_good };

/* From here on calls of that kind are counted, and number `nth` (from 1; 0 for none) fails. */
void start(Kind kind, Span span, size_t nth);

/* Ends that. How many calls there were. */
size_t stop();

/* The function whose call was the first to fail since `start`; empty when none did. */
std::string failed();

} // namespace faults
