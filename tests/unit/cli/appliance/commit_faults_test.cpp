/* Whatever call fails: a commit is made whole or not at all, says which, and leaves nothing that the next command would
 * not see to. Each commit is made inside a made-up root folder. */
#include "appliance/commit.h"

#include "support/appliance_root.h"
#include "support/places.h"
#include "system/digest.h"
#include "system/file_descriptor.h"
#include "unit/cli/failing_calls.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace command;
using support::Listing;

namespace {

const std::map<std::string, std::string> new_texts = {
    {"/data/config/a", "new a"}, {"/data/config/b", "new b"}, {"/data/config/d", "a file now"},
    {"/data/config/n/m/x", "x"}, {"/data/config/d2/x", "x"},
};

Entry file_with(const std::string &text)
{
    Entry entry;
    entry.mode = 0640;
    entry.size = text.size();
    entry.sha256 = sha256(text);
    return entry;
}

Entry link_to(const std::string &target)
{
    Entry entry;
    entry.type = 'l';
    entry.target = target;
    return entry;
}

Entry folder_of_mode(uint32_t mode)
{
    Entry entry;
    entry.type = 'd';
    entry.mode = mode;
    return entry;
}

Entry now_there(const std::string &path)
{
    Entry entry = entry_at(path);
    if (entry.type == 'f')
        entry.sha256 = sha256_of_path(path);
    return entry;
}

/* One change of each kind. Inside the root folder. */
Manifest manifest_of_all_kinds()
{
    Manifest manifest;
    manifest.name = "now";
    manifest.command = "upgrade";
    auto change = [&](const std::string &path, std::optional<Entry> after) {
        std::optional<Entry> before;
        if (entry_if_there(path))
            before = now_there(path);
        manifest.changes.push_back({path, before, std::move(after)});
    };
    change("/data/config/a", file_with("new a"));
    change("/data/config/b", file_with("new b"));
    change("/data/config/d", file_with("a file now"));
    change("/data/config/d/x", std::nullopt);
    change("/data/config/d2", folder_of_mode(0750));
    change("/data/config/d2/x", file_with("x"));
    change("/data/config/gone", std::nullopt);
    change("/data/config/link", link_to("there"));
    change("/data/config/n", folder_of_mode(0710));
    change("/data/config/n/m", folder_of_mode(0700));
    change("/data/config/n/m/x", file_with("x"));
    change("/data/config/open", folder_of_mode(0755));
    return manifest;
}

Fd content_of(const Change &change)
{
    Fd fd(memfd_create("content", MFD_CLOEXEC));
    write_all(fd.get(), new_texts.at(change.path), change.path);
    lseek(fd.get(), 0, SEEK_SET);
    return fd;
}

class CommitFaults : public testing::Test {
  protected:
    struct Box : support::ApplianceRoot {
        Box()
        {
            write("/data/config/a", "old a", 0644);
            write("/data/config/d/x", "in a folder");
            write("/data/config/d2", "no folder yet");
            write("/data/config/gone", "gone");
            link("/data/config/link", "here");
            folder("/data/config/open", 0700);
        }
        /* All but what migr keeps for itself. */
        Listing without_own() const
        {
            Listing all = listing();
            std::erase_if(all, [](const auto &one) { return one.first.starts_with("var/lib"); });
            return all;
        }
    };

    struct Made {
        bool        struck;
        int         status; /* 0: it was made */
        std::string text;
    };

    /* A commit of all those changes, with that call failing. */
    static Made made(const Box &box, const char *call, unsigned number, unsigned times = 1,
                     const ContentOf &content = content_of)
    {
        Root        root(box.path().string(), "BOX");
        std::string said = root.run([&] {
            Manifest manifest = manifest_of_all_kinds();
            support::fail_call(call, EIO, number, times);
            Made made = {false, 0, ""};
            try {
                commit(root, manifest, content);
            } catch (const Failure &failure) {
                made = {false, static_cast<int>(failure.status), failure.what()};
            } catch (const PathError &error) {
                made = {false, static_cast<int>(Status::unusable), failure_of(error, error.path).what()};
            }
            std::string all = (support::has_failed() ? "y" : "n") + std::to_string(made.status) + made.text;
            support::fail_call("", 0);
            return all;
        });
        return {said[0] == 'y', said[1] - '0', said.substr(2)};
    }

    static Leftover recovered(const Box &box)
    {
        Root        root(box.path().string(), "BOX");
        std::string said = root.run([] {
            bool     pending = is_commit_pending();
            Leftover leftover = recover();
            EXPECT_EQ(pending, leftover == Leftover::finished || leftover == Leftover::undone);
            EXPECT_FALSE(is_commit_pending());
            return std::to_string(static_cast<int>(leftover));
        });
        return static_cast<Leftover>(std::stoi(said));
    }

    static bool is_new(const Box &box)
    {
        Listing all = box.without_own();
        return all.at("data/config/a").content == "new a";
    }

    static Listing before()
    {
        return Box().without_own();
    }
    static Listing after()
    {
        Box box;
        EXPECT_EQ(made(box, "", 0).status, 0);
        return box.without_own();
    }
};

} // namespace

TEST_F(CommitFaults, NoneMakeEveryChange)
{
    Listing all = after();
    EXPECT_EQ(all["data/config/a"], (support::Entry{'f', 0640, "new a"}));
    EXPECT_EQ(all["data/config/d"], (support::Entry{'f', 0640, "a file now"}));
    EXPECT_EQ(all["data/config/d2"], (support::Entry{'d', 0750, ""}));
    EXPECT_EQ(all["data/config/link"].content, "there");
    EXPECT_EQ(all["data/config/n"], (support::Entry{'d', 0710, ""}));
    EXPECT_EQ(all["data/config/n/m/x"], (support::Entry{'f', 0640, "x"}));
    EXPECT_EQ(all["data/config/open"].mode, 0755u);
    EXPECT_EQ(all.count("data/config/gone"), 0u);
    EXPECT_EQ(all.size(), before().size() + 3); /* two went, five came */
}

/* What is undone is the same code for each call of a kind: a sanitized process, which takes long to fork, tries one of
 * three. */
TEST_F(CommitFaults, OfAnyCallLeaveAllOrNothing)
{
    Listing        old_state = before(), new_state = after();
    const unsigned step = support::is_sanitized() ? 3 : 1;
    for (const char *call : {"rename", "fsync", "unlink", "mkdir", "rmdir", "symlink", "link", "fchmod", "futimens"}) {
        unsigned number = 1;
        for (;; number += step) {
            Box         box;
            Made        one = made(box, call, number);
            std::string where = std::string(call) + " " + std::to_string(number) + ": " + one.text;
            if (!one.struck)
                break;
            bool pending = one.text.find("goes on with it") != std::string::npos;
            EXPECT_FALSE(pending) << where;
            EXPECT_EQ(box.without_own(), one.status == 0 ? new_state : old_state) << where;
            if (one.status != 0) {
                EXPECT_NE(one.text.find("Input/output error"), std::string::npos) << where;
                EXPECT_EQ(one.status, static_cast<int>(Status::failed)) << where;
            }
            if (one.status == static_cast<int>(Status::failed)) {
                EXPECT_TRUE(one.text.ends_with(" Everything is as it was.")) << where;
            }
            recovered(box);
            EXPECT_EQ(box.without_own(), one.status == 0 ? new_state : old_state) << where;
            EXPECT_EQ(box.exists("/var/lib/migr/snapshots/now"), one.status == 0) << where;
            EXPECT_FALSE(box.exists("/var/lib/migr/snapshots/.now")) << where;
            EXPECT_FALSE(box.exists("/var/lib/migr/commit")) << where;
            EXPECT_EQ(recovered(box), Leftover::none) << where;
        }
        EXPECT_GT(number, 1u) << call;
    }
}

/* The disk is gone for good from some rename on: the next command, on a disk that is there again, puts it right. */
TEST_F(CommitFaults, ThatLastAreSeenToByTheNextCommand)
{
    Listing  old_state = before(), new_state = after();
    unsigned told = 0;
    for (unsigned number = 1;; number++) {
        Box  box;
        Made one = made(box, "rename", number, 1000);
        if (!one.struck)
            break;
        if (one.text.find("Taking it back failed too (") != std::string::npos) {
            EXPECT_EQ(one.status, static_cast<int>(Status::failed));
            EXPECT_TRUE(one.text.ends_with("), so some files are new and some are old, each of them whole. The next "
                                           "migr that writes there goes on with it."))
                << one.text;
            told++;
        }
        recovered(box);
        EXPECT_EQ(box.without_own(), is_new(box) ? new_state : old_state) << number;
        EXPECT_EQ(recovered(box), Leftover::none) << number;
    }
    EXPECT_GT(told, 0u);
}

TEST_F(CommitFaults, ContentThatIsNotWhatWasCheckedIsNotPut)
{
    Listing old_state = before();
    Box     box;
    Made    one = made(box, "", 0, 1, [](const Change &change) {
        Fd fd = content_of(change);
        if (change.path.ends_with("/b"))
            write_all(fd.get(), "NEW B", change.path);
        lseek(fd.get(), 0, SEEK_SET);
        return fd;
    });
    EXPECT_EQ(one.text,
              "/data/config/b: cannot write it. Its new content is not what had been checked. Run migr again.");
    EXPECT_EQ(box.without_own(), old_state);
    EXPECT_EQ(recovered(box), Leftover::none);
}

/* Somebody else is at work there all the while: what they did stays. */
TEST_F(CommitFaults, WhatSomebodyElseChangesMeanwhileIsNotReplaced)
{
    const std::pair<const char *, const char *> theirs[] = {
        {"/data/config/a", "theirs"}, {"/data/config/b", "theirs"}, {"/data/config/gone", "theirs"}};
    for (const auto &[path, text] : theirs) {
        Box  box;
        Made one = made(box, "", 0, 1, [&path = path, &text = text](const Change &change) {
            unlink(path);
            Fd fd(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
            write_all(fd.get(), text, path);
            return content_of(change);
        });
        EXPECT_EQ(one.text, std::string(path) + ": cannot replace it. Somebody else changed it meanwhile. Nothing was "
                                                "done; run migr again.");
        EXPECT_EQ(box.read(path), text);
        EXPECT_FALSE(box.exists("/data/config/n"));
        EXPECT_EQ(recovered(box), Leftover::none);
    }
}
