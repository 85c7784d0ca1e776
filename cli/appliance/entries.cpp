/* What lstat and its neighbours tell of one thing, and the way to give it back. Looks at no content. */
#include "appliance/entries.h"

#include "system/failure.h"
#include "system/file_descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <vector>

namespace command {

namespace {

/* Behind a call that failed: the file system has no attributes, or none of that name. */
bool are_unknown()
{
    return errno == ENOTSUP || errno == ENOSYS || errno == ENODATA;
}

std::vector<std::string> attribute_names(const std::string &path)
{
    std::string names(4096, '\0');
    ssize_t     size = llistxattr(path.c_str(), names.data(), names.size());
    while (size < 0 && errno == ERANGE && names.size() < XATTR_LIST_MAX) {
        names.resize(names.size() * 2);
        size = llistxattr(path.c_str(), names.data(), names.size());
    }
    if (size < 0 && !are_unknown())
        throw PathError{"read the attributes of", path, errno};
    std::vector<std::string> found;
    for (ssize_t at = 0; at < size; at += static_cast<ssize_t>(found.back().size()) + 1)
        found.emplace_back(names.c_str() + at);
    return found;
}

/* Likewise: what is in the care of the system, it may keep to itself. */
bool is_kept_secret(const std::string &name)
{
    return name.starts_with("security.") && (errno == EACCES || errno == EPERM);
}

std::map<std::string, std::string> attributes_of(const std::string &path)
{
    std::map<std::string, std::string> attributes;
    for (const std::string &name : attribute_names(path)) {
        std::string value(XATTR_SIZE_MAX, '\0');
        ssize_t     size = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
        if (size >= 0)
            attributes.emplace(name, value.substr(0, static_cast<size_t>(size)));
        else if (!are_unknown() && !is_kept_secret(name))
            throw PathError{"read the attribute " + name + " of", path, errno};
    }
    return attributes;
}

char type_of(mode_t mode)
{
    return S_ISREG(mode) ? 'f' : S_ISDIR(mode) ? 'd' : S_ISLNK(mode) ? 'l' : 'o';
}

/* A file made in a folder with a default access list has a list of its own already. */
void set_extended_attributes(int fd, const std::string &path, const Entry &wanted)
{
    static constexpr char access_list[] = "system.posix_acl_access";
    bool                  has_none = wanted.attributes.count(access_list) == 0;
    if (has_none && fremovexattr(fd, access_list) != 0 && !are_unknown())
        throw PathError{"take the attribute " + std::string(access_list) + " from", path, errno};
    for (const auto &[name, value] : wanted.attributes) {
        bool of_the_system = name.starts_with("security.");
        if (fsetxattr(fd, name.c_str(), value.data(), value.size(), 0) != 0 && !of_the_system)
            throw PathError{"keep the attribute " + name + " of", path, errno};
    }
}

} // namespace

Entry entry_at(const std::string &path)
{
    struct stat st = {};
    if (lstat(path.c_str(), &st) != 0)
        throw PathError{"read", path, errno};
    Entry entry;
    entry.type = type_of(st.st_mode);
    entry.mode = st.st_mode & 07777;
    entry.uid = st.st_uid;
    entry.gid = st.st_gid;
    entry.seconds = st.st_mtim.tv_sec;
    entry.nanoseconds = st.st_mtim.tv_nsec;
    entry.size = entry.type == 'f' ? static_cast<uint64_t>(st.st_size) : 0;
    std::error_code error;
    if (entry.type == 'l')
        entry.target = std::filesystem::read_symlink(path, error).string();
    if (error)
        throw PathError{"read", path, error.value()};
    if (entry.type == 'f' || entry.type == 'd')
        entry.attributes = attributes_of(path);
    return entry;
}

std::optional<Entry> entry_if_there(const std::string &path)
{
    try {
        return entry_at(path);
    } catch (const PathError &error) {
        if (error.error == ENOENT || error.error == ENOTDIR)
            return std::nullopt;
        throw;
    }
}

bool is_untouched(const Entry &now, const Entry &known)
{
    if (now.type != known.type)
        return false;
    if (now.type == 'l')
        return now.target == known.target;
    if (now.type == 'o')
        return true;
    if (now.mode != known.mode)
        return false;
    return now.type == 'd' ||
           (now.size == known.size && now.seconds == known.seconds && now.nanoseconds == known.nanoseconds);
}

/* The mode comes behind the owner, whose change takes bits away, and an access list sets bits of its own. */
void set_attributes(int fd, const std::string &path, const Entry &wanted)
{
    struct stat st = {};
    if (fstat(fd, &st) != 0)
        throw PathError{"read", path, errno};
    bool other_owner = st.st_uid != wanted.uid || st.st_gid != wanted.gid;
    if (other_owner && fchown(fd, wanted.uid, wanted.gid) != 0)
        throw PathError{"keep the owner of", path, errno};
    set_extended_attributes(fd, path, wanted);
    if (fchmod(fd, wanted.mode) != 0)
        throw PathError{"keep the mode of", path, errno};
    timespec times[] = {{0, UTIME_OMIT}, {wanted.seconds, wanted.nanoseconds}};
    if (wanted.type == 'f' && futimens(fd, times) != 0)
        throw PathError{"keep the time of", path, errno};
}

} // namespace command
