/* What copies between folders and archives share: handles that close themselves, and data from one to the other. Only
 * sources include this. */
#pragma once

#include "fleet/archive_library.h"
#include "system/file_descriptor.h"
#include "system/refused_calls.h"

#include <cerrno>
#include <memory>
#include <string>

namespace command {

struct ArchiveClose {
    void operator()(archive *open) const
    {
        archive_free(open); /* of one for reading as of one for writing */
    }
    void operator()(archive_entry *entry) const
    {
        archive_entry_free(entry);
    }
};

using Archive = std::unique_ptr<archive, ArchiveClose>;
using Header = std::unique_ptr<archive_entry, ArchiveClose>;

/* A folder on disk to read from, as an archive. Throws Failure. */
Archive open_folder(const std::string &path);

/* A disk to write to, with whatever a header has of owners, modes, times, lists of rights and attributes. */
Archive open_disk();

/* What an archive says of its last failure, and what the system said. */
std::string why_failed(archive *open);

/* Throws Failure that names `path` and what the archive says of it, unless the result is good. */
void require_copied(archive *open, int result, const std::string &path);

/* The working folder, which is that again in the end: the library changes it on its way through another one. */
class WorkingFolder {
  public:
    WorkingFolder(); /* throws Failure */
    ~WorkingFolder();
    WorkingFolder(const WorkingFolder &) = delete;
    WorkingFolder &operator=(const WorkingFolder &) = delete;

  private:
    Fd fd_;
};

/* Throws Failure when something of the folder was not got, since calls are watched. */
void require_all_of(const std::string &folder);

/* Calls `rename` with each path of the source, for the one that it gets, and copies all. Throws Failure. */
template <typename Rename> void copy_all_members(const Archive &from, const Archive &to, bool descends, Rename rename);

/* The content of the member at hand. */
void copy_data(const Archive &from, const Archive &to, const std::string &path);

template <typename Rename> void copy_all_members(const Archive &from, const Archive &to, bool descends, Rename rename)
{
    Header      entry(archive_entry_new());
    std::string path; /* of a folder that cannot be gone through: the last one that came of it */
    for (;;) {
        errno = 0;
        int found = archive_read_next_header2(from.get(), entry.get());
        if (found == ARCHIVE_EOF)
            break;
        require_copied(from.get(), found, path);
        const char *name = archive_entry_pathname(entry.get());
        path = name ? name : "";
        archive_entry_set_pathname(entry.get(), rename(path).c_str());
        if (descends)
            archive_read_disk_descend(from.get());
        require_copied(to.get(), archive_write_header(to.get(), entry.get()), path);
        if (archive_entry_filetype(entry.get()) == AE_IFREG && archive_entry_size(entry.get()) > 0)
            copy_data(from, to, path);
        require_copied(to.get(), archive_write_finish_entry(to.get()), path);
    }
    require_copied(to.get(), archive_write_close(to.get()), "");
}

/* The same for all that lies in a folder. Where that goes to a disk, its new paths are absolute. */
template <typename Rename> void copy_all_of_folder(const std::string &folder, const Archive &to, Rename rename)
{
    CallsWatched  so_that_causes_are_known;
    WorkingFolder that_is_come_back_to;
    copy_all_members(open_folder(folder), to, true, rename);
    require_all_of(folder);
}

} // namespace command
