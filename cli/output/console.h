/* The only way to the terminal: one line a call, with whatever a terminal might act on written out. A command that
 * answers a program says nothing there: its lines are kept, for the answer. */
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace command {

void say(std::string_view line);               /* to standard output */
void complain(std::string_view line);          /* to standard error, with the command's name ahead */
using Print = void (*)(std::string_view line); /* one of the two */

/* What is left to do when everything that counts is done, to tell more about it or to write it down: its failure is
 * complained of, behind `what`, and is none of the command's. */
void complain_of_what_was_thrown(const char *what); /* by whoever has caught it */

template <typename Work> void do_or_complain(const char *what, const Work &work)
{
    try {
        work();
    } catch (...) {
        complain_of_what_was_thrown(what);
    }
}

void print_line(FILE *stream, std::string_view line);

/* Whether all that was printed to standard output has come out, also of what went past its stream. */
bool is_all_printed();
void note_lost_output(); /* by whoever went past it, and failed */

/* From here on say and complain print nothing, or print again. What has been kept until now is forgotten. */
void keep_lines(bool keep);

/* What has been said and complained of since, in its order, as it came. */
const std::vector<std::string> &kept_lines();

} // namespace command
