/* The lines and the bar, as a file and as a terminal get them. */
#include "run/progress.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

using command::Progress;

namespace {

/* What goes to a stream that is no terminal. */
std::string lines_of(size_t expected, const std::function<void(Progress &)> &work)
{
    char  *shown = nullptr;
    size_t length = 0;
    FILE  *stream = open_memstream(&shown, &length);
    {
        Progress progress(stream, expected);
        work(progress);
    }
    fclose(stream);
    std::string text(shown, length);
    free(shown);
    return text;
}

/* What goes to a terminal of so many columns, on which a line's end is one character. */
std::string bar_of(unsigned short columns, size_t expected, const std::function<void(Progress &)> &work,
                   const char *kind = "xterm")
{
    int     person = -1, terminal = -1;
    winsize size = {24, columns, 0, 0};
    termios raw = {};
    cfmakeraw(&raw);
    if (openpty(&person, &terminal, nullptr, &raw, &size) != 0)
        return "no terminal";
    setenv("TERM", kind, 1);
    if (!*kind)
        unsetenv("TERM");
    FILE *stream = fdopen(terminal, "w");
    {
        Progress progress(stream, expected);
        work(progress);
    }
    fclose(stream);
    std::string text;
    char        part[4096];
    for (ssize_t got; (got = read(person, part, sizeof part)) > 0;) /* fails when nobody is left who could write */
        text.append(part, static_cast<size_t>(got));
    close(person);
    return text;
}

std::string drawn(const std::string &line)
{
    return "\r" + line + "\x1b[K";
}

void two_passes(Progress &progress)
{
    progress.begins("a");
    progress.begins("b");
    progress.ends();
}

} // namespace

TEST(ProgressLines, NumberThePasses)
{
    EXPECT_EQ(lines_of(2, two_passes), "[1/2] a\n[2/2] b\n");
    EXPECT_EQ(lines_of(1, two_passes), "[1/1] a\n[2/2] b\n"); /* more came than was thought */
    EXPECT_EQ(lines_of(0, two_passes), "[1/1] a\n[2/2] b\n");
}

TEST(ProgressLines, TellWhatIsDone)
{
    EXPECT_EQ(lines_of(3,
                       [](Progress &progress) {
                           progress.is_done(1, "one");
                           progress.is_done(3, "three");
                       }),
              "[1/3] one\n[3/3] three\n");
}

TEST(ProgressLines, TellOfMoreThanWasThought)
{
    EXPECT_EQ(lines_of(0, [](Progress &progress) { progress.is_done(1, "one"); }), "[1/1] one\n");
}

TEST(ProgressLines, AreLeftOutWhereNobodyLooks)
{
    Progress progress(nullptr, 2);
    two_passes(progress);
    progress.is_done(1, "one");
}

TEST(ProgressBar, GrowsByPasses)
{
    std::string none(30, '.'), half = std::string(15, '#') + std::string(15, '.'), all(30, '#');
    EXPECT_EQ(bar_of(100, 2, two_passes),
              drawn("[" + none + "] 0/2 a") + drawn("[" + half + "] 1/2 b") + drawn("[" + all + "] 2/2 done") + "\n");
    EXPECT_EQ(bar_of(100, 4, [](Progress &progress) { progress.is_done(2, "two\x1b"); }),
              drawn("[" + half + "] 2/4 two\\x1b") + "\n");
    EXPECT_EQ(bar_of(100, 4, [](Progress &) {}), "");
}

TEST(ProgressBar, IsThereAtOnce)
{
    int person = -1, terminal = -1;
    ASSERT_EQ(openpty(&person, &terminal, nullptr, nullptr, nullptr), 0);
    setenv("TERM", "xterm", 1);
    FILE *stream = fdopen(terminal, "w");
    {
        Progress progress(stream, 1);
        progress.begins("a");
        pollfd wait = {person, POLLIN, 0};
        EXPECT_EQ(poll(&wait, 1, 10'000), 1);
    }
    fclose(stream);
    close(person);
}

TEST(ProgressBar, IsCutToTheTerminal)
{
    auto        of_name = [](const std::string &name) { return [name](Progress &progress) { progress.begins(name); }; };
    std::string ahead = "[" + std::string(30, '.') + "] 0/1 "; /* 37 characters */
    EXPECT_EQ(bar_of(41, 1, of_name("abcdef")), drawn(ahead + "abc") + "\n");
    EXPECT_EQ(bar_of(41, 1, of_name("abc")), drawn(ahead + "abc") + "\n");
    EXPECT_EQ(bar_of(41, 1, of_name("a\u00e4\u20acd")), drawn(ahead + "a\u00e4\u20ac") + "\n");
    EXPECT_EQ(bar_of(0, 1, of_name(std::string(60, 'x'))), drawn(ahead + std::string(42, 'x')) + "\n");
}

TEST(ProgressBar, IsNoneOnATerminalThatCannotRedraw)
{
    EXPECT_EQ(bar_of(100, 2, two_passes, "dumb"), "[1/2] a\n[2/2] b\n");
    EXPECT_EQ(bar_of(100, 2, two_passes, ""), "[1/2] a\n[2/2] b\n");
}
