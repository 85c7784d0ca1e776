/* Whole files and folders by their path, on plain system calls. Nothing here knows of an appliance. */
#include "system/files.h"

#include "system/failure.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace command {

Fd open_file(const std::string &path, Links links)
{
    int         refuse = links == Links::refuse ? O_NOFOLLOW : 0;
    Fd          fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | refuse));
    struct stat st = {};
    if (!fd || fstat(fd.get(), &st) != 0)
        throw PathError{"read", path, errno};
    if (!S_ISREG(st.st_mode))
        throw PathError{"read", path, S_ISDIR(st.st_mode) ? EISDIR : EINVAL};
    return fd;
}

std::string read_file(const std::string &path, Links links)
{
    return read_all(open_file(path, links).get(), path);
}

bool file_holds(const std::string &path, Links links, std::string_view bytes)
{
    bool is_same = true;
    for_each_part(open_file(path, links).get(), path, [&](std::string_view part) {
        is_same = is_same && bytes.starts_with(part);
        bytes.remove_prefix(std::min(part.size(), bytes.size()));
    });
    return is_same && bytes.empty();
}

void write_new(const std::string &path, std::string_view bytes)
{
    Fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throw PathError{"write", path, errno};
    write_all(fd.get(), bytes, path);
}

bool is_there(const std::string &path)
{
    struct stat st = {};
    if (lstat(path.c_str(), &st) == 0)
        return true;
    if (errno != ENOENT && errno != ENOTDIR)
        throw PathError{"look for", path, errno};
    return false;
}

void make_folders_above(const std::string &path, mode_t mode)
{
    std::string folder = folder_of(path);
    if (folder == "/" || is_there(folder))
        return;
    make_folders_above(folder, mode);
    if (mkdir(folder.c_str(), mode) != 0 && errno != EEXIST)
        throw PathError{"make", folder, errno};
}

std::string folder_of(const std::string &path)
{
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string file_name_of(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string joined(const std::string &folder, const std::string &name)
{
    return folder == "/" ? "/" + name : folder + "/" + name;
}

void sync_folder(const std::string &path)
{
    Fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd)
        throw PathError{"read", path, errno};
    sync_to_disk(fd.get(), path);
}

} // namespace command
