/* Two at work on the same file do not take each other's: what is written beside it has this process's number. */
#include "run/output_file.h"

#include "run/waiting.h"
#include "system/failure.h"
#include "system/new_file.h"
#include "system/owned.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

static constexpr char prefix[] = ".migr-new-"; /* of what is being written; the process's number stands behind it */

/* The owner goes first: rights that were one user's are not another's. */
static void take_rights(int fd, const struct stat &old)
{
    if (fchown(fd, old.st_uid, old.st_gid) == 0)
        fchmod(fd, old.st_mode & 07777);
}

/* What killed processes have left there. The file of a living one is locked. The C++ library's way through a folder
 * ends a process that has no memory for it. */
static void sweep(const fs::path &folder)
{
    Owned<DIR, closedir> all(opendir(folder.c_str()));
    while (const dirent *entry = all ? readdir(all.get()) : nullptr) {
        struct stat      st = {};
        std::string_view name = entry->d_name;
        if (!name.starts_with(prefix) || name.find_first_not_of("0123456789", sizeof prefix - 1) != name.npos)
            continue;
        fs::path path = folder / name;
        if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != geteuid())
            continue;
        Fd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (fd && flock(fd.get(), LOCK_EX | LOCK_NB) == 0)
            unlink(path.c_str());
    }
}

void write_output(const std::string &path, std::string_view bytes, Readers readers, Interrupts &interrupts)
{
    struct stat old = {};
    bool        is_there = stat(path.c_str(), &old) == 0;
    if (is_there && !S_ISREG(old.st_mode))
        return write_all(open_for_writing(path, interrupts).get(), bytes, path, interrupts);
    std::error_code error;
    fs::path        target = fs::weakly_canonical(path, error);
    if (error)
        throw PathError{"write", path, error.value()};
    sweep(target.parent_path());
    NewFile file(target, (target.parent_path() / (prefix + std::to_string(getpid()))).string());
    flock(file.fd(), LOCK_EX); /* until it is renamed or gone */
    file.write(bytes);
    if (is_there && readers == Readers::as_before)
        take_rights(file.fd(), old);
    file.publish();
}

} // namespace command
