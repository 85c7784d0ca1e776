/* A temporary folder that stands for an appliance's root folder, and a child process that sees it as "/". */
#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>

namespace support {

/* One thing in a folder tree. */
struct Entry {
    char        type;    /* 'f' file, 'd' folder, 'l' symbolic link, 'o' other */
    unsigned    mode;    /* permission bits; 0 for links */
    std::string content; /* a file's bytes or a link's target */

    bool operator==(const Entry &) const = default;
};

/* How an entry shows in a test's messages. */
std::ostream &operator<<(std::ostream &out, const Entry &entry);

/* Path relative to the root ("data/config/x") to entry, in path order. */
using Listing = std::map<std::string, Entry>;

class ApplianceRoot {
  public:
    /* Makes an empty folder, and in it what every appliance has: tmp, data/config, data/etc, etc, var/log. */
    ApplianceRoot();
    ~ApplianceRoot();
    ApplianceRoot(const ApplianceRoot &) = delete;
    ApplianceRoot &operator=(const ApplianceRoot &) = delete;

    const std::filesystem::path &path() const
    {
        return path_;
    }

    /* Paths are the appliance's own ("/data/etc/update_config"); missing parents are made, with mode 0700. */
    void        write(const std::string &path, const std::string &content, unsigned mode = 0600) const;
    void        write_gzip(const std::string &path, const std::string &content, unsigned mode = 0600) const;
    void        folder(const std::string &path, unsigned mode = 0700) const;
    void        link(const std::string &path, const std::string &target) const;
    bool        exists(const std::string &path) const; /* a dangling link is there too */
    std::string read(const std::string &path) const;   /* throws when it cannot be read */
    std::string read_gzip(const std::string &path) const;
    void        database(const std::string &sql) const; /* makes /data/etc/signature.db from `sql` */
    Listing     listing() const;

  private:
    std::filesystem::path on_disk(const std::string &path) const;
    std::filesystem::path path_;
};

struct ChildResult {
    int         exit_code; /* of `work`; 70 when an expectation in it failed; -1 when a signal ended the child */
    int         signal;    /* that signal, else 0 */
    std::string out;       /* its standard output */
    std::string err;       /* its standard error */
};

/*
 * Runs `work` in a child process with `root` as its root folder, "/" as working folder and umask 077. The child goes
 * back to the real root before it exits, so leak detection and coverage work. A child that runs longer than
 * `seconds` is killed.
 */
ChildResult run_in_root(const std::filesystem::path &root, const std::function<int()> &work, unsigned seconds = 120);

/* The same with expectations as the work, which must hold there. What went to standard error. */
std::string expect_in_root(const ApplianceRoot &root, const std::function<void()> &work);

/* Whether this process may call chroot. As a user who is not root it moves to a user namespace of its own first, so a
 * child should ask, and only a process of one thread. */
bool may_chroot();

std::string gzip(const std::string &text);
std::string gunzip(const std::string &bytes); /* throws when it is no whole gzip text */

} // namespace support
