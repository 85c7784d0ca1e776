/* Small appliances and images, and the command in a child with its output. The child is a fork: statics of the test
 * are the command's, too. */
#include "unit/cli/command_support.h"

#include "command.h"
#include "output/console.h"
#include "report/report.h"
#include "support/child_output.h"
#include "support/places.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pty.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace fs = std::filesystem;

namespace support {

/* These tests write much to disk and wait for it; in memory they need not. */
[[maybe_unused]] static const bool in_memory = [] {
    return !getenv("TMPDIR") && access("/dev/shm", W_OK | X_OK) == 0 && setenv("TMPDIR", "/dev/shm", 1) == 0;
}();

/* What a test has freed goes back to the system: each process that the next ones start would get a copy of its page
 * tables. */
class FreeMemory : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo &) override
    {
        malloc_trim(0);
    }
};

[[maybe_unused]] static const bool gives_back = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new FreeMemory);
    return true;
}();

constexpr char small_database[] = "CREATE TABLE class_map(main_class_id, sub_class_id, discard);"
                                  "CREATE TABLE signature_rule(signature_id, FP_mitigation, score);"
                                  "CREATE TABLE global_white_list(name);"
                                  "CREATE TABLE replacement_page(name, code, text);"
                                  "CREATE TABLE platform_limit(name, value);"
                                  "INSERT INTO class_map VALUES('010000000', '010000000', '1');"
                                  "INSERT INTO signature_rule VALUES('010000001', '1', '1');";

/* Made once: to make it takes longer than to lay out all the rest. */
static const std::string &small_database_file()
{
    static const std::string bytes = [] {
        ApplianceRoot root;
        root.database(small_database);
        return root.read("/data/etc/signature.db");
    }();
    return bytes;
}

std::string headers(const std::string &release, const std::string &model)
{
    return "#config-version=" + model + "-" + release + "-CV-build0601-170328:x\n#conf_file_ver=1\n";
}

static void write_image(const ApplianceRoot &root, const std::string &etc, const std::string &syntax_folder)
{
    root.write(etc + "/update_config", "# no rules\n");
    root.write(etc + "/system.conf.predefine", "#predefined\n");
    root.write(syntax_folder + "/syntax_v510.txt", "GLOBAL TABLE \"system global\"\n");
}

TinyImage::TinyImage()
{
    folder_.write("/image/signature.db", small_database_file(), 0644);
    write_image(folder_, "/image", "/image");
}

TinyAppliance::TinyAppliance()
{
    config("sys_global.conf.gz", "5.50", "config system global\n    set hostname \"box\"\nend\n");
    config("sys_domain.root.conf.gz", "5.50", "config server-policy policy\n    edit \"p\"\n    next\nend\n");
    write_image(*this, "/data/etc", "/etc");
    write("/data/etc/signature.db", small_database_file(), 0644);
}

void TinyAppliance::config(const std::string &name, const std::string &release, const std::string &text,
                           const std::string &model) const
{
    write_gzip("/data/config/" + name, headers(release, model) + text);
}

void TinyAppliance::drop(const std::string &inside) const
{
    fs::remove_all(path() / fs::path(inside).relative_path());
}

Listing TinyAppliance::without_snapshots() const
{
    Listing all = listing();
    std::erase_if(all, [](const auto &one) { return one.first == "var/lib" || one.first.starts_with("var/lib/"); });
    return all;
}

std::vector<std::string> TinyAppliance::snapshots() const
{
    std::vector<std::string> names;
    fs::path                 folder = path() / "var/lib/migr/snapshots";
    if (!fs::exists(folder))
        return names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Outcome run_process(const std::function<int()> &work, const Ahead &ahead)
{
    int out = memfd_create("out", MFD_CLOEXEC);
    int err = memfd_create("err", MFD_CLOEXEC);
    fflush(nullptr);
    pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("fork failed");
    if (child == 0) {
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        if (ahead)
            ahead();
        int status = work();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 70 : status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome outcome;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    outcome.out = drain(out);
    outcome.err = drain(err);
    return outcome;
}

void signal_soon(int signal, const std::function<bool()> &ready, pid_t to)
{
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, nullptr);
    alarm(patience);
    if (fork() != 0)
        return;
    alarm(patience);
    do
        usleep(100'000);
    while (!ready());
    kill(to, signal);
    _exit(0);
}

bool has_file_below(const std::string &folder, const std::string &name)
{
    std::error_code error;
    for (std::filesystem::recursive_directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        if (at->path().filename() == name)
            return true;
    return false;
}

Ahead with_input(const std::string &text)
{
    return [text] {
        int in = memfd_create("in", MFD_CLOEXEC);
        if (in < 0 || write(in, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
            lseek(in, 0, SEEK_SET) != 0 || dup2(in, STDIN_FILENO) < 0)
            _exit(71);
    };
}

Ahead person_who_says(const std::string &answer)
{
    return [answer] {
        int leader = -1, follower = -1;
        if (openpty(&leader, &follower, nullptr, nullptr, nullptr) != 0 ||
            write(leader, answer.data(), answer.size()) != static_cast<ssize_t>(answer.size()))
            _exit(71);
        dup2(follower, STDIN_FILENO);
    };
}

static bool wants_image(const std::vector<std::string> &arguments)
{
    auto has = [&](const char *word) { return std::find(arguments.begin(), arguments.end(), word) != arguments.end(); };
    return !arguments.empty() && arguments[0] == "upgrade" && arguments.size() > 1 && !has("--image") && !has("--help");
}

Outcome migr(const std::vector<std::string> &arguments, const Ahead &ahead)
{
    return run_process(
        [&] {
            std::vector<const char *> all = {"migr"};
            for (const std::string &argument : arguments)
                all.push_back(argument.c_str());
            std::string image = build_path("/image");
            if (wants_image(arguments))
                all.insert(all.end(), {"--image", image.c_str()});
            return command::run_command(static_cast<int>(all.size()), all.data());
        },
        ahead);
}

Outcome run_request(const command::UpgradeRequest &request, const Ahead &ahead)
{
    return run_process(
        [&] {
            command::prepare_process();
            command::Interrupts     interrupts;
            command::UpgradeRequest told = request;
            told.image = build_path("/image");
            told.run.tell = [](const std::string &line) { command::say(line); };
            try {
                command::Outcome outcome = command::upgrade(told, interrupts);
                command::show(outcome, true);
                return static_cast<int>(outcome.status);
            } catch (const command::Failure &failure) {
                command::complain(failure.what());
                return static_cast<int>(failure.status);
            }
        },
        ahead);
}

void become_nobody()
{
    if (geteuid() != 0)
        return;
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)
        throw std::runtime_error("cannot become another user");
    prctl(PR_SET_DUMPABLE, 1); /* as it is for a program that such a user starts */
}

void give_to_nobody(const std::string &path)
{
    if (geteuid() != 0)
        return;
    auto give = [](const fs::path &one) {
        if (lchown(one.c_str(), nobody, nobody) != 0)
            throw std::runtime_error("cannot give away " + one.string());
    };
    give(path);
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(path))
        give(entry.path());
}

bool users_may_chroot()
{
    Outcome tried = run_process([] { return unshare(CLONE_NEWUSER) == 0 ? 0 : 1; }, become_nobody);
    return tried.status == 0;
}

void be_refused_memory()
{
    volatile size_t too_much = PTRDIFF_MAX;
    void *volatile block = malloc(too_much); /* which a compiler may leave out otherwise */
    free(block);
    errno = 0;
}

void use_up_memory()
{
    rlimit none = {1, 1};
    setrlimit(RLIMIT_AS, &none);
    void *volatile block = nullptr; /* or a compiler would see that it is for nothing */
    for (size_t size : {4096, 256, 16})
        do
            block = malloc(size);
        while (block);
}

void refuse_calls(const std::vector<int> &calls, int error)
{
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    for (int call : calls)
        seccomp_rule_add(filter, SCMP_ACT_ERRNO(static_cast<unsigned>(error)), call, 0);
    if (seccomp_load(filter) != 0)
        _exit(77);
}

bool is_clean(const std::string &text)
{
    return std::none_of(text.begin(), text.end(), [](char c) {
        auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && c != '\n') || byte == 0x7f;
    });
}

} // namespace support
