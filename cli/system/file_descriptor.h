/*
 * A file descriptor that closes itself, and whole reads and writes on one. They wait as long as it takes; waiting.h
 * has those that a signal ends.
 */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace command {

class Fd {
  public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Fd()
    {
        reset();
    }

    int get() const
    {
        return fd_;
    }
    void reset()
    {
        if (fd_ >= 0)
            close(fd_);
        fd_ = -1;
    }
    explicit operator bool() const
    {
        return fd_ >= 0;
    }

  private:
    int fd_ = -1;
};

/* The two ends of a pipe, closed on exec. */
struct Pipe {
    Pipe();
    Fd read_end;
    Fd write_end;
};

/* Reads up to the end, part by part. Throws PathError, naming `path`. */
void for_each_part(int fd, const std::string &path, const std::function<void(std::string_view)> &take);

/* The same at once. */
std::string read_all(int fd, const std::string &path);

/* Throws PathError, naming `path`, unless all was written. */
void write_all(int fd, std::string_view bytes, const std::string &path);

/* Has the disk begin with what sync_to_disk will wait for: of several files, all ahead of the first wait. It promises
 * nothing, and no error comes of it. */
void begin_to_sync(int fd);

/* Throws PathError, naming `path`, unless the disk has it. */
void sync_to_disk(int fd, const std::string &path);

/* While one lives, these two do nothing, in this process and in the children that it makes: for work on a copy that
 * counts for nothing until somebody has put it elsewhere and synced it there. */
class SyncsLeftOut {
  public:
    SyncsLeftOut();
    ~SyncsLeftOut();
    SyncsLeftOut(const SyncsLeftOut &) = delete;
    SyncsLeftOut &operator=(const SyncsLeftOut &) = delete;
};

} // namespace command
