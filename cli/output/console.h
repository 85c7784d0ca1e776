/* The only way to the terminal: one line a call, with whatever a terminal might act on written out. */
#pragma once

#include <cstdio>
#include <string_view>

namespace command {

void say(std::string_view line);      /* to standard output */
void complain(std::string_view line); /* to standard error, with the command's name ahead */
void print_line(FILE *stream, std::string_view line);

} // namespace command
