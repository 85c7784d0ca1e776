/* The kept library of archives reads a folder as it reads an archive, and writes one likewise. */
#include "fleet/folder_copy.h"

#include "output/printable.h"
#include "system/failure.h"

#include <archive.h>
#include <archive_entry.h>
#include <memory>
#include <new>
#include <unistd.h>

namespace command {

namespace {

struct CopyClose {
    void operator()(archive *open) const
    {
        archive_free(open);
    }
    void operator()(archive_entry *entry) const
    {
        archive_entry_free(entry);
    }
};

using Disk = std::unique_ptr<archive, CopyClose>;

void require_copied(archive *disk, int result, const std::string &path)
{
    if (result < ARCHIVE_WARN)
        throw Failure(Status::failed, printable(path) + ": cannot copy it: " + printable(archive_error_string(disk)) +
                                          ". Mend that, or leave it out.");
}

int flags_of_copy()
{
    int flags = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_ACL | ARCHIVE_EXTRACT_XATTR |
                ARCHIVE_EXTRACT_NO_OVERWRITE;
    return geteuid() == 0 ? flags | ARCHIVE_EXTRACT_OWNER : flags;
}

void copy_data(archive *from, archive *to, const std::string &path)
{
    const void *block = nullptr;
    size_t      size = 0;
    la_int64_t  offset = 0;
    int         got = ARCHIVE_OK;
    while ((got = archive_read_data_block(from, &block, &size, &offset)) == ARCHIVE_OK)
        if (archive_write_data_block(to, block, size, offset) < 0)
            require_copied(to, ARCHIVE_FATAL, path);
    require_copied(from, got == ARCHIVE_EOF ? ARCHIVE_OK : got, path);
}

} // namespace

void copy_folder(const std::string &from, const std::string &to)
{
    Disk reader(archive_read_disk_new());
    Disk writer(archive_write_disk_new());
    if (!reader || !writer)
        throw std::bad_alloc();
    archive_read_disk_set_symlink_hybrid(reader.get()); /* follows `from` itself, if that is a link */
    archive_write_disk_set_options(writer.get(), flags_of_copy());
    require_copied(reader.get(), archive_read_disk_open(reader.get(), from.c_str()), from);
    std::unique_ptr<archive_entry, CopyClose> entry(archive_entry_new());
    for (;;) {
        int found = archive_read_next_header2(reader.get(), entry.get());
        if (found == ARCHIVE_EOF)
            break;
        require_copied(reader.get(), found, from);
        std::string path = archive_entry_pathname(entry.get());
        archive_entry_set_pathname(entry.get(), (to + path.substr(from.size())).c_str());
        archive_read_disk_descend(reader.get());
        require_copied(writer.get(), archive_write_header(writer.get(), entry.get()), path);
        if (archive_entry_filetype(entry.get()) == AE_IFREG)
            copy_data(reader.get(), writer.get(), path);
        require_copied(writer.get(), archive_write_finish_entry(writer.get()), path);
    }
    require_copied(writer.get(), archive_write_close(writer.get()), to);
}

} // namespace command
