/* Folders and files with names that nobody would choose. */
#include "unit/cli/command_support.h"

#include "command.h"
#include "support/json_value.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

namespace fs = std::filesystem;
using namespace support;

namespace {

const char *const odd_names[] = {
    "sys_domain.with blank.conf.gz",
    "sys_domain.new\nline.conf.gz",
    "sys_domain.\x1b[31mred\x1b[0m.conf.gz",
    "sys_domain.zw\xc3\xb6lf.conf.gz",
    "sys_domain.\xff\xfe.conf.gz",
    "sys_domain.$(touch pwned).conf.gz",
    "sys_domain.%s%n.conf.gz",
    "-rf.conf.gz",
    "sys_domain.'\"\\.conf.gz",
};

/* What a terminal gets to see of a command. */
std::string on_terminal(const std::vector<std::string> &arguments)
{
    int     terminal = -1;
    winsize size = {24, 60, 0, 0};
    pid_t   child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        setenv("TERM", "xterm", 1);
        std::vector<const char *> all = {"migr"};
        for (const std::string &argument : arguments)
            all.push_back(argument.c_str());
        _exit(command::run_command(static_cast<int>(all.size()), all.data()));
    }
    std::string text;
    char        part[4096];
    for (ssize_t got; (got = read(terminal, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(got));
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    return text;
}

} // namespace

TEST(OddNames, AllAreUpgradedAndShownHarmlessly)
{
    TinyAppliance box;
    for (const char *name : odd_names)
        box.config(name, "5.50", "config a\nend\n");
    box.write(std::string("/data/etc/cert/local/") + odd_names[1], "cert");
    Listing before = box.without_snapshots();
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_TRUE(is_clean(run.all())) << run.all();
    EXPECT_NE(run.out.find("sys_domain.\\x1b[31mred\\x1b[0m.conf.gz: will be upgraded"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("sys_domain.new\\nline.conf.gz"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("sys_domain.zw\xc3\xb6lf.conf.gz"), std::string::npos) << run.out;
    for (const char *name : odd_names)
        EXPECT_NE(box.read_gzip(std::string("/data/config/") + name).find("-" MIGR_IMAGE_RELEASE "-"),
                  std::string::npos)
            << name;
    Outcome back = migr({"rollback", box.root()});
    EXPECT_EQ(back.status, 0) << back.all();
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(OddNames, JsonIsPlainAscii)
{
    TinyAppliance box;
    for (const char *name : odd_names)
        box.config(name, "5.50", "config a\nend\n");
    Outcome run = migr({"upgrade", "--json", box.root()});
    EXPECT_TRUE(is_clean(run.out));
    for (char c : run.out)
        ASSERT_GE(c, 0);
    EXPECT_EQ(support::JsonValue::parse(run.out)["files"].size(), 2 + std::size(odd_names));
}

TEST(OddNames, ARootOfThatKind)
{
    TinyAppliance box;
    std::string   root = box.root() + "/an\x1b[1m odd\nroot";
    fs::create_directory(root);
    for (const char *part : {"data", "etc", "tmp", "var"})
        fs::rename(box.root() + "/" + part, root + "/" + part);
    Outcome run = migr({"upgrade", root});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_TRUE(is_clean(run.all())) << run.all();
    size_t hint = run.out.find("migr rollback $'");
    ASSERT_NE(hint, std::string::npos) << run.out;
    EXPECT_NE(run.out.find("/an\\x1b[1m odd\\nroot'\n", hint), std::string::npos) << run.out;
    Outcome back = migr({"rollback", root});
    EXPECT_EQ(back.status, 0);
    EXPECT_TRUE(is_clean(back.all())) << back.all();
    Outcome wrong = migr({"upgrade", root + "/none"});
    EXPECT_TRUE(is_clean(wrong.all())) << wrong.all();
}

namespace {

/* The line of a hint, without what stands ahead of it. */
std::string hint(const std::string &text, const std::string &title)
{
    size_t at = text.find("\n" + title);
    if (at == std::string::npos)
        return "";
    at = text.find_first_not_of(' ', at + 1 + title.size());
    return text.substr(at, text.find('\n', at) - at);
}

/* What a shell makes of a command line, which it does not run: the words behind the command's name. */
std::vector<std::string> words_of(const std::string &line)
{
    std::string script = "migr() { printf '%s\\n' \"$@\"; }; zcat() { migr \"$@\"; }; less() { cat; }; " + line;
    Outcome     shell =
        run_process([&] { return execl("/bin/sh", "sh", "-c", script.c_str(), static_cast<char *>(nullptr)); });
    EXPECT_EQ(shell.err, "") << line;
    std::vector<std::string> words;
    std::istringstream       stream(shell.out);
    for (std::string word; std::getline(stream, word);)
        words.push_back(word);
    return words;
}

} // namespace

/* Whoever is told what to do next may copy it from the terminal, whatever the folder is called. */
TEST(OddNames, HintsCanBePasted)
{
    std::vector<const char *> names = {"the 'good' \"box\"",   "-o a'b", "-box", "my box",
                                       "$(touch pwned) ; #\\", "*",      "~"};
    if (is_sanitized()) /* what a shell makes of the others is found without */
        names.resize(2);
    for (const char *name : names) {
        SCOPED_TRACE(name);
        TinyAppliance box;
        std::string   root = box.root() + "/" + name;
        fs::create_directory(root);
        for (const char *part : {"data", "etc", "tmp", "var"})
            fs::rename(box.root() + "/" + part, root + "/" + part);
        auto there = [&] { EXPECT_EQ(chdir(box.root().c_str()), 0); };

        Outcome upgraded = migr({"upgrade", "--image", build_path("/image"), "--", name}, there);
        ASSERT_EQ(upgraded.status, 0) << upgraded.all();
        std::vector<std::string> look = words_of(hint(upgraded.out, "To look at a file:"));
        ASSERT_EQ(look.size(), 1U) << upgraded.out;
        EXPECT_TRUE(fs::exists(box.root() + "/" + look[0])) << look[0];

        Outcome back = migr(words_of(hint(upgraded.out, "To go back:")), there);
        EXPECT_EQ(back.status, 0) << back.all();
        Outcome undone = migr(words_of(hint(back.out, "To undo this:")), there);
        EXPECT_EQ(undone.status, 0) << undone.all();

        std::vector<std::string> snapshot = words_of("migr " + hint(upgraded.out, "Snapshot from before:"));
        ASSERT_EQ(snapshot.size(), 1U) << upgraded.out;
        EXPECT_EQ(migr({"rollback", "--", name, snapshot[0] + "/"}, there).status, 0);

        Outcome wrong = migr({"rollback", "--", name, "none"}, there);
        EXPECT_EQ(migr(words_of(wrong.err.substr(wrong.err.rfind(": migr ") + 2)), there).status, 0) << wrong.err;
        wrong = migr({"rollback", "--", name, ""}, there);
        EXPECT_EQ(migr(words_of(wrong.err.substr(wrong.err.rfind(": migr ") + 2)), there).status, 0) << wrong.err;
    }
}

TEST(Terminal, ShowsABarThatKeepsToItsLine)
{
    TinyAppliance box;
    std::string   long_name = "sys_domain." + std::string(100, 'x') + ".conf.gz";
    box.config(long_name, "5.50", "config a\nend\n");
    box.config(odd_names[2], "5.50", "config a\nend\n");
    std::string shown = on_terminal({"upgrade", box.root(), "--image", build_path("/image")});
    EXPECT_NE(shown.find("\r[..............................] 0/4 sys_global.conf.gz\x1b[K"), std::string::npos)
        << shown;
    EXPECT_NE(shown.find("\r[##############################] 4/4 done\x1b[K\r\n"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("\x1b[31m"), std::string::npos) << shown;
    for (size_t at = shown.find("\r["); at != std::string::npos; at = shown.find("\r[", at + 1))
        EXPECT_LT(shown.find("\x1b[K", at) - at, 61U);
}

TEST(Terminal, ADumbOneGetsPlainLines)
{
    TinyAppliance box;
    Outcome       run = migr({"upgrade", box.root()}, [] { setenv("TERM", "dumb", 1); });
    EXPECT_NE(run.out.find("[1/2] sys_global.conf.gz\n"), std::string::npos) << run.out;
}
