/* A folder in use is locked by whoever made it, which is how a sweep tells what killed processes left. */
#include "system/temporary_folder.h"

#include "system/failure.h"
#include "system/owned.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace command {

/* Nothing but this class makes such a name: what has it is swept. */
static constexpr char prefix[] = ".migr-private-";
static constexpr char pattern_end[] = "XXXXXX";

static bool is_our_name(std::string_view name)
{
    return name.starts_with(prefix) && name.size() == sizeof prefix - 1 + sizeof pattern_end - 1;
}

/* The folder for temporary files may hold thousands of other names. */
static std::vector<std::string> our_names_in(const fs::path &where)
{
    std::vector<std::string> names;
    Owned<DIR, closedir>     folder(opendir(where.c_str()));
    while (const dirent *entry = folder ? readdir(folder.get()) : nullptr)
        if (is_our_name(entry->d_name))
            names.emplace_back(entry->d_name);
    return names;
}

/* Locked, if nobody else has it. */
static Fd lock_of(const fs::path &folder)
{
    Fd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return fd && flock(fd.get(), LOCK_EX | LOCK_NB) == 0 ? std::move(fd) : Fd();
}

/* Those of living processes are locked, and those of other users are theirs. */
void sweep_temporary_folders(const fs::path &where)
{
    for (const std::string &name : our_names_in(where)) {
        fs::path        folder = where / name;
        struct stat     st = {};
        std::error_code ignored;
        bool            ours = lstat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid();
        if (ours && lock_of(folder))
            fs::remove_all(folder, ignored);
    }
}

static fs::path folder_for_temporary_files()
{
    std::error_code error;
    fs::path        folder = fs::temp_directory_path(error);
    if (error)
        throw Failure(Status::unusable, "The folder for temporary files (TMPDIR, otherwise /tmp) cannot be used: " +
                                            error.message() + ". " + next_step(error.value()));
    return folder;
}

TemporaryFolder::TemporaryFolder(const std::string &where)
{
    fs::path folder = where.empty() ? folder_for_temporary_files() : fs::path(where);
    sweep_temporary_folders(folder);
    std::error_code ignored;
    do { /* until it is locked, somebody else may sweep it */
        std::string pattern = (folder / (std::string(prefix) + pattern_end)).string();
        if (!mkdtemp(pattern.data()))
            throw failure_of({"make a folder in", folder, errno}, folder);
        path_ = pattern;
        lock_ = lock_of(path_);
    } while (!fs::exists(path_, ignored));
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::make(const char *name) const
{
    std::string path = path_ / name;
    if (mkdir(path.c_str(), 0700) != 0)
        throw PathError{"make", path, errno};
    return path;
}

} // namespace command
