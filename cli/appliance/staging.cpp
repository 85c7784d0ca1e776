/* Making, filling and removing private copies. What happens in them is the upgrade's concern. */
#include "appliance/staging.h"

#include "appliance/inside.h"
#include "appliance/manifest.h"
#include "appliance/snapshot_store.h"
#include "system/digest.h"
#include "system/failure.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* Opens a folder of the appliance as the appliance itself would find it: no link leads out of it. */
Fd open_inside(const Root &root, const std::string &path)
{
    open_how how = {};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT;
    Fd fd(static_cast<int>(syscall(SYS_openat2, root.fd(), path.c_str(), &how, sizeof how)));
    if (!fd)
        throw failure_of({"open", path, errno}, root.shows(path));
    return fd;
}

std::string make_staging_folder()
{
    make_own_folders();
    std::string path = std::string(own_folder) + "/" + staging_prefix + "XXXXXX";
    if (!mkdtemp(path.data()))
        throw PathError{"make a folder in", own_folder, errno};
    return path;
}

/* ---- copying; `to` is the open folder, and paths are relative to it ---- */

const char *relative(const std::string &path)
{
    return path.c_str() + 1;
}

void make_folders_above(int to, const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        if (mkdirat(to, relative(path.substr(0, slash)), 0755) != 0 && errno != EEXIST)
            throw PathError{"make a copy of", path, errno};
}

void copy_file(const std::string &path, Entry &entry, int to)
{
    Fd from(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!from)
        throw PathError{"read", path, errno};
    Fd copy(openat(to, relative(path), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, entry.mode & 0777));
    if (!copy)
        throw PathError{"make a copy of", path, errno};
    entry.sha256 = copy_and_sum(from.get(), path, copy.get(), "the private copy of " + path);
    entry.size = static_cast<uint64_t>(lseek(copy.get(), 0, SEEK_CUR));
    timespec times[] = {{0, UTIME_OMIT}, {entry.seconds, entry.nanoseconds}};
    if (fchmod(copy.get(), entry.mode) != 0 || futimens(copy.get(), times) != 0)
        throw PathError{"make a copy of", path, errno};
}

void copy_entry(const std::string &path, Entry &entry, int to)
{
    make_folders_above(to, path);
    if (entry.type == 'f')
        return copy_file(path, entry, to);
    if (entry.type == 'l' && symlinkat(entry.target.c_str(), to, relative(path)) != 0)
        throw PathError{"make a copy of", path, errno};
    if (entry.type == 'd' && mkdirat(to, relative(path), 0700) != 0 && errno != EEXIST)
        throw PathError{"make a copy of", path, errno};
}

/* Owners stay the copier's: nobody but the library is to see them. */
Entries copy_all(const std::vector<Place> &places, int to)
{
    Entries entries = look_at(places);
    for (auto &[path, entry] : entries)
        copy_entry(path, entry, to);
    for (auto at = entries.rbegin(); at != entries.rend(); ++at)
        if (at->second.type == 'd' && fchmodat(to, relative(at->first), at->second.mode, 0) != 0)
            throw PathError{"make a copy of", at->first, errno};
    return entries;
}

} // namespace

StagingFolder::StagingFolder(const Root &appliance) : appliance_(&appliance)
{
    inside_ = appliance.run([] { return make_staging_folder(); });
    root_ = std::make_unique<Root>(open_inside(appliance, inside_), appliance.shown());
}

StagingFolder::StagingFolder(const std::string &work, const std::string &shown_as)
    : temporary_(std::make_unique<TemporaryFolder>(work))
{
    root_ = std::make_unique<Root>(temporary_->make("root"), shown_as);
}

StagingFolder::~StagingFolder()
{
    if (!appliance_)
        return;
    try {
        inside(*appliance_, [&] {
            std::error_code ignored;
            fs::remove_all(inside_, ignored);
        });
    } catch (...) { /* the next command sweeps it */
    }
}

std::unique_ptr<StagingFolder> throw_away_appliance()
{
    return std::make_unique<StagingFolder>("", "the throw-away appliance");
}

Entries stage(const Root &appliance, const std::vector<Place> &places, const StagingFolder &to, Interrupts &interrupts)
{
    std::string copied = appliance.run([&] { return entries_text(copy_all(places, to.root().fd())); }, &interrupts);
    return parse_entries(copied);
}

} // namespace command
