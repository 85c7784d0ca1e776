/* A command that waits for a pipe or a person ends when a signal comes, and leaves no private folder. */
#include "run/waiting.h"

#include "support/places.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace support;

namespace {

/* The configuration lies in a private folder: all input has been read, and what is left to wait for is the result's way
 * out. */
bool is_laid_out(const std::string &folder)
{
    return has_file_below(folder, "sys_global.conf.gz");
}

std::string told(const std::string &doing, const std::string &path, int error)
{
    return doing + " " + path + ": " + std::to_string(error);
}

/* Of a PathError; "" without one. */
std::string told_by(const std::function<void()> &work)
{
    try {
        work();
    } catch (const command::PathError &error) {
        return told(error.doing, error.path, error.error);
    }
    return "";
}

class Waiting : public testing::Test {
  protected:
    Waiting()
    {
        EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        box.folder("/private");
    }
    std::string path(const std::string &name) const
    {
        return box.path().string() + "/" + name;
    }
    Outcome stopped(
        const std::vector<std::string> &arguments, const Ahead &ahead = {}, int signal = SIGINT,
        const std::function<bool()> &ready = [] { return true; }) const
    {
        Outcome run = migr(arguments, [&] {
            setenv("TMPDIR", path("private").c_str(), 1);
            if (ahead)
                ahead();
            signal_soon(signal, ready);
        });
        EXPECT_TRUE(fs::is_empty(path("private"))) << arguments[0];
        return run;
    }
    /* Of a file that is at the image's release, and has been read: it only has to be put out. */
    Outcome stopped_at_result(std::vector<std::string> more, const Ahead &ahead = {}) const
    {
        box.write("/sys_global.conf", headers(MIGR_IMAGE_RELEASE) + "config system global\nend\n");
        more.insert(more.begin(), {"convert", path("sys_global.conf"), "--image", image});
        return stopped(more, ahead, SIGINT, [&] { return is_laid_out(path("private")); });
    }
    void expect_stopped(const Outcome &run, const std::string &state = "Nothing was changed.") const
    {
        EXPECT_EQ(run.status, 3) << run.all();
        EXPECT_TRUE(run.err.ends_with("migr: Stopped by a signal. " + state + "\n")) << run.all();
    }

    /* Writes it to the pipe, a byte at a time. A process: a thread would be there when the command is forked. */
    pid_t write_slowly(const std::string &text) const
    {
        pid_t writer = fork();
        if (writer != 0)
            return writer;
        int fd = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
        for (char c : text)
            if (write(fd, &c, 1) != 1)
                break;
        _exit(0);
    }

    ApplianceRoot box;
    std::string   pipe = path("pipe");
    std::string   image = build_path("/image");
};

} // namespace

TEST_F(Waiting, ForAPipeThatNobodyWrites)
{
    const std::vector<std::string> commands[] = {
        {"convert", pipe, "--image", image}, {"explain", pipe, "--image", image},
        {"check", pipe, "--image", image},   {"lint", pipe},
        {"ml", pipe, path("out")},
    };
    for (const std::vector<std::string> &arguments : commands)
        expect_stopped(stopped(arguments));
    for (int signal : {SIGTERM, SIGHUP, SIGQUIT})
        expect_stopped(stopped(commands[0], {}, signal));
}

TEST_F(Waiting, ForAWriterThatHasBegun)
{
    int writer = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(writer, "#config", 7), 7);
    expect_stopped(stopped({"convert", pipe, "--image", image}));
    close(writer);
}

TEST_F(Waiting, ForStandardInput)
{
    auto from_pipe = [&] { dup2(open(pipe.c_str(), O_RDWR), STDIN_FILENO); };
    expect_stopped(stopped({"convert", "-", "--image", image}, from_pipe));
    expect_stopped(stopped({"lint", "-"}, from_pipe));
}

TEST_F(Waiting, ForAReaderOfTheResult)
{
    expect_stopped(stopped_at_result({"-o", pipe}), "Not all of it went to " + pipe + ".");
    auto to_full_pipe = [&] {
        int fd = open(pipe.c_str(), O_RDWR | O_NONBLOCK);
        while (write(fd, "x", 1) == 1)
            ;
        fcntl(fd, F_SETFL, 0);
        dup2(fd, STDOUT_FILENO);
    };
    expect_stopped(stopped_at_result({}, to_full_pipe), "Not all of it went to standard output.");
}

TEST_F(Waiting, ForAPersonsAnswer)
{
    box.write("/old", "kept");
    int terminal = -1, person = -1;
    ASSERT_EQ(openpty(&person, &terminal, nullptr, nullptr, nullptr), 0);
    auto at_terminal = [&] { dup2(terminal, STDIN_FILENO); };
    expect_stopped(stopped_at_result({"-o", path("old")}, at_terminal));
    EXPECT_EQ(box.read("/old"), "kept");

    TinyAppliance appliance;
    migr({"upgrade", appliance.root()});
    appliance.write("/data/etc/cert/later.key", "of a person");
    Listing before = appliance.listing();
    expect_stopped(stopped({"rollback", appliance.root()}, at_terminal));
    EXPECT_EQ(appliance.listing(), before);
    close(terminal);
    close(person);
}

TEST_F(Waiting, IsNoneForAPipeInAnAppliance)
{
    TinyAppliance appliance;
    fs::rename(pipe, appliance.root() + "/data/config/sys_domain.pipe.conf.gz");
    for (const char *command : {"upgrade", "explain", "plan", "check"}) {
        Outcome run = migr({command, appliance.root(), "--image", image}, [] { alarm(patience); });
        EXPECT_EQ(run.signal, 0) << command;
        EXPECT_NE(run.status, 0) << command << run.all();
    }
}

TEST_F(Waiting, AWholeFileMayComeThroughAPipe)
{
    box.write("/plain", headers("5.50") + "config system global\n    set hostname \"box\"\nend\n");
    for (const std::vector<std::string> &arguments : {std::vector<std::string>{"convert", pipe, "--image", image},
                                                      {"explain", pipe, "--image", image},
                                                      {"check", pipe, "--image", image}}) {
        pid_t   writer = write_slowly(box.read("/plain"));
        Outcome run = migr(arguments, [] { alarm(patience); });
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        EXPECT_EQ(run.status, 0) << run.all();
    }
}

TEST_F(Waiting, AnInputIsReadWhole)
{
    std::string bytes(200'000, 'x');
    bytes[7] = '\0';
    box.write("/a", bytes);
    box.link("/link", "a");
    command::Interrupts interrupts;
    EXPECT_EQ(command::read_input(path("link"), interrupts), bytes);
    EXPECT_EQ(told_by([&] { command::read_input(path("none"), interrupts); }), told("read", path("none"), ENOENT));
    EXPECT_EQ(told_by([&] { command::read_input(path("data"), interrupts); }), told("read", path("data"), EISDIR));
}

TEST_F(Waiting, LosesNothingToASignalThatIsNoneOfOurs)
{
    std::string         bytes(20'000, 'x');
    command::Interrupts interrupts;
    box.write("/a", bytes);
    int out = open(path("out").c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for (const char *call : {"poll", "read", "write"})
        for (int error : {EINTR, EAGAIN}) {
            if (call == std::string("poll") && error == EAGAIN)
                continue;
            fail_call(call, error, 2); /* the first read is a look for a signal */
            EXPECT_EQ(command::read_input(path("a"), interrupts), bytes) << call << error;
            fail_call(call, error, 2);
            ASSERT_EQ(ftruncate(out, 0), 0);
            command::write_all(out, bytes, "x", interrupts);
            EXPECT_EQ(box.read("/out"), bytes) << call << error;
        }
    close(out);
}

TEST_F(Waiting, TellsWhatTheSystemRefuses)
{
    command::Interrupts interrupts;
    box.write("/a", "text");
    fail_call("poll", ENOMEM);
    EXPECT_EQ(told_by([&] { command::read_input(path("a"), interrupts); }), told("wait for", "a file", ENOMEM));
    int before = dup(STDIN_FILENO);
    dup2(open(path("a").c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    fail_call("read", EIO, 2); /* the first one is a look for a signal */
    EXPECT_EQ(told_by([&] { command::read_input("-", interrupts); }), told("read", "standard input", EIO));
    fail_call("read", EIO, 2);
    EXPECT_EQ(told_by([&] { command::is_answered_yes(stderr, "", interrupts); }), told("read", "standard input", EIO));
    for (int error : {EINTR, EAGAIN}) {
        fail_call("read", error, 2);
        EXPECT_FALSE(command::is_answered_yes(stderr, "", interrupts));
    }
    dup2(before, STDIN_FILENO);
    close(before);
    fail_call("write", EIO);
    EXPECT_EQ(told_by([&] { command::write_all(STDERR_FILENO, "text", "x", interrupts); }), told("write", "x", EIO));
    for (const char *name : {"none/x", "data"})
        EXPECT_TRUE(
            told_by([&] { command::open_for_writing(path(name), interrupts); }).starts_with("write " + path(name)));
}

TEST(Answer, IsYesOrNo)
{
    const std::pair<const char *, bool> answers[] = {{"y\n", true}, {"Yes\n", true},  {"n\n", false},
                                                     {"\n", false}, {"", false},      {"maybe y\n", false},
                                                     {"y", true},   {"no y\n", false}};
    for (const auto &[text, yes] : answers) {
        Outcome run = run_process([&] {
            int ends[2];
            if (pipe2(ends, O_CLOEXEC) != 0 || write(ends[1], text, strlen(text)) < 0)
                return 2;
            if (!strchr(text, '\n'))
                close(ends[1]); /* behind a line nobody waits for the end */
            dup2(ends[0], STDIN_FILENO);
            command::Interrupts interrupts;
            return command::is_answered_yes(stdout, "Well? ", interrupts) ? 1 : 0;
        });
        EXPECT_EQ(run.status, yes ? 1 : 0) << text;
        EXPECT_EQ(run.out, "Well? ");
    }
}
