/* Runs that go wrong: everything must be as it was before, and the operator must learn what happened at which file. */
#include "command_support.h"

#include "command.h"
#include "driver/migr.h"
#include "driver/run_context.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <fcntl.h>

namespace fs = std::filesystem;
using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr char global_path[] = "/data/config/sys_global.conf.gz";
constexpr char domain_path[] = "/data/config/sys_domain.root.conf.gz";

/* As the library would: tells of the file, and does some harm to it. */
void begin_and_harm(const char *path)
{
    migr_on_file(path, MIGR_DOMAIN);
    unlink(path);
    close(open("/var/log/sys_added.conf", O_WRONLY | O_CREAT, 0600));
}

void write_file(const char *path, const std::string &bytes)
{
    int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        _exit(1);
    close(fd);
}

void write_release(const char *path, const char *release)
{
    write_file(path, gzip(headers(release) + "config a\nend\n"));
}

/* Runs this in the library's place, and expects that it fails, for that reason, without harm. */
void expect_put_back(TinyAppliance &box, const std::function<void()> &library, const std::string &reason,
                     std::chrono::milliseconds timeout = 60s)
{
    Listing                 before = box.without_snapshots();
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = library;
    request.timeout = timeout;
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find(reason), std::string::npos) << run.all();
    EXPECT_NE(run.err.find("Everything was put back as it was"), std::string::npos) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_FALSE(box.exists("/var/lib/migr/unfinished"));
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0); /* and nothing stands in the way of another try */
}

} // namespace

TEST(FailingRun, Crash)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            begin_and_harm(domain_path);
            signal(SIGSEGV, SIG_DFL);
            raise(SIGSEGV);
        },
        "The upgrade was killed (Segmentation fault), at sys_domain.root.conf.gz.");
}

TEST(FailingRun, Killed)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            begin_and_harm(global_path);
            raise(SIGKILL);
        },
        "The upgrade was killed (Killed), at sys_global.conf.gz.");
}

TEST(FailingRun, EndsEarly)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            unlink(global_path);
            _exit(0);
        },
        "The upgrade ended early, with exit code 0, ahead of the first file.");
}

TEST(FailingRun, Stall)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            begin_and_harm(domain_path);
            migr_on_stall("migr_some_step");
        },
        "The upgrade cannot get on with this configuration: it is stuck in migr_some_step, at "
        "sys_domain.root.conf.gz.");
}

TEST(FailingRun, TooLongWithoutProgress)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            begin_and_harm(global_path);
            pause();
        },
        "The upgrade went too long without progress (--timeout), at sys_global.conf.gz.", 300ms);
}

TEST(FailingRun, OutputIsNoProgress)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            begin_and_harm(global_path);
            for (;;)
                puts("and on and on");
        },
        "without progress", 300ms);
}

TEST(FailingRun, EachFileStartsTheTimeAnew)
{
    TinyAppliance           box;
    command::UpgradeRequest request;
    request.root = box.root();
    request.timeout = 600ms;
    request.library = [] {
        for (int file = 0; file < 8; file++) {
            migr_on_file(domain_path, MIGR_DOMAIN);
            usleep(150'000);
        }
        migr_main_do_all();
    };
    EXPECT_EQ(run_request(request).status, 0);
}

TEST(FailingRun, AFileIsGone)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            migr_main_do_all();
            unlink(domain_path);
        },
        "sys_domain.root.conf.gz was gone after the upgrade.");
}

TEST(FailingRun, AFileThatIsNoConfigurationIsGone)
{
    TinyAppliance box;
    box.write("/data/config/notes.txt", "notes");
    expect_put_back(
        box, [] { unlink("/data/config/notes.txt"); }, "notes.txt was gone after the upgrade.");
}

TEST(FailingRun, AFileIsUnreadable)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            migr_main_do_all();
            write_file(domain_path, "no gzip");
        },
        "sys_domain.root.conf.gz could not be read after the upgrade.");
}

TEST(FailingRun, AFileIsCutShort)
{
    TinyAppliance box;
    expect_put_back(
        box,
        [] {
            migr_main_do_all();
            fs::resize_file(global_path, fs::file_size(global_path) - 5);
        },
        "sys_global.conf.gz could not be read after the upgrade.");
}

TEST(FailingRun, ASplitWithoutItsDomainFile)
{
    TinyAppliance box;
    box.drop(domain_path);
    box.config("sys_global.conf.gz", "5.00", "config a\nend\n");
    Listing                 before = box.without_snapshots();
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = [] { write_release(global_path, MIGR_IMAGE_RELEASE); };
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find("no sys_domain.root.conf.gz came out of its split"), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(FailingRun, ASplitThatWentWell)
{
    TinyAppliance box;
    box.drop(domain_path);
    box.config("sys_global.conf.gz", "5.00", "config a\nend\n");
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = [] {
        for (const char *path : {global_path, global_path, domain_path})
            migr_on_file(path, MIGR_GLOBAL);
        write_release(global_path, MIGR_IMAGE_RELEASE);
        write_release(domain_path, MIGR_IMAGE_RELEASE);
    };
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_NE(run.out.find("[3/3] sys_domain.root.conf.gz"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("sys_global.conf.gz       5.00    " MIGR_IMAGE_RELEASE "   upgraded"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("sys_domain.root.conf.gz  -       " MIGR_IMAGE_RELEASE "   new"), std::string::npos)
        << run.out;
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_FALSE(box.exists(domain_path));
}

TEST(FailingRun, ASplitThatStoppedAt5_10IsNoLoss)
{
    TinyAppliance box;
    box.drop(domain_path);
    box.config("sys_global.conf.gz", "5.00", "config a\nend\n");
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = [] {
        write_release(global_path, MIGR_IMAGE_RELEASE);
        write_release(domain_path, "5.10");
    };
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 1) << run.all();
    EXPECT_NE(run.out.find("sys_domain.root.conf.gz  -       5.10   left alone"), std::string::npos) << run.out;
}

TEST(FailingRun, ASignalToTheCommand)
{
    for (int deadly : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        TinyAppliance box;
        expect_put_back(
            box,
            [&] {
                begin_and_harm(global_path);
                kill(getppid(), deadly);
                pause();
            },
            "The upgrade was stopped by a signal to migr, at sys_global.conf.gz.");
    }
}

TEST(FailingRun, ASignalToTheWholeGroupAsATerminalSendsIt)
{
    TinyAppliance           box;
    Listing                 before = box.without_snapshots();
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = [] {
        begin_and_harm(global_path);
        kill(0, SIGINT);
        pause();
    };
    Outcome run = run_request(request, [] { setpgid(0, 0); });
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(FailingRun, ASignalAheadOfTheRun)
{
    TinyAppliance           box;
    Listing                 before = box.without_snapshots();
    command::UpgradeRequest request;
    request.root = box.root();
    Outcome run = run_request(request, [] {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGTERM);
        sigprocmask(SIG_BLOCK, &held, nullptr);
        raise(SIGTERM);
    });
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find("Stopped by a signal. Nothing was changed."), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(FailingRun, JsonTellsIt)
{
    TinyAppliance           box;
    command::UpgradeRequest request;
    request.root = box.root();
    request.json = true;
    request.library = [] { abort(); };
    Outcome        run = run_request(request);
    nlohmann::json report = nlohmann::json::parse(run.out);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(report["status"], 3);
    EXPECT_EQ(report["restored"], true);
    EXPECT_EQ(report["trouble"], "The upgrade was killed (Aborted), ahead of the first file.");
}

TEST(FailingRun, InADryRunTouchesNothing)
{
    TinyAppliance           box;
    Listing                 before = box.listing();
    command::UpgradeRequest request;
    request.root = box.root();
    request.dry_run = true;
    request.library = [] {
        begin_and_harm(global_path);
        abort();
    };
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find("This was a dry run on a copy."), std::string::npos) << run.err;
    EXPECT_EQ(box.listing(), before);
}

TEST(FailingRun, TheImageCannotBeLaidIn)
{
    TinyAppliance box;
    TinyImage     image;
    box.drop("/etc/syntax_v510.txt");
    box.write("/etc/syntax_v510.txt/in", "a folder in the file's place");
    Listing before = box.without_snapshots();
    Outcome run = migr({"upgrade", box.root(), "--image", image.path()});
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find("/etc/syntax_v510.txt: cannot write it: Is a directory"), std::string::npos) << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(CutOffRun, IsPutBackByTheNextUpgrade)
{
    TinyAppliance box;
    migr({"upgrade", box.root()});
    box.write("/var/lib/migr/unfinished", box.snapshots().at(0));
    box.drop(global_path);
    Outcome dry = migr({"upgrade", "--dry-run", box.root()});
    EXPECT_EQ(dry.status, 2);
    EXPECT_NE(dry.err.find("the last upgrade was cut off"), std::string::npos) << dry.err;
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_NE(run.out.find("The last upgrade was cut off. Putting back what was before it"), std::string::npos);
    EXPECT_NE(run.out.find("sys_global.conf.gz       5.50    " MIGR_IMAGE_RELEASE "   upgraded"), std::string::npos)
        << run.out;
    EXPECT_FALSE(box.exists("/var/lib/migr/unfinished"));
}

TEST(CutOffRun, IsWhatARollbackPutsBack)
{
    TinyAppliance box;
    std::string   first = box.read(global_path);
    migr({"upgrade", box.root()});
    box.config("sys_global.conf.gz", "5.60", "config later\nend\n");
    migr({"upgrade", box.root()});
    box.write("/var/lib/migr/unfinished", box.snapshots().at(0)); /* the clock had been put back */
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_EQ(box.read(global_path), first);
}

TEST(CutOffRun, AMarkWithoutItsSnapshotCountsForNothing)
{
    TinyAppliance box;
    for (const char *mark : {"", "20200101T000000.000000Z", "../../../etc", "\n"}) {
        box.write("/var/lib/migr/unfinished", mark);
        EXPECT_EQ(migr({"upgrade", "--dry-run", box.root()}).status, 0) << mark;
    }
}

TEST(FullDisk, TheSnapshotDoesNotFit)
{
    TinyAppliance box;
    box.write("/data/etc/cert/large", std::string(100'000, 'x'));
    Listing before = box.without_snapshots();
    Outcome run = migr({"upgrade", box.root()}, [] {
        rlimit limit = {50'000, 50'000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find("File too large"), std::string::npos) << run.err;
    EXPECT_TRUE(box.snapshots().empty());
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(FullDisk, AResultDoesNotFit)
{
    TinyAppliance box;
    std::string   large = "config a\n    set b \"" + std::string(200'000, 'x') + "\"\nend\n";
    box.config("sys_domain.large.conf.gz", "5.50", large);
    std::string before = box.read("/data/config/sys_domain.large.conf.gz");
    Outcome     run = migr({"upgrade", box.root()}, [] {
        rlimit limit = {50'000, 50'000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.status, 1) << run.all();
    EXPECT_NE(run.out.find("sys_domain.large.conf.gz was left alone. There is no room to write its 200 kB."),
              std::string::npos)
        << run.all();
    EXPECT_EQ(box.read("/data/config/sys_domain.large.conf.gz"), before);
    EXPECT_NE(run.out.find("sys_global.conf.gz        5.50    " MIGR_IMAGE_RELEASE "   upgraded"), std::string::npos)
        << run.out;
}

namespace {

/* A small disk of its own, in a mount namespace of its own; false where that is not allowed. */
bool mount_small_disk(const std::string &path)
{
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("disk", path.c_str(), "tmpfs", 0, "size=600k,mode=755") == 0;
}

std::string bytes_that_do_not_pack(size_t count)
{
    std::string bytes;
    uint32_t    state = 1;
    while (bytes.size() < count) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>('0' + (state >> 24) % 64);
    }
    return bytes;
}

/* Copies a box to a small disk and does this there. 77 where no disk can be mounted. */
Outcome on_small_disk(const TinyAppliance &box, const std::function<int(const std::string &root)> &work)
{
    ApplianceRoot disk;
    std::string   root = disk.path().string() + "/tmp";
    return run_process([&] {
        if (!mount_small_disk(root))
            return 77;
        fs::copy(box.root(), root, fs::copy_options::recursive);
        return work(root);
    });
}

void fill_disk(const std::string &root, off_t left = 0)
{
    int         fd = open((root + "/fill").c_str(), O_WRONLY | O_CREAT, 0600);
    std::string page(4096, 'x');
    while (write(fd, page.data(), page.size()) > 0)
        ;
    if (ftruncate(fd, lseek(fd, 0, SEEK_CUR) - left) != 0)
        _exit(1);
    close(fd);
}

} // namespace

TEST(FullDisk, NoRoomForTheSnapshot)
{
    TinyAppliance box;
    Outcome       run = on_small_disk(box, [](const std::string &root) {
        fill_disk(root, 2 * 4096); /* for two files, and not for the manifest */
        const char *arguments[] = {"migr", "upgrade", root.c_str()};
        int         status = command::run_command(3, arguments);
        EXPECT_TRUE(fs::exists(root + global_path));
        EXPECT_FALSE(fs::exists(root + "/tmp/system1.conf"));
        return status;
    });
    if (run.status == 77)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find("No space left on device. Make room on that disk"), std::string::npos) << run.err;
}

TEST(FullDisk, TheWayBackNeedsNoMoreRoomThanThereWas)
{
    TinyAppliance box;
    std::string   text = headers("5.50") + "config a\n    set b " + bytes_that_do_not_pack(120'000) + "\nend\n";
    box.write_gzip(global_path, text);
    std::string before = box.read(global_path);
    Outcome     run = on_small_disk(box, [&](const std::string &root) {
        command::prepare_process();
        command::UpgradeRequest request;
        request.root = root;
        request.library = [] {
            int fd = open(global_path, O_WRONLY);
            if (write(fd, "harmed", 6) != 6) /* in its own room */
                _exit(1);
            close(fd);
            fill_disk("");
            abort();
        };
        int status = static_cast<int>(command::upgrade(request));
        EXPECT_EQ(fs::file_size(root + global_path), before.size());
        return status;
    });
    if (run.status == 77)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(run.status, 3) << run.all();
    EXPECT_NE(run.err.find("Everything was put back as it was"), std::string::npos) << run.all();
}
