/* The bar of a run, or its plain lines. It shows what it is told and measures nothing. */
#include "run/progress.h"

#include "output/console.h"
#include "output/printable.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

namespace command {

static bool can_redraw(FILE *stream)
{
    const char *terminal = getenv("TERM");
    return stream && isatty(fileno(stream)) && terminal && strcmp(terminal, "dumb") != 0;
}

static size_t terminal_columns(FILE *stream)
{
    winsize size = {};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/* The first characters of a text, whole ones. */
static std::string cut(const std::string &text, size_t most)
{
    size_t end = 0;
    for (size_t taken = 0; end < text.size() && taken < most; taken++)
        for (end++; end < text.size() && (text[end] & 0xc0) == 0x80;)
            end++;
    return text.substr(0, end);
}

Progress::Progress(FILE *stream, size_t expected_passes)
    : stream_(stream), bar_(can_redraw(stream)), expected_(std::max<size_t>(expected_passes, 1))
{
}

Progress::~Progress()
{
    if (drawn_)
        fputs("\n", stream_);
}

void Progress::begins(const std::string &file)
{
    begun_++;
    expected_ = std::max(expected_, begun_);
    if (bar_)
        draw(file);
    else if (stream_)
        print_line(stream_, "[" + std::to_string(begun_) + "/" + std::to_string(expected_) + "] " + file);
}

void Progress::is_done(size_t passes, const std::string &text)
{
    begun_ = passes + 1;
    if (bar_)
        draw(text);
    else if (stream_)
        print_line(stream_, "[" + std::to_string(passes) + "/" + std::to_string(expected_) + "] " + text);
}

void Progress::ends()
{
    begun_ = expected_ + 1;
    if (bar_)
        draw("done");
}

void Progress::draw(const std::string &file)
{
    static constexpr size_t width = 30;
    size_t                  done = begun_ - 1;
    size_t                  filled = width * done / expected_;
    std::string line = "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " + std::to_string(done) +
                       "/" + std::to_string(expected_) + " " + printable(file);
    fprintf(stream_, "\r%s\x1b[K", cut(line, terminal_columns(stream_) - 1).c_str());
    fflush(stream_);
    drawn_ = true;
}

} // namespace command
