/* Folders are walked and summed up here; no entry's content is taken apart. */
#include "fleet/entries.h"

#include "fleet/archive.h"
#include "output/printable.h"
#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/owned.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr const char *form_names[] = {"folder", "archive", "file", "other"};

/* In the order of their bytes. */
std::vector<std::string> names_in(const std::string &folder)
{
    std::vector<std::string> names;
    std::error_code          error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        names.push_back(at->path().filename());
    if (error)
        throw PathError{"read", folder, error.value()};
    std::sort(names.begin(), names.end());
    return names;
}

std::string content_of(const std::string &path, mode_t mode)
{
    std::error_code error;
    std::string     target = S_ISLNK(mode) ? fs::read_symlink(path, error).string() : "";
    if (error)
        throw PathError{"read", path, error.value()};
    return S_ISREG(mode) ? sha256(read_file(path, Links::refuse)) : target;
}

/* A line for each path below the folder: what it is called, what it is, what it holds. */
void add_to_sum(Sha256 &sum, const std::string &folder, const std::string &below, int links)
{
    std::string path = folder + below;
    struct stat st = {};
    if (fstatat(AT_FDCWD, path.c_str(), &st, links) != 0)
        throw PathError{"read", path, errno};
    for (const std::string &part : {below, std::to_string(st.st_mode), content_of(path, st.st_mode)})
        sum.add(std::to_string(part.size()) + ":" + part + "\n");
    if (!S_ISDIR(st.st_mode))
        return;
    for (const std::string &name : names_in(path))
        add_to_sum(sum, folder, joined(below, name), AT_SYMLINK_NOFOLLOW);
}

std::string digest_of_folder(const std::string &folder)
{
    static constexpr int followed = 0;
    Sha256               sum;
    add_to_sum(sum, folder, "", followed);
    return sum.hex();
}

} // namespace

const char *name_of(EntryForm form)
{
    return form_names[static_cast<size_t>(form)];
}

EntryForm form_of(const std::string &path)
{
    struct stat st = {};
    bool        is_known = stat(path.c_str(), &st) == 0;
    if (!is_known && errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
        throw PathError{"look for", path, errno};
    if (!is_known)
        return EntryForm::other;
    if (S_ISDIR(st.st_mode))
        return EntryForm::folder;
    if (!S_ISREG(st.st_mode))
        return EntryForm::other;
    return is_archive_name(file_name_of(path)) ? EntryForm::archive : EntryForm::file;
}

std::string why_no_entry_name(const std::string &name)
{
    if (printable(name) == name)
        return "";
    return "Its name has characters that a terminal or a shell might act on. Give it another one.";
}

size_t for_each_entry(const std::string &folder, const std::function<void(const std::string &name)> &look)
{
    Owned<DIR, closedir> open(opendir(folder.c_str()));
    if (!open)
        throw failure_of({"read", folder, errno}, folder);
    size_t hidden = 0;
    errno = 0;
    while (const dirent *entry = readdir(open.get())) {
        std::string name = entry->d_name;
        if (name[0] != '.')
            look(name);
        else if (name != "." && name != "..")
            hidden++;
        errno = 0;
    }
    if (errno != 0)
        throw failure_of({"read", folder, errno}, folder);
    return hidden;
}

std::string digest_of_entry(const std::string &path, EntryForm form)
{
    if (form == EntryForm::folder)
        return digest_of_folder(path);
    if (form == EntryForm::other)
        return sha256(name_of(form));
    Fd fd = open_file(path, Links::follow);
    return sha256_of_file(fd.get(), path);
}

} // namespace command
