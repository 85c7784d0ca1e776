/* The only file that prints lines. It makes them safe; what they say, and to whom, is decided elsewhere. */
#include "output/console.h"

#include "output/printable.h"
#include "system/failure.h"

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

void do_or_complain(const std::string &what, const std::function<void()> &work)
{
    try {
        work();
    } catch (const PathError &error) {
        complain(what + ": " + failure_of(error, error.path).what());
    } catch (const std::exception &failure) {
        complain(what + ": " + text_of(failure));
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
