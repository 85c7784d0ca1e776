/* Text of unknown origin (file names, configuration text) in a form that is safe to show. */
#pragma once

#include <string>
#include <string_view>

namespace command {

/*
 * The text with everything that a terminal might act on written out: control characters, escape sequences, characters
 * that turn the writing direction, and bytes that are no UTF-8 become \n, \t or \xNN. The result is valid UTF-8.
 */
std::string printable(std::string_view text);

/* A path as one word of a shell's command line, safe to show and to paste; no command takes it for an option. */
std::string shell_word(std::string_view path);

/* How many columns a printable text takes, near enough: one a character. */
size_t columns(std::string_view printable_text);

} // namespace command
