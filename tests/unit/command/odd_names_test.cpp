/* Folders and files with names that nobody would choose. */
#include "command_support.h"

#include "command.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

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
    EXPECT_EQ(nlohmann::json::parse(run.out)["files"].size(), 2 + std::size(odd_names));
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
