/* What a parent learns of its child: the passes, where it got stuck, what went wrong, how it ended. The library's hooks
 * are called as the library calls them; the work around them is made up, and the root folder is the machine's. */
#include "run/library_child.h"

#include "driver/migr.h"
#include "support/trees.h"
#include "system/failure.h"
#include "system/files.h"
#include "tree/changes.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace command;
using namespace std::chrono_literals;

namespace {

/* Room that a child shares with the test. */
template <typename Value> struct Shared {
    Shared()
        : value(static_cast<Value *>(
              mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~Shared()
    {
        munmap(value, sizeof(Value));
    }
    Value *value;
};

class LibraryChild : public support::TreeTest {
  protected:
    LibraryRun run(const std::function<void()> &work, std::chrono::milliseconds timeout = 60s)
    {
        Confinement confinement = {enter, lock.get()};
        return run_library(confinement, work, timeout, interrupts, progress);
    }
    /* Of work that calls nothing. */
    std::string trouble_of(const std::function<void()> &work, std::chrono::milliseconds timeout = 60s)
    {
        return run(work, timeout).trouble();
    }

    std::function<void()> enter = [] {};
    Fd                    lock{open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    Interrupts            interrupts;
    Progress              progress{nullptr, 1};
};

/* A record as it goes over the pipe, and what it may be. */
enum RawNote : uint32_t { pass, pass_end, misread, stall, no_start, done };

struct RawRecord {
    RawNote  note;
    uint32_t length;
    int64_t  time;
};

void tell_raw(RawNote note, const std::string &text)
{
    RawRecord   head = {note, static_cast<uint32_t>(text.size()), 0};
    std::string bytes(reinterpret_cast<char *>(&head), sizeof head);
    bytes += text;
    (void)!write(3, bytes.data(), bytes.size());
}

void wait_for_ever()
{
    for (;;)
        pause();
}

} // namespace

TEST_F(LibraryChild, TellsOfItsPasses)
{
    LibraryRun told = run([] {
        migr_on_file("/data/config/a", 0);
        migr_on_section(1, "first");
        migr_on_section(2, "second part");
        errno = ENOSPC;
        migr_on_file("/data/config/b", 0);
        usleep(20'000);
        migr_on_file("/data/config/c", 0);
        migr_on_section(1, "first");
        usleep(20'000);
        errno = EIO;
    });
    EXPECT_EQ(told.end, End::done);
    EXPECT_EQ(told.code, 0);
    EXPECT_EQ(told.error, EIO);
    EXPECT_EQ(told.trouble(), "");
    EXPECT_EQ(told.output, "");
    EXPECT_TRUE(told.misreadings.empty());
    ASSERT_EQ(told.passes.size(), 3u);
    EXPECT_EQ(told.passes[0].path, "/data/config/a");
    EXPECT_EQ(told.passes[0].phase, "second part");
    EXPECT_EQ(told.passes[0].error, ENOSPC);
    EXPECT_EQ(told.passes[1].path, "/data/config/b");
    EXPECT_EQ(told.passes[1].phase, "");
    EXPECT_EQ(told.passes[1].error, 0);
    EXPECT_GE(told.passes[1].time, 20ms);
    EXPECT_LT(told.passes[1].time, 20s);
    EXPECT_EQ(told.passes[2].phase, "first");
    EXPECT_EQ(told.passes[2].error, EIO);
    EXPECT_GE(told.passes[2].time, 20ms);
    EXPECT_LT(told.passes[2].time, 20s);
}

TEST_F(LibraryChild, WithoutAFileIsDone)
{
    LibraryRun told = run([] { errno = EACCES; });
    EXPECT_EQ(told.end, End::done);
    EXPECT_EQ(told.error, EACCES);
    EXPECT_TRUE(told.passes.empty());
    EXPECT_EQ(run([] {}).error, 0);
}

/* The library looks at errno, which is its own. */
TEST_F(LibraryChild, HooksKeepTheLastErrorOfAPass)
{
    LibraryRun told = run([] {
        migr_on_file("/a", 0);
        errno = EDOM;
        migr_on_section(1, "signatures");
        if (errno != EDOM)
            _exit(7);
    });
    EXPECT_EQ(told.code, 0);
    ASSERT_EQ(told.passes.size(), 1u);
    EXPECT_EQ(told.passes[0].error, EDOM);
}

TEST_F(LibraryChild, WhatItPrintsIsKept)
{
    EXPECT_EQ(run([] {
                  printf("out");
                  fflush(stdout);
                  fprintf(stderr, " err");
                  printf(" the end");
              }).output,
              "out err the end");
    size_t      most = 1 << 20;
    std::string part(most - 10, 'x');
    EXPECT_EQ(run([&] { printf("%s%s", part.c_str(), "0123456789more"); }).output, part + "0123456789");
}

/* A line is there as soon as it is printed, also of a child that a signal ends. */
TEST_F(LibraryChild, WhatACrashedOneHasPrintedIsKept)
{
    LibraryRun told = run([] {
        printf("a line\n");
        raise(SIGKILL);
    });
    EXPECT_EQ(told.end, End::crashed);
    EXPECT_EQ(told.output, "a line\n");
}

TEST_F(LibraryChild, StuckSaysWhere)
{
    LibraryRun told = run([] {
        migr_on_file("/data/config/a", 0);
        printf("a word");
        migr_on_stall("the walk");
    });
    EXPECT_EQ(told.end, End::stalled);
    EXPECT_EQ(told.code, 1);
    EXPECT_EQ(told.place, "the walk");
    EXPECT_EQ(told.output, "a word");
    EXPECT_EQ(told.trouble(), "The upgrade cannot get on with this configuration: it is stuck in the walk, at a.");
}

TEST_F(LibraryChild, ThatEndsEarlySaysHow)
{
    LibraryRun told = run([] {
        migr_on_file("/data/config/a", 0);
        _exit(5);
    });
    EXPECT_EQ(told.end, End::exited);
    EXPECT_EQ(told.code, 5);
    EXPECT_EQ(told.trouble(), "The upgrade ended early, with exit code 5, at a.");
    EXPECT_EQ(trouble_of([] { _exit(0); }), "The upgrade ended early, with exit code 0, ahead of the first file.");
}

TEST_F(LibraryChild, ThatASignalEndsSaysWhich)
{
    LibraryRun told = run([] { raise(SIGKILL); });
    EXPECT_EQ(told.end, End::crashed);
    EXPECT_EQ(told.code, SIGKILL);
    EXPECT_EQ(told.trouble(), "The upgrade was killed (Killed), ahead of the first file.");
}

TEST_F(LibraryChild, ThatCannotBeginSaysWhy)
{
    enter = [] { throw Failure(Status::unusable, "No way in."); };
    LibraryRun told = run([] { printf("at work"); });
    EXPECT_EQ(told.end, End::exited);
    EXPECT_EQ(told.code, 1);
    EXPECT_EQ(told.output, "");
    EXPECT_EQ(told.trouble(), "No way in.");
}

TEST_F(LibraryChild, WhoseWorkFailsSaysWhy)
{
    EXPECT_EQ(trouble_of([] {
                  throw PathError{"read", "x", EIO};
              }),
              "x: cannot read it: Input/output error. Look after the disk before anything else.");
    EXPECT_EQ(trouble_of([] { throw std::bad_alloc(); }),
              "There is not enough memory for the upgrade (Cannot allocate memory).");
    EXPECT_EQ(trouble_of([] { throw std::runtime_error("Another reason."); }), "Another reason.");
    for (const std::function<void()> &work : {std::function<void()>([] { throw std::runtime_error("Any."); }),
                                              std::function<void()>([] { throw std::bad_alloc(); })}) {
        LibraryRun told = run(work);
        EXPECT_EQ(told.end, End::exited);
        EXPECT_EQ(told.code, 1);
    }
}

TEST_F(LibraryChild, GoesTooLongWithoutProgress)
{
    auto       began = std::chrono::steady_clock::now();
    LibraryRun told = run(
        [] {
            migr_on_file("/data/config/a", 0);
            printf("a line\n");
            wait_for_ever();
        },
        50ms);
    EXPECT_EQ(told.end, End::timed_out);
    EXPECT_EQ(told.output, "a line\n");
    EXPECT_EQ(told.trouble(), "The upgrade went too long without progress (--timeout), at a.");
    EXPECT_GE(std::chrono::steady_clock::now() - began, 50ms);
}

/* Each pass begins the time anew; what is printed does not. */
TEST_F(LibraryChild, HasItsTimeForEachPass)
{
    LibraryRun told = run(
        [] {
            for (int pass = 0; pass < 12; pass++) {
                usleep(100'000);
                migr_on_file("/data/config/a", 0);
            }
        },
        1000ms);
    EXPECT_EQ(told.end, End::done);
    EXPECT_EQ(told.passes.size(), 12u);
    told = run(
        [] {
            for (;;) {
                usleep(10'000);
                printf("a line\n");
            }
        },
        200ms);
    EXPECT_EQ(told.end, End::timed_out);
}

TEST_F(LibraryChild, IsStoppedByASignal)
{
    raise(SIGTERM);
    LibraryRun told = run(wait_for_ever);
    EXPECT_EQ(told.end, End::interrupted);
    EXPECT_EQ(told.trouble(), "The upgrade was stopped by a signal to migr, ahead of the first file.");
}

/* Nothing of the parent's is open there but the lock, whose number is the same for all. */
TEST_F(LibraryChild, HasNoDescriptorsButItsOwn)
{
    struct Found {
        bool  is_open[64];
        char  input[2];
        bool  has_input;
        dev_t lock_device;
        ino_t lock_node;
    };
    Shared<Found> found;
    Fd            of_parent(fcntl(lock.get(), F_DUPFD, 40));
    run([&] {
        for (int fd = 0; fd < 64; fd++)
            found.value->is_open[fd] = fcntl(fd, F_GETFD) >= 0;
        struct stat st = {};
        fstat(4, &st);
        found.value->lock_device = st.st_dev;
        found.value->lock_node = st.st_ino;
        found.value->has_input = read(0, found.value->input, 1) != 0;
    });
    for (int fd = 0; fd < 64; fd++)
        EXPECT_EQ(found.value->is_open[fd], fd < 5) << fd;
    EXPECT_FALSE(found.value->has_input);
    struct stat st = {};
    ASSERT_EQ(fstat(lock.get(), &st), 0);
    EXPECT_EQ(found.value->lock_device, st.st_dev);
    EXPECT_EQ(found.value->lock_node, st.st_ino);
}

TEST_F(LibraryChild, WithoutItsLockCannotBegin)
{
    lock.reset();
    EXPECT_EQ(trouble_of([] {}), "a process: cannot arrange the descriptors of it: Bad file descriptor. "
                                 "Put that right and run migr again.");
}

TEST_F(LibraryChild, ThatTheSystemRefusesSaysWhat)
{
    constexpr char advice[] = "Too many open files. Put that right and run migr again.";

    support::fail_call("memfd_create", EMFILE);
    EXPECT_EQ(trouble_of([] {}), std::string("an empty file in memory: cannot open it: ") + advice);
    for (unsigned number = 1; number <= 5; number++) {
        support::fail_call("dup2", EMFILE, number);
        EXPECT_EQ(trouble_of([] {}), std::string("a process: cannot arrange the descriptors of it: ") + advice);
    }
    support::fail_call("poll", EIO);
    try {
        run(wait_for_ever);
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.doing, "hear");
        EXPECT_EQ(error.path, "the library");
        EXPECT_EQ(error.error, EIO);
    }
}

/* A signal in the middle of a call, in the parent or in the child. */
TEST_F(LibraryChild, LosesNoRecordToASignal)
{
    auto two_passes = [] {
        migr_on_file("/a", 0);
        printf("a line\n");
        migr_on_file("/b", 0);
    };
    for (const char *call : {"poll", "read", "write"})
        for (unsigned number = 1; number <= 4; number++) {
            support::fail_call(call, EINTR, number);
            LibraryRun told = run(two_passes);
            EXPECT_EQ(told.end, End::done) << call << number;
            EXPECT_EQ(told.passes.size(), 2u) << call << number;
            EXPECT_EQ(told.output, "a line\n") << call << number;
        }
}

/* One that nobody can be told is given up, and not told for ever. */
TEST_F(LibraryChild, GivesUpARecordThatCannotBeWritten)
{
    support::fail_call("write", EIO);
    LibraryRun told = run([] {
        migr_on_file("/a", 0);
        migr_on_file("/b", 0);
    });
    EXPECT_EQ(told.end, End::done);
    ASSERT_EQ(told.passes.size(), 1u);
    EXPECT_EQ(told.passes[0].path, "/b");
    support::fail_call("read", EIO, 2); /* the first one is a look for a signal */
    EXPECT_NE(run([] { migr_on_file("/a", 0); }).end, End::done);
}

/* A child has looked at hostile text: what it says need not make sense. */
TEST_F(LibraryChild, MayTellNonsense)
{
    LibraryRun told = run([] {
        tell_raw(pass_end, "28 signatures");
        tell_raw(misread, "1a");
    });
    EXPECT_EQ(told.end, End::done);
    EXPECT_TRUE(told.passes.empty());
    EXPECT_TRUE(told.misreadings.empty());
    told = run([] {
        migr_on_file("/a", 0);
        tell_raw(misread, "");
        tell_raw(pass_end, "");
        migr_on_file("", 0);
    });
    ASSERT_EQ(told.misreadings.size(), 1u);
    EXPECT_EQ(told.misreadings[0].misreading.kind, Misreading::Kind::no_value);
    EXPECT_TRUE(told.misreadings[0].misreading.path.empty());
}

TEST_F(LibraryChild, TellsARecordInPieces)
{
    LibraryRun told = run([] {
        RawRecord head = {pass, 4, 0};
        for (const std::string &piece : {std::string(reinterpret_cast<char *>(&head), 7),
                                         std::string(reinterpret_cast<char *>(&head) + 7, sizeof head - 7),
                                         std::string("/a"), std::string("/b")}) {
            (void)!write(3, piece.data(), piece.size());
            usleep(10'000);
        }
    });
    ASSERT_EQ(told.passes.size(), 1u);
    EXPECT_EQ(told.passes[0].path, "/a/b");
}

/* What it said of its end counts only if it ended so. */
TEST_F(LibraryChild, ThatSaysToBeDoneMayNotBe)
{
    LibraryRun killed = run([] {
        tell_raw(done, "0");
        raise(SIGKILL);
    });
    EXPECT_EQ(killed.end, End::crashed);
    EXPECT_EQ(killed.code, SIGKILL);
    LibraryRun ended = run([] {
        tell_raw(done, "0");
        _exit(3);
    });
    EXPECT_EQ(ended.end, End::exited);
    EXPECT_EQ(ended.code, 3);
    EXPECT_EQ(run([] {
                  tell_raw(done, "0");
                  _exit(0);
              }).end,
              End::done);
    LibraryRun stuck = run([] {
        tell_raw(stall, "there");
        raise(SIGKILL);
    });
    EXPECT_EQ(stuck.end, End::stalled);
    EXPECT_EQ(run([] {
                  tell_raw(stall, "");
                  _exit(1);
              }).end,
              End::stalled);
}

/* It is listened to as long as it holds either pipe. */
TEST_F(LibraryChild, MayCloseWhatItLikes)
{
    LibraryRun silent = run([] {
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        usleep(20'000);
        migr_on_file("/a", 0);
    });
    EXPECT_EQ(silent.end, End::done);
    EXPECT_EQ(silent.passes.size(), 1u);
    LibraryRun mute = run([] {
        close(3);
        usleep(20'000);
        printf("a line\n");
    });
    EXPECT_EQ(mute.end, End::exited);
    EXPECT_EQ(mute.code, 0);
    EXPECT_EQ(mute.output, "a line\n");
}

/* All of it comes while the parent is stopped, together with the signal that ends the child. */
TEST_F(LibraryChild, IsHeardOutWhenItIsKilled)
{
    support::Outcome outcome = support::run_process([&] {
        LibraryRun told = run([] {
            pid_t       parent = getppid();
            std::string state = "/proc/" + std::to_string(parent) + "/stat";
            kill(parent, SIGSTOP);
            for (std::string stat; stat.find(") T ") == stat.npos; usleep(1000))
                stat = read_file(state, Links::follow);
            migr_on_file("/a", 0);
            printf("a line\n");
            kill(parent, SIGTERM);
            kill(parent, SIGCONT);
            wait_for_ever();
        });
        printf("%d %zu %s", static_cast<int>(told.end), told.passes.size(), told.output.c_str());
        return 0;
    });
    EXPECT_EQ(outcome.out, std::to_string(static_cast<int>(End::interrupted)) + " 1 a line\n");
}

/* A path as long as it likes is told, cut to what a record takes. */
TEST_F(LibraryChild, TellsALongPathInPart)
{
    std::string path(5000, 'p');
    LibraryRun  told = run([&] { migr_on_file(path.c_str(), 0); });
    ASSERT_EQ(told.passes.size(), 1u);
    EXPECT_EQ(told.passes[0].path, path.substr(0, 2048));
    EXPECT_EQ(told.end, End::done);
}

TEST_F(LibraryChild, LooksHowATreeWillBeRead)
{
    ASSERT_EQ(support::parse("config a\nset b c\nset d e\nend\nconfig f\nset g h\nend\n"), 0);
    config_node *first = migr_main.root.top_list;
    set_node_value(first->set_list, "\"open");
    set_node_value(first->next->set_list, " ");
    LibraryRun told = run([] {
        migr_on_file("/x", 0);
        migr_on_section(1, "stage");
        migr_on_file("/y", 0);
        migr_on_section(1, "signatures");
    });
    ASSERT_EQ(told.misreadings.size(), 2u);
    EXPECT_EQ(told.misreadings[0].path, "/y");
    EXPECT_EQ(told.misreadings[0].misreading.kind, Misreading::Kind::open);
    EXPECT_EQ(told.misreadings[0].misreading.path, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(told.misreadings[1].misreading.kind, Misreading::Kind::no_value);
    EXPECT_EQ(told.misreadings[1].misreading.path, (std::vector<std::string>{"f", "g"}));
}

TEST_F(LibraryChild, TellsAHundredMisreadingsAtMost)
{
    ASSERT_EQ(support::parse("config a\n" + support::times(150, "set b c\n") + "end\n"), 0);
    for (config_node *set = migr_main.root.top_list->set_list; set; set = set->next)
        set_node_value(set, " ");
    LibraryRun told = run([] {
        migr_on_file("/x", 0);
        migr_on_section(1, "signatures");
    });
    EXPECT_EQ(told.misreadings.size(), 100u);
}

TEST_F(LibraryChild, WatchesItsSections)
{
    struct Seen {
        int32_t release;
        char    phase[16];
        char    pass[16];
    };
    Shared<Seen> seen;
    run([&] {
        watch_sections([&](int32_t release, const char *phase) {
            seen.value->release = release;
            strcpy(seen.value->phase, phase);
            strcpy(seen.value->pass, current_pass().c_str());
        });
        migr_on_file("/a", 0);
        migr_on_section(7, "stage");
    });
    EXPECT_EQ(seen.value->release, 7);
    EXPECT_STREQ(seen.value->phase, "stage");
    EXPECT_STREQ(seen.value->pass, "/a");
}

TEST_F(LibraryChild, AloneLetsItsResultsBeLarge)
{
    Shared<int> larger;
    run([&] {
        let_results_be_large();
        *larger.value = migr_unpacks_soon();
    });
    EXPECT_EQ(*larger.value, 1);
    EXPECT_EQ(migr_unpacks_soon(), 0);
    run([&] { *larger.value = migr_unpacks_soon(); });
    EXPECT_EQ(*larger.value, 0);
}

/* Nobody listens to a process that is no child. */
TEST_F(LibraryChild, HooksTellNothingElsewhere)
{
    errno = EDOM;
    migr_on_section(1, "signatures");
    EXPECT_EQ(errno, EDOM);
    migr_on_file("/here", 0);
    EXPECT_EQ(current_pass(), "/here");
    migr_on_stall("here"); /* comes back */
    EXPECT_EQ(migr_works_on_a_copy(), 1);
    migr_on_file("", 0);
    EXPECT_TRUE(run([] {}).passes.empty());
}

TEST_F(LibraryChild, ShowsHowFarItIs)
{
    char  *shown = nullptr;
    size_t length = 0;
    FILE  *stream = open_memstream(&shown, &length);
    {
        Progress    lines(stream, 2);
        Confinement confinement = {enter, lock.get()};
        run_library(
            confinement,
            [] {
                migr_on_file("/data/config/a", 0);
                migr_on_file("b", 0);
            },
            60s, interrupts, lines);
    }
    fclose(stream);
    EXPECT_STREQ(shown, "[1/2] a\n[2/2] b\n");
    free(shown);
}
