/* From disk to a tar file, and back. */
#include "fleet/bundle.h"

#include "appliance/inside.h"
#include "fleet/disk_archive.h"
#include "system/files.h"

#include <cerrno>
#include <fcntl.h>
#include <new>

namespace command {

void pack_bundle(const std::string &folder, const std::string &to)
{
    Fd fd(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throw PathError{"write", to, errno};
    Archive tar(archive_write_new());
    if (!tar)
        throw std::bad_alloc();
    require_copied(tar.get(), archive_write_add_filter_zstd(tar.get()), to);
    require_copied(tar.get(), archive_write_set_format_pax(tar.get()), to);
    require_copied(tar.get(), archive_write_open_fd(tar.get(), fd.get()), to);
    copy_all_of_folder(folder, tar, [&](const std::string &path) { return "." + path.substr(folder.size()); });
}

void unpack_bundle(const std::string &file, const Root &into)
{
    Fd fd = open_file(file, Links::refuse);
    load_archive_library();
    inside(into, [&] {
        Archive tar(archive_read_new());
        if (!tar)
            throw std::bad_alloc();
        archive_read_support_format_tar(tar.get());
        archive_read_support_filter_zstd(tar.get());
        static constexpr size_t block = 64 * 1024;
        require_copied(tar.get(), archive_read_open_fd(tar.get(), fd.get(), block), file);
        copy_all_members(tar, open_disk(), false, [](const std::string &path) { return path; });
    });
}

} // namespace command
