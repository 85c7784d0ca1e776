/*
 * The kept library of archives, loaded when it is first asked for something: with the libraries that it takes with it,
 * it would cost every command a tenth of a small upgrade, and only fleets read archives. In namespace command its
 * functions have their own names; what they do is told by archive_read(3), archive_write(3), archive_read_disk(3),
 * archive_write_disk(3) and archive_entry(3).
 */
#pragma once

#include <archive.h>
#include <archive_entry.h>

namespace command {

/* Ahead of a change of the root folder, behind which it is not found. Throws Failure. */
void load_archive_library();

/* Where the function of that name begins. Throws Failure when the library is not there or has no such function. */
void *archive_function(const char *name);

template <typename Function> struct ArchiveFunction;

template <typename Result, typename... Parameters> struct ArchiveFunction<Result(Parameters...)> {
    const char *name;
    Result (*begins)(Parameters...) = nullptr;

    Result operator()(Parameters... values)
    {
        if (!begins)
            begins = reinterpret_cast<Result (*)(Parameters...)>(archive_function(name));
        return begins(values...);
    }
};

#define MIGR_ARCHIVE_FUNCTION(name) inline ArchiveFunction<decltype(::name)> name = {#name}

MIGR_ARCHIVE_FUNCTION(archive_entry_clone);
MIGR_ARCHIVE_FUNCTION(archive_entry_filetype);
MIGR_ARCHIVE_FUNCTION(archive_entry_free);
MIGR_ARCHIVE_FUNCTION(archive_entry_gid);
MIGR_ARCHIVE_FUNCTION(archive_entry_hardlink);
MIGR_ARCHIVE_FUNCTION(archive_entry_is_encrypted);
MIGR_ARCHIVE_FUNCTION(archive_entry_new);
MIGR_ARCHIVE_FUNCTION(archive_entry_pathname);
MIGR_ARCHIVE_FUNCTION(archive_entry_perm);
MIGR_ARCHIVE_FUNCTION(archive_entry_set_filetype);
MIGR_ARCHIVE_FUNCTION(archive_entry_set_mtime);
MIGR_ARCHIVE_FUNCTION(archive_entry_set_pathname);
MIGR_ARCHIVE_FUNCTION(archive_entry_set_perm);
MIGR_ARCHIVE_FUNCTION(archive_entry_set_size);
MIGR_ARCHIVE_FUNCTION(archive_entry_set_symlink);
MIGR_ARCHIVE_FUNCTION(archive_entry_size);
MIGR_ARCHIVE_FUNCTION(archive_entry_size_is_set);
MIGR_ARCHIVE_FUNCTION(archive_entry_sparse_clear);
MIGR_ARCHIVE_FUNCTION(archive_entry_uid);
MIGR_ARCHIVE_FUNCTION(archive_errno);
MIGR_ARCHIVE_FUNCTION(archive_error_string);
MIGR_ARCHIVE_FUNCTION(archive_filter_code);
MIGR_ARCHIVE_FUNCTION(archive_filter_count);
MIGR_ARCHIVE_FUNCTION(archive_format);
MIGR_ARCHIVE_FUNCTION(archive_free);
MIGR_ARCHIVE_FUNCTION(archive_read_data);
MIGR_ARCHIVE_FUNCTION(archive_read_disk_descend);
MIGR_ARCHIVE_FUNCTION(archive_read_disk_new);
MIGR_ARCHIVE_FUNCTION(archive_read_disk_open);
MIGR_ARCHIVE_FUNCTION(archive_read_disk_set_symlink_hybrid);
MIGR_ARCHIVE_FUNCTION(archive_read_new);
MIGR_ARCHIVE_FUNCTION(archive_read_next_header);
MIGR_ARCHIVE_FUNCTION(archive_read_next_header2);
MIGR_ARCHIVE_FUNCTION(archive_read_open_fd);
MIGR_ARCHIVE_FUNCTION(archive_read_support_filter_gzip);
MIGR_ARCHIVE_FUNCTION(archive_read_support_filter_zstd);
MIGR_ARCHIVE_FUNCTION(archive_read_support_format_tar);
MIGR_ARCHIVE_FUNCTION(archive_read_support_format_zip);
MIGR_ARCHIVE_FUNCTION(archive_write_add_filter);
MIGR_ARCHIVE_FUNCTION(archive_write_add_filter_zstd);
MIGR_ARCHIVE_FUNCTION(archive_write_close);
MIGR_ARCHIVE_FUNCTION(archive_write_data);
MIGR_ARCHIVE_FUNCTION(archive_write_disk_new);
MIGR_ARCHIVE_FUNCTION(archive_write_disk_set_options);
MIGR_ARCHIVE_FUNCTION(archive_write_finish_entry);
MIGR_ARCHIVE_FUNCTION(archive_write_header);
MIGR_ARCHIVE_FUNCTION(archive_write_new);
MIGR_ARCHIVE_FUNCTION(archive_write_open_fd);
MIGR_ARCHIVE_FUNCTION(archive_write_set_bytes_in_last_block);
MIGR_ARCHIVE_FUNCTION(archive_write_set_filter_option);
MIGR_ARCHIVE_FUNCTION(archive_write_set_format_pax);
MIGR_ARCHIVE_FUNCTION(archive_write_set_format_pax_restricted);
MIGR_ARCHIVE_FUNCTION(archive_write_set_format_zip);

#undef MIGR_ARCHIVE_FUNCTION

} // namespace command
