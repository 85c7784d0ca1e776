/* Places, renames and syncs. What results are is known elsewhere. */
#include "fleet/results_folder.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/owned.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr const char *rooms[] = {"appliances", "ledgers", "answers", "reports", ".fleet"};

void make_room(const std::string &path)
{
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        throw failure_of({"make", path, errno}, path);
    std::error_code error;
    if (!fs::is_directory(path, error))
        throw failure_of({"make", path, error ? error.value() : ENOTDIR}, path);
}

/* Length up to and with the last newline: behind it stands what a killed process left. */
off_t whole_length(int fd, off_t size)
{
    char last = '\0';
    while (size > 0 && pread(fd, &last, 1, size - 1) == 1 && last != '\n')
        size--;
    return size;
}

/* All that an appliance of that name can have. */
std::vector<std::string> places_of(const std::string &name)
{
    return {"appliances/" + name, "ledgers/" + name + ".json.gz", "answers/" + name + ".json",
            "reports/" + name + ".html"};
}

/* A job that was killed takes a moment to let go. */
bool takes_lock(int fd)
{
    static constexpr int        tries = 20;
    static constexpr useconds_t pause_between = 50'000;
    for (int left = tries; left > 0; left--) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0)
            return true;
        usleep(pause_between);
    }
    return false;
}

struct LineBuffer {
    char  *bytes = nullptr;
    size_t size = 0;
    ~LineBuffer()
    {
        free(bytes);
    }
};

} // namespace

ResultsFolder::ResultsFolder(const std::string &path) : path_(path)
{
    make_room(path);
    for (const char *room : rooms)
        make_room(joined(path, room));
}

std::string ResultsFolder::work() const
{
    return joined(path_, ".fleet");
}

std::string ResultsFolder::lines() const
{
    return joined(path_, "fleet.jsonl");
}

void ResultsFolder::put(const std::string &made_at, const std::string &place) const
{
    std::string path = joined(path_, place);
    if (rename(made_at.c_str(), path.c_str()) == 0)
        return;
    remove(place);
    if (rename(made_at.c_str(), path.c_str()) != 0)
        throw PathError{"write", path, errno};
}

void ResultsFolder::remove(const std::string &place) const
{
    std::error_code error;
    fs::remove_all(joined(path_, place), error);
    if (error)
        throw PathError{"remove", joined(path_, place), error.value()};
}

void ResultsFolder::add_line(const EntryResult &result) const
{
    std::string path = lines();
    Fd          fd(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    struct stat st = {};
    if (!fd || syncfs(fd.get()) != 0 || flock(fd.get(), LOCK_EX) != 0 || fstat(fd.get(), &st) != 0)
        throw PathError{"write", path, errno};
    off_t whole = whole_length(fd.get(), st.st_size);
    if (ftruncate(fd.get(), whole) != 0 || lseek(fd.get(), whole, SEEK_SET) != whole)
        throw PathError{"write", path, errno};
    write_all(fd.get(), line_of(result), path);
    sync_to_disk(fd.get(), path);
}

size_t ResultsFolder::take_in(const std::string                                    &other,
                              const std::function<bool(const EntryResult &result)> &is_here) const
{
    size_t      taken = 0;
    std::string path = joined(other, "fleet.jsonl");
    for_each_line(path, [&](const std::string &line, size_t number) {
        EntryResult result = result_in_line(path, line, number);
        if (is_here(result))
            return;
        take_in_entry(other, result);
        taken++;
    });
    return taken;
}

void ResultsFolder::take_in_entry(const std::string &other, const EntryResult &result) const
{
    for (const std::string &place : places_of(result.entry)) {
        if (is_there(joined(other, place)))
            put(joined(other, place), place);
        else
            remove(place);
    }
    add_line(result);
}

Fd ResultsFolder::lock() const
{
    Fd fd(open(path_.c_str(), O_RDONLY | O_DIRECTORY)); /* not closed on exec */
    if (!fd)
        throw failure_of({"enter", path_, errno}, path_);
    if (!takes_lock(fd.get()))
        throw Failure(Status::unusable,
                      path_ + ": another migr fleet, or an appliance of one that was stopped, is still at work there. "
                              "Wait until it has ended.");
    return fd;
}

EntryResult result_in_line(const std::string &path, const std::string &line, size_t number)
{
    try {
        return result_from(line);
    } catch (const Failure &failure) {
        throw Failure(failure.status, path + ":" + std::to_string(number) + ": " + failure.what() +
                                          " Take the line out, and the appliance is done again with --resume.");
    }
}

void for_each_line(const std::string &path, const std::function<void(const std::string &line, size_t number)> &look)
{
    Owned<FILE, fclose> stream(fopen(path.c_str(), "re"));
    if (!stream && errno == ENOENT)
        return;
    if (!stream)
        throw PathError{"read", path, errno};
    LineBuffer buffer;
    size_t     number = 0;
    errno = 0;
    for (ssize_t length; (length = getline(&buffer.bytes, &buffer.size, stream.get())) > 0;)
        if (buffer.bytes[length - 1] == '\n')
            look({buffer.bytes, static_cast<size_t>(length) - 1}, ++number);
    if (ferror(stream.get()))
        throw PathError{"read", path, errno};
}

} // namespace command
