/* Two at work on the same file do not take each other's: what is written beside it has this process's number. */
#include "run/output_file.h"

#include "run/waiting.h"
#include "system/failure.h"
#include "system/new_file.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

/* The owner goes first: rights that were one user's are not another's. */
static void take_rights(int fd, const struct stat &old)
{
    if (fchown(fd, old.st_uid, old.st_gid) == 0)
        fchmod(fd, old.st_mode & 07777);
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
    NewFile file(target, (target.parent_path() / (".migr-new-" + std::to_string(getpid()))).string());
    file.write(bytes);
    if (is_there && readers == Readers::as_before)
        take_rights(file.fd(), old);
    file.publish();
}

} // namespace command
