/* The only file that prints lines. It makes them safe; what they say, and to whom, is decided elsewhere. */
#include "output/console.h"

#include "output/printable.h"
#include "system/failure.h"

#include <new>

namespace command {

static bool                     keeps = false;
static std::vector<std::string> kept;
static bool                     is_output_lost = false;

void print_line(FILE *stream, std::string_view line)
{
    std::string text = printable(line) + "\n";
    fwrite(text.data(), 1, text.size(), stream);
    fflush(stream);
}

bool is_all_printed()
{
    return fflush(stdout) == 0 && !ferror(stdout) && !is_output_lost;
}

void note_lost_output()
{
    is_output_lost = true;
}

void say(std::string_view line)
{
    if (keeps)
        kept.emplace_back(line);
    else
        print_line(stdout, line);
}

void complain(std::string_view line)
{
    if (keeps)
        kept.emplace_back(line);
    else
        print_line(stderr, "migr: " + std::string(line));
}

static void complain_at_length(const std::string &what)
{
    try {
        throw;
    } catch (const PathError &error) {
        complain(what + ": " + failure_of(error, error.path).what());
    } catch (const std::exception &failure) {
        complain(what + ": " + text_of(failure));
    }
}

void complain_of_what_was_thrown(const char *what)
{
    try {
        complain_at_length(what);
    } catch (const std::bad_alloc &) { /* to tell of it takes some, too */
        for (const char *part : {"migr: ", what, ": there is not enough memory\n"})
            fputs(part, stderr);
    }
}

void keep_lines(bool keep)
{
    keeps = keep;
    kept.clear();
}

const std::vector<std::string> &kept_lines()
{
    return kept;
}

} // namespace command
