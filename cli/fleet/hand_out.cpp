/* One child, two pipes. Nothing of a configuration gets near the command lines here. */
#include "fleet/hand_out.h"

#include "fleet/results_folder.h"
#include "system/failure.h"
#include "system/file_descriptor.h"
#include "system/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace command {

namespace {

constexpr char no_parallel[] = "GNU parallel is not there, which hands out a fleet's jobs. Install it (on Debian: apt "
                               "install parallel).";

/* A pipe's bytes as lines. */
class LinesOf {
  public:
    LinesOf(Fd fd, const std::function<void(const std::string &line)> &look) : fd_(std::move(fd)), look_(look) {}

    int fd() const
    {
        return fd_.get();
    }
    /* What there is to read now. At the end, the last line, and no descriptor any more. */
    void take()
    {
        std::array<char, 4096> buffer;
        ssize_t                got = read(fd_.get(), buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            return;
        if (got > 0)
            left_.append(buffer.data(), static_cast<size_t>(got));
        for (size_t end; (end = left_.find('\n')) != left_.npos; left_.erase(0, end + 1))
            tell(left_.substr(0, end));
        if (got > 0)
            return;
        tell(left_);
        fd_.reset();
    }

  private:
    void tell(const std::string &line)
    {
        if (!line.empty() && look_)
            look_(line);
    }

    Fd                                                  fd_;
    const std::function<void(const std::string &line)> &look_;
    std::string                                         left_;
};

/* In the child. Jobs are ended by us alone, not by the terminal's signal, and with us in any case. */
[[noreturn]] void become(const std::vector<std::string> &words, const std::string &folder, int out, int err)
{
    static constexpr int not_found = 127;
    if (!folder.empty() && chdir(folder.c_str()) != 0)
        _exit(not_found);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    setenv("PARALLEL_SHELL", "/bin/sh", 1); /* whose quotes the commands have */
    int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(not_found);
}

/* A program at work, whose lines are told. */
class Talking {
  public:
    Talking(const std::vector<std::string> &words, const HandOut &request)
    {
        Pipe out, err;
        fflush(nullptr);
        pid_ = fork();
        if (pid_ < 0)
            throw PathError{"start", words.front(), errno};
        if (pid_ == 0)
            become(words, request.folder, out.write_end.get(), err.write_end.get());
        out_.emplace(std::move(out.read_end), request.printed);
        err_.emplace(std::move(err.read_end), request.complained);
    }
    ~Talking()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            wait();
        }
    }
    Talking(const Talking &) = delete;
    Talking &operator=(const Talking &) = delete;

    /* Until both pipes are at their end. False when a signal came. */
    bool listen(Interrupts &interrupts)
    {
        bool went_on = true;
        while (out_->fd() >= 0 || err_->fd() >= 0) {
            pollfd waits[] = {
                {out_->fd(), POLLIN, 0}, {err_->fd(), POLLIN, 0}, {went_on ? interrupts.fd() : -1, POLLIN, 0}};
            if (poll(waits, std::size(waits), -1) < 0)
                continue;
            if (waits[0].revents != 0)
                out_->take();
            if (waits[1].revents != 0)
                err_->take();
            if (went_on && interrupts.came()) {
                went_on = false;
                stop();
            }
        }
        return went_on;
    }

    int wait()
    {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR)
            ;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    /* The first says: begin no more; the second: end those that run. */
    void stop() const
    {
        kill(pid_, SIGTERM);
        static constexpr useconds_t until_it_has_seen_the_first = 100'000;
        usleep(until_it_has_seen_the_first);
        kill(pid_, SIGTERM);
    }

    pid_t                  pid_ = -1;
    std::optional<LinesOf> out_, err_;
};

std::vector<std::string> words_of(const HandOut &request)
{
    std::vector<std::string> words = {"parallel",           "--plain",  "--termseq",
                                      "TERM,10000,KILL,25", "--joblog", request.log};
    if (!request.jobs.empty())
        words.insert(words.end(), {"--no-run-if-empty", "--arg-file", request.jobs});
    if (request.at_once)
        words.insert(words.end(), {"--jobs", std::to_string(*request.at_once)});
    if (request.timeout)
        words.insert(words.end(), {"--timeout", std::to_string(*request.timeout)});
    if (!request.halt.empty())
        words.insert(words.end(), {"--halt", request.halt});
    words.insert(words.end(), request.further.begin(), request.further.end());
    words.insert(words.end(), request.template_.begin(), request.template_.end());
    return words;
}

} // namespace

/* Only that there is such a program: to start it takes it longer than an appliance takes. */
void require_parallel()
{
    const char        *folders = getenv("PATH");
    std::istringstream path(folders ? folders : "/bin:/usr/bin");
    for (std::string folder; std::getline(path, folder, ':');)
        if (access(joined(folder.empty() ? "." : folder, "parallel").c_str(), X_OK) == 0)
            return;
    throw Failure(Status::unusable, no_parallel);
}

bool hand_out(const HandOut &request, Interrupts &interrupts)
{
    remove(request.log.c_str());
    Talking parallel(words_of(request), request);
    bool    went_on = parallel.listen(interrupts);
    /* It ends with the number of bad jobs, up to 101, or with what halted it. Beyond that it did nothing. */
    static constexpr int wrong_usage = 255, killed = 128;
    int                  status = parallel.wait();
    if (status == wrong_usage && went_on && !request.jobs.empty())
        throw Failure(Status::unusable, "GNU parallel did not take its options. What it said stands above.");
    if (status < killed && went_on && !is_there(request.log)) /* which it writes ahead of all else */
        throw Failure(Status::unusable, no_parallel);
    return went_on;
}

std::vector<BadEnd> bad_ends(const std::string &log)
{
    std::vector<BadEnd> ends;
    for_each_line(log, [&](const std::string &line, size_t number) {
        if (number == 1) /* what its columns are */
            return;
        std::istringstream words(line);
        std::string        host, start, runtime, sent, received;
        BadEnd             end;
        if (words >> end.number >> host >> start >> runtime >> sent >> received >> end.status >> end.signal &&
            (end.status != 0 || end.signal != 0))
            ends.push_back(end);
    });
    return ends;
}

} // namespace command
