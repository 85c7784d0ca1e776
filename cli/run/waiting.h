/*
 * Reads and writes that take as long as somebody else likes: of pipes, devices and terminals. A signal ends each of
 * them. Whoever reads or writes ordinary files needs none of this.
 */
#pragma once

#include "run/interrupts.h"
#include "system/file_descriptor.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace command {

/* How messages call what an operator has named as input: "standard input" for "-". */
std::string shown_input(const std::string &path);

/* The bytes of what an operator has named as input; a pipe's end is waited for. Throws PathError, naming it as
 * messages do, and Failure when a signal comes first. */
std::string read_input(const std::string &path, Interrupts &interrupts);

/* Prints the question on that stream, and waits for a line on standard input. Whether it begins with "y". A signal ends
 * the wait: Failure, which says that nothing was changed. */
bool is_answered_yes(FILE *stream, const char *question, Interrupts &interrupts);

/* All of the bytes. Throws PathError, naming `path`, and Failure, which says that not all is there, when a signal comes
 * first. */
void write_all(int fd, std::string_view bytes, const std::string &path, Interrupts &interrupts);

/* A pipe or a device, open for writing. A pipe's reader is waited for. Throws as write_all does. */
Fd open_for_writing(const std::string &path, Interrupts &interrupts);

} // namespace command
