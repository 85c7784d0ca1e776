/*
 * The child's side, then the parent's. They share the form of the records on the pipe and nothing else; the child's
 * hooks are the library's, and do nothing in any other process.
 */
#include "run/library_child.h"

#include "driver/migr.h"
#include "run/child_process.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/refused_calls.h"
#include "system/refused_memory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <new>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>

namespace command {

namespace {

using Clock = std::chrono::steady_clock;

/* ---- the child's side ---- */

/* Where its descriptors stand; it has no others. */
constexpr int progress_number = 3;
constexpr int first_unused = 5; /* behind the lock */

/* What a record says. The text of a record is cut, so that each is written in one piece. */
enum class Note : uint32_t { pass, pass_end, misread, stall, no_start, done };

struct RecordHead {
    Note     note;
    uint32_t length; /* of the text behind it */
    int64_t  time;   /* microseconds of the steady clock */
};

constexpr size_t longest_text = 2048;

int         told_on = -1; /* the pipe of records; in the child alone */
std::string path_of_pass;
std::string phase_of_pass;

std::function<void(int32_t, const char *)> section_watch;

bool results_may_be_large;

void tell(Note note, std::string_view text)
{
    text = text.substr(0, longest_text);
    auto       now = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch());
    RecordHead head = {note, static_cast<uint32_t>(text.size()), now.count()};
    char       record[sizeof head + longest_text];
    memcpy(record, &head, sizeof head);
    memcpy(record + sizeof head, text.data(), text.size());
    while (write(told_on, record, sizeof head + text.size()) < 0 && errno == EINTR)
        ;
}

/* The kind as a digit, then the names with a NUL behind each. */
std::string text_of(const Misreading &misreading)
{
    std::string text(1, static_cast<char>('0' + static_cast<int>(misreading.kind)));
    for (const std::string &name : misreading.path)
        text += name + '\0';
    return text;
}

Misreading misreading_of(const std::string &text)
{
    Misreading misreading;
    misreading.kind = static_cast<Misreading::Kind>(text.empty() ? 0 : text[0] - '0');
    for (size_t at = 1; at < text.size();) {
        size_t end = std::min(text.find('\0', at), text.size());
        misreading.path.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return misreading;
}

void tell_misreadings()
{
    static constexpr size_t most = 100;
    for (const Misreading &misreading : misreadings_of(migr_main.root, most))
        tell(Note::misread, text_of(misreading));
}

/* How far the pass came, and the last thing that the system refused it. */
void tell_pass_end(int error)
{
    if (!path_of_pass.empty())
        tell(Note::pass_end, std::to_string(error) + " " + phase_of_pass);
}

/* The library goes on without what it cannot have, to another result. And the hooks are called by code that knows of no
 * exceptions. */
[[noreturn]] void end_without_memory()
{
    tell(Note::no_start, "There is not enough memory for the upgrade (Cannot allocate memory).");
    _exit(1);
}

/* Moves the child's descriptors out of each other's way first, then to their numbers. */
void arrange_descriptors(int input, int records, int output, int lock)
{
    std::array from = {input, output, output, records, lock};
    for (int &fd : from) {
        fd = fcntl(fd, F_DUPFD_CLOEXEC, first_unused);
        if (fd < 0)
            throw PathError{"arrange the descriptors of", "a process", errno};
    }
    for (int number = 0; number < first_unused; number++)
        if (dup2(from[static_cast<size_t>(number)], number) < 0)
            throw PathError{"arrange the descriptors of", "a process", errno};
    close_range(first_unused, ~0U, 0);
    told_on = progress_number;
}

/* What fails in the command's own work is told as what it is, ahead of the library's work, behind it or instead. */
template <typename Work> bool do_or_tell(const Work &work)
{
    try {
        work();
        return true;
    } catch (const PathError &error) {
        tell(Note::no_start, failure_of(error, error.path).what());
    } catch (const std::bad_alloc &) {
        end_without_memory();
    } catch (const std::exception &failure) {
        tell(Note::no_start, failure.what());
    }
    return false;
}

int be_library(const Confinement &confinement, const std::function<void()> &work, int records, int output)
{
    told_on = records;
    end_when_refused_memory(end_without_memory);
    std::set_new_handler(end_without_memory); /* of what the command itself asks for, also beside a sanitizer */
    bool is_inside = do_or_tell([&] {
        int nothing = memfd_create("nothing", MFD_CLOEXEC); /* /dev need not be there */
        if (nothing < 0)
            throw PathError{"open", "an empty file in memory", errno};
        confinement.enter();
        arrange_descriptors(nothing, records, output, confinement.lock);
    });
    if (!is_inside)
        return 1;
    static char line[BUFSIZ]; /* a stream that the parent has printed on becomes line by line only with a new buffer */
    setvbuf(stdout, line, _IOLBF, sizeof line);
    watch_calls();
    errno = 0;
    if (!do_or_tell(work))
        return 1;
    int error = errno;
    tell_pass_end(error);
    fflush(nullptr);
    tell(Note::done, std::to_string(error) + " " + std::to_string(first_refused_call()));
    return 0;
}

/* ---- the parent's side ---- */

constexpr size_t most_output = 1 << 20;

/* What has come from the child so far. */
struct Listener {
    LibraryRun     &run;
    Progress       &progress;
    std::string     records;
    int64_t         pass_began = 0;
    Clock::duration idle{0}; /* since the last record */
};

void end_pass(Listener &listener, int64_t now)
{
    if (!listener.run.passes.empty())
        listener.run.passes.back().time = std::chrono::microseconds(now - listener.pass_began);
}

void take_record(Listener &listener, const RecordHead &head, const std::string &text)
{
    switch (head.note) {
    case Note::pass:
        end_pass(listener, head.time);
        listener.pass_began = head.time;
        listener.run.passes.push_back({text, {}, "", 0});
        listener.progress.begins(file_name_of(text));
        return;
    case Note::pass_end:
        if (!listener.run.passes.empty()) {
            listener.run.passes.back().phase = text.substr(std::min(text.find(' '), text.size() - 1) + 1);
            listener.run.passes.back().error = atoi(text.c_str());
        }
        return;
    case Note::misread:
        if (!listener.run.passes.empty())
            listener.run.misreadings.push_back({listener.run.passes.back().path, misreading_of(text)});
        return;
    case Note::done:
        end_pass(listener, head.time);
        listener.run.end = End::done;
        listener.run.error = atoi(text.c_str());
        listener.run.refused = atoi(text.c_str() + std::min(text.find(' '), text.size()));
        listener.progress.ends();
        return;
    case Note::stall:
        listener.run.end = End::stalled;
        [[fallthrough]];
    case Note::no_start:
        listener.run.place = text;
    }
}

void take_records(Listener &listener)
{
    RecordHead head = {};
    while (listener.records.size() >= sizeof head) {
        memcpy(&head, listener.records.data(), sizeof head);
        if (listener.records.size() < sizeof head + head.length)
            return;
        take_record(listener, head, listener.records.substr(sizeof head, head.length));
        listener.records.erase(0, sizeof head + head.length);
        listener.idle = {};
    }
}

/* False when the other end is closed. */
bool take_bytes(int fd, std::string &bytes, size_t most)
{
    char    part[65536];
    ssize_t got = read(fd, part, sizeof part);
    if (got > 0 && bytes.size() < most)
        bytes.append(part, std::min(static_cast<size_t>(got), most - bytes.size()));
    return got > 0 || (got < 0 && errno == EINTR);
}

/* Waits for something to come, and counts the time, but not that in which this process itself stood stopped. */
void wait_for_child(pollfd *waits, nfds_t count, Listener &listener, std::chrono::milliseconds timeout)
{
    static constexpr auto tick = std::chrono::milliseconds(500);
    auto                  left = std::chrono::ceil<std::chrono::milliseconds>(timeout - listener.idle);
    auto                  began = Clock::now();
    auto                  wait = std::clamp(left, std::chrono::milliseconds(0), tick);
    if (poll(waits, count, static_cast<int>(wait.count())) < 0 && errno != EINTR)
        throw PathError{"hear", "the library", errno};
    listener.idle += std::min<Clock::duration>(Clock::now() - began, 2 * tick);
}

/* Listens until the child has closed both pipes. Otherwise gives why it has to be killed. */
End listen(Listener &listener, Fd &records, Fd &output, std::chrono::milliseconds timeout, Interrupts &interrupts)
{
    while (records || output) {
        pollfd waits[] = {{records.get(), POLLIN, 0}, {output.get(), POLLIN, 0}, {interrupts.fd(), POLLIN, 0}};
        wait_for_child(waits, std::size(waits), listener, timeout);
        if (interrupts.came())
            return End::interrupted;
        if (waits[0].revents != 0 && !take_bytes(records.get(), listener.records, std::string::npos))
            records.reset();
        take_records(listener);
        if (waits[1].revents != 0 && !take_bytes(output.get(), listener.run.output, most_output))
            output.reset();
        if (listener.idle >= timeout)
            return End::timed_out;
    }
    return listener.run.end;
}

/* What a killed child had said by then. */
void hear_the_rest(Listener &listener, const Fd &records, const Fd &output)
{
    while (records && take_bytes(records.get(), listener.records, std::string::npos))
        ;
    take_records(listener);
    while (output && take_bytes(output.get(), listener.run.output, most_output))
        ;
}

/* A child that said that it was done, and then did not end well, is not done. */
void take_wait_status(LibraryRun &run, int status)
{
    if (WIFSIGNALED(status)) {
        run.code = WTERMSIG(status);
        run.end = run.end == End::done || run.end == End::exited ? End::crashed : run.end;
    } else {
        run.code = WEXITSTATUS(status);
        run.end = run.end == End::done && run.code != 0 ? End::exited : run.end;
    }
}

std::string how_it_ended(const LibraryRun &run)
{
    switch (run.end) {
    case End::crashed:
        return "was killed (" + std::string(strsignal(run.code)) + ")";
    case End::stalled:
        return "cannot get on with this configuration: it is stuck in " + run.place;
    case End::timed_out:
        return "went too long without progress (--timeout)";
    case End::interrupted:
        return "was stopped by a signal to migr";
    default:
        return "ended early, with exit code " + std::to_string(run.code);
    }
}

} // namespace

std::string LibraryRun::trouble() const
{
    if (end == End::done)
        return "";
    if (end == End::exited && !place.empty())
        return place;
    std::string at = passes.empty() ? ", ahead of the first file" : ", at " + file_name_of(passes.back().path);
    return "The upgrade " + how_it_ended(*this) + at + ".";
}

std::string LibraryRun::lack() const
{
    if (refused == 0)
        return "";
    bool        is_right = refused == EACCES || refused == EPERM;
    std::string step = is_right ? "No permission bits keep it from migr there, so something else on this machine does "
                                  "(SELinux, AppArmor): let migr through and run it again."
                                : next_step(refused);
    return "The upgrade did not get all that it asked the system for, in the private copy: " +
           std::string(strerror(refused)) + ". Nothing was changed. " + step;
}

void watch_sections(std::function<void(int32_t, const char *)> watch)
{
    section_watch = std::move(watch);
}

void let_results_be_large()
{
    results_may_be_large = true;
}

const std::string &current_pass()
{
    return path_of_pass;
}

LibraryRun run_library(const Confinement &confinement, const std::function<void()> &work,
                       std::chrono::milliseconds timeout, Interrupts &interrupts, Progress &progress)
{
    Pipe         records, output;
    ChildProcess child([&] { return be_library(confinement, work, records.write_end.get(), output.write_end.get()); });
    records.write_end.reset();
    output.write_end.reset();
    LibraryRun run;
    Listener   listener = {run, progress, {}};
    End        end = listen(listener, records.read_end, output.read_end, timeout, interrupts);
    if (end != End::interrupted && end != End::timed_out) {
        take_wait_status(run, child.wait());
        return run;
    }
    child.kill();
    child.wait();
    hear_the_rest(listener, records.read_end, output.read_end);
    run.end = end;
    return run;
}

} // namespace command

/* The library's hooks. They tell nothing in a process that is not the library's child. */
extern "C" void migr_on_file(const char *path, uint32_t)
{
    int error = errno;
    if (command::told_on >= 0)
        command::tell_pass_end(error);
    command::path_of_pass = path;
    if (command::told_on < 0)
        return;
    command::phase_of_pass.clear();
    command::tell(command::Note::pass, path);
    errno = 0;
}

extern "C" void migr_on_section(int32_t release, const char *phase)
{
    int error = errno;
    if (command::section_watch)
        command::section_watch(release, phase);
    if (command::told_on < 0)
        return;
    command::phase_of_pass = phase;
    bool last_part = std::string_view(phase) == "signatures"; /* behind it the tree is written, or split, as it is */
    if (last_part)
        command::tell_misreadings();
    errno = error;
}

extern "C" void migr_on_stall(const char *where)
{
    if (command::told_on < 0)
        return;
    command::tell(command::Note::stall, where);
    fflush(nullptr);
    _exit(1);
}

/* The library and the stand-in write in private folders alone. */
extern "C" int migr_works_on_a_copy(void)
{
    return 1;
}

extern "C" int migr_unpacks_soon(void)
{
    return command::results_may_be_large ? 1 : 0;
}
