/* The only file that prints lines. It makes them safe; what they say, and to whom, is decided elsewhere. */
#include "output/console.h"

#include "output/printable.h"

namespace command {

static bool                     keeps = false;
static std::vector<std::string> kept;

void print_line(FILE *stream, std::string_view line)
{
    std::string text = printable(line) + "\n";
    fwrite(text.data(), 1, text.size(), stream);
    fflush(stream);
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
