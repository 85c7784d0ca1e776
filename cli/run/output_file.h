/*
 * A file that an operator has named for a result. Files inside an appliance are not written this way: there a link must
 * lead nowhere, and several files change together.
 */
#pragma once

#include "run/interrupts.h"

#include <string>
#include <string_view>

namespace command {

/* Who may read the file: its owner alone, or whoever could read what it replaces, and of a new one its owner alone. */
enum class Readers { owner, as_before };

/*
 * In full or not at all: what stood there stays until all is on disk. A link is followed unless it leads nowhere, and a
 * device or a pipe is written to. Throws PathError, naming `path`, and Failure when a signal ends the wait for a pipe's
 * reader.
 */
void write_output(const std::string &path, std::string_view bytes, Readers readers, Interrupts &interrupts);

} // namespace command
