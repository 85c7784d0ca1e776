/* Folders are walked and summed up here; no entry's content is taken apart. */
#include "fleet/entries.h"

#include "fleet/archive.h"
#include "output/printable.h"
#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fts.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace command {

namespace {

constexpr const char *form_names[] = {"folder", "archive", "file", "other"};

struct DirClose {
    void operator()(DIR *open) const
    {
        closedir(open);
    }
    void operator()(FTS *open) const
    {
        fts_close(open);
    }
};

int by_name(const FTSENT **one, const FTSENT **other)
{
    return strcmp((*one)->fts_name, (*other)->fts_name);
}

std::string target_of(const FTSENT &entry)
{
    std::string target(static_cast<size_t>(entry.fts_statp->st_size) + 1, '\0');
    ssize_t     length = readlink(entry.fts_path, target.data(), target.size());
    if (length < 0)
        throw PathError{"read", entry.fts_path, errno};
    target.resize(static_cast<size_t>(length));
    return target;
}

std::string content_of(const FTSENT &entry)
{
    if (S_ISLNK(entry.fts_statp->st_mode))
        return target_of(entry);
    return S_ISREG(entry.fts_statp->st_mode) ? sha256(read_file(entry.fts_path, Links::refuse)) : "";
}

/* A line for each path below the folder: what it is called, what it is, what it holds. */
std::string digest_of_folder(const std::string &folder)
{
    std::string                    path = folder;
    char                          *paths[] = {path.data(), nullptr};
    std::unique_ptr<FTS, DirClose> walk(fts_open(paths, FTS_PHYSICAL | FTS_COMFOLLOW | FTS_NOCHDIR, by_name));
    if (!walk)
        throw PathError{"read", folder, errno};
    Sha256 sum;
    errno = 0;
    while (FTSENT *entry = fts_read(walk.get())) {
        if (entry->fts_info == FTS_DP)
            continue;
        if (entry->fts_info == FTS_DNR || entry->fts_info == FTS_ERR || entry->fts_info == FTS_NS)
            throw PathError{"read", entry->fts_path, entry->fts_errno};
        std::string below = entry->fts_level == 0 ? "" : entry->fts_path + folder.size();
        std::string facts = std::to_string(entry->fts_statp->st_mode);
        for (const std::string &part : {below, facts, content_of(*entry)})
            sum.add(std::to_string(part.size()) + ":" + part + "\n");
        errno = 0;
    }
    if (errno != 0)
        throw PathError{"read", folder, errno};
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
    if (stat(path.c_str(), &st) != 0)
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
    std::unique_ptr<DIR, DirClose> open(opendir(folder.c_str()));
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
