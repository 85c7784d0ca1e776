/*
 * Everything about entering a root folder: namespaces, rights, the lock, and the pipe on which an answer comes back.
 * What is done inside is the caller's.
 */
#include "appliance/root.h"

#include "run/child_process.h"
#include "run/system_calls.h"
#include "system/codec.h"
#include "system/failure.h"
#include "system/refused_memory.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/capability.h>
#include <new>
#include <poll.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace command {

namespace {

bool is_machine_root_folder(int fd)
{
    struct stat here = {}, machine = {};
    return fstat(fd, &here) == 0 && stat("/", &machine) == 0 && here.st_dev == machine.st_dev &&
           here.st_ino == machine.st_ino;
}

bool write_setting(const char *path, const std::string &text)
{
    Fd fd(open(path, O_WRONLY | O_CLOEXEC));
    return fd && write(fd.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/*
 * The user keeps its own number there, so that files show the owner that they have. The mounts stay shared, and nobody
 * in there has a right over them. With copies of its own, the descriptor that holds the lock would belong to another
 * copy than the new root folder, and ".." from there would lead past it.
 */
void enter_own_namespace(int refused)
{
    std::string uid = std::to_string(geteuid());
    std::string gid = std::to_string(getegid());
    bool        entered = unshare(CLONE_NEWUSER) == 0 && write_setting("/proc/self/setgroups", "deny") &&
                   write_setting("/proc/self/uid_map", uid + " " + uid + " 1") &&
                   write_setting("/proc/self/gid_map", gid + " " + gid + " 1");
    if (!entered)
        throw Failure(Status::unusable, std::string("migr may not change its root folder (") + strerror(refused) +
                                            "), nor in a user namespace of its own (" + strerror(errno) +
                                            "). Run it as root, with the right CAP_SYS_CHROOT.");
}

/* What is left is the power over files, and over the blocks that a disk keeps back for root. Above all no
 * CAP_SYS_ADMIN: the library's remount of /data must not reach the mounts of the machine. */
void keep_only_file_rights()
{
    static constexpr uint32_t kept = 1U << CAP_CHOWN | 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH |
                                     1U << CAP_FOWNER | 1U << CAP_FSETID | 1U << CAP_SYS_RESOURCE;
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct   rights[2] = {};
    if (syscall(SYS_capget, &header, rights) != 0)
        throw PathError{"read", "the rights of this process", errno};
    rights[0].effective = rights[0].permitted = rights[0].permitted & kept;
    rights[0].inheritable = 0;
    rights[1] = {};
    if (syscall(SYS_capset, &header, rights) != 0)
        throw PathError{"give up", "the rights of this process", errno};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
}

void change_root(int fd)
{
    if (fchdir(fd) != 0)
        throw PathError{"enter", "/", errno};
    if (chroot(".") == 0)
        return;
    enter_own_namespace(errno);
    if (chroot(".") != 0)
        throw PathError{"enter", "/", errno};
}

/* What comes over the pipe: what the work gave, or why it gave nothing. */
struct Answer {
    bool        failed = false;
    Status      status = Status::unusable;
    int         error = 0; /* as of a Failure */
    std::string bytes;
};

auto fields_of(Answer &answer)
{
    return std::tie(answer.failed, answer.status, answer.error, answer.bytes);
}

Answer answer_of(const Root &root, const std::function<std::string()> &work)
{
    try {
        forget_refused_memory();
        root.enter();
        std::string bytes = work();
        require_no_refused_memory();
        return {false, Status::done, 0, std::move(bytes)};
    } catch (const Failure &failure) {
        int error = memory_was_refused() ? ENOMEM : failure.error;
        return {true, failure.status, error, with_likely_cause(failure.what())};
    } catch (const PathError &error) {
        std::string text = failure_of(error, root.shows(error.path)).what();
        return {true, Status::unusable, error.error, error.error == ENOMEM ? text : with_likely_cause(text)};
    } catch (const std::bad_alloc &error) {
        return {true, Status::failed, ENOMEM, root.shown() + ": " + text_of(error)};
    } catch (const std::exception &error) {
        return {true, Status::unusable, 0, root.shown() + ": " + text_of(error)};
    }
}

/* Gives the exit code: the errno that kept the answer from being sent. */
int send_answer(const Root &root, const std::function<std::string()> &work, int fd)
{
    try {
        write_all(fd, encoded(answer_of(root, work)), "a pipe");
    } catch (const PathError &error) {
        return error.error;
    } catch (...) {
        return ENOMEM;
    }
    return 0;
}

std::string how_it_ended(int status)
{
    if (WIFSIGNALED(status))
        return "was killed";
    return "could not give its answer: " + std::string(strerror(WEXITSTATUS(status)));
}

/* Waits until the child says or ends something. False when a signal came first. */
bool wait_for_answer(int fd, Interrupts *interrupts)
{
    pollfd waits[] = {{fd, POLLIN, 0}, {interrupts ? interrupts->fd() : -1, POLLIN, 0}};
    while (poll(waits, 2, -1) < 0 && errno == EINTR)
        ;
    return !(interrupts && interrupts->came());
}

} // namespace

Root::Root(const std::string &path, const std::string &shown_as)
    : path_(path), shown_(shown_as.empty() ? path : shown_as),
      fd_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (!fd_)
        throw failure_of({"enter", path, errno}, shown_);
    machine_root_ = is_machine_root_folder(fd_.get());
    while (shown_.size() > 1 && shown_.back() == '/')
        shown_.pop_back();
}

Root::Root(Fd fd, const std::string &shown_as) : shown_(shown_as), fd_(std::move(fd))
{
    machine_root_ = is_machine_root_folder(fd_.get());
}

std::string Root::shows(const std::string &inside) const
{
    if (inside.empty() || inside[0] != '/' || shown_ == "/")
        return inside;
    return inside == "/" ? shown_ : shown_ + inside;
}

/* A killed migr takes a moment to let go, and its child another. */
void Root::lock() const
{
    static constexpr int        tries = 20;
    static constexpr useconds_t pause_between = 50'000;
    for (int left = tries; left > 0; left--) {
        if (flock(fd_.get(), LOCK_EX | LOCK_NB) == 0)
            return;
        if (errno != EWOULDBLOCK)
            break;
        usleep(pause_between);
    }
    if (errno == EWOULDBLOCK)
        throw Failure(Status::unusable, shown_ + ": another migr is at work there. Wait until it has ended.", errno);
    throw failure_of({"lock", path_, errno}, shown_);
}

std::string Root::run(const std::function<std::string()> &work, Interrupts *interrupts) const
{
    Pipe         pipe;
    ChildProcess child([&] { return send_answer(*this, work, pipe.write_end.get()); });
    pipe.write_end.reset();
    if (!wait_for_answer(pipe.read_end.get(), interrupts))
        child.kill();
    std::string bytes = read_all(pipe.read_end.get(), "a pipe");
    int         status = child.wait();
    if (interrupts)
        interrupts->stop_here("Nothing was changed.");
    if (bytes.empty())
        throw ChildEnded(shown_ + ": the process that looked into it " + how_it_ended(status) + ". Run migr again.");
    auto answer = decoded<Answer>(bytes);
    if (answer.failed)
        throw Failure(answer.status, answer.bytes, answer.error);
    return std::move(answer.bytes);
}

void Root::enter() const
{
    rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (!machine_root_)
        change_root(fd_.get());
    if (chdir("/") != 0)
        throw PathError{"enter", "/", errno};
    if (!machine_root_)
        keep_only_file_rights();
    prctl(PR_SET_DUMPABLE, 0);
    die_with_parent();
    umask(077);
    hold_to_listed_calls();
}

Confinement Root::confinement() const
{
    auto enter_or_fail = [this] {
        try {
            enter();
        } catch (const PathError &error) {
            throw failure_of(error, shows(error.path));
        }
    };
    return {enter_or_fail, fd()};
}

} // namespace command
