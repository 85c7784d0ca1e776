/*
 * Whole files and folders by their path. Which folder a path belongs to, and what its file means, is the caller's
 * business. Everything here throws PathError, naming the path, unless it says otherwise.
 */
#pragma once

#include "system/file_descriptor.h"

#include <string>
#include <string_view>

namespace command {

/* Whether a path's last part may be a symbolic link. Those ahead of it may always be. */
enum class Links { follow, refuse };

/*
 * Opens a regular file for reading. Anything else is refused and never waited for, so that a pipe in a file's place is
 * no trap: the error is EISDIR for a folder, ELOOP for a link that is refused, EINVAL for a pipe, a device or a socket.
 */
Fd open_file(const std::string &path, Links links);

/* The bytes of a regular file; otherwise as open_file. */
std::string read_file(const std::string &path, Links links);

/* Whether those are the bytes of a regular file; otherwise as open_file. */
bool file_holds(const std::string &path, Links links, std::string_view bytes);

/* Makes the file, for its owner alone; nothing may be there yet. It is not synced. */
void write_new(const std::string &path, std::string_view bytes);

/* Whether there is anything of that name, a link that leads nowhere too. Throws PathError when nobody can tell: who
 * takes a disk's fault for an empty place would leave something out. */
bool is_there(const std::string &path);

/* Makes the folders above `path` that are missing. */
void make_folders_above(const std::string &path, mode_t mode);

/* "/a" for "/a/b", "/" for "/a", "." for "a". */
std::string folder_of(const std::string &path);

/* "b" for "/a/b". */
std::string file_name_of(const std::string &path);

/* "/a/b" for "/a" and "b", "/b" for "/" and "b". */
std::string joined(const std::string &folder, const std::string &name);

/* Names that came, went or changed in that folder are on disk when this returns. */
void sync_folder(const std::string &path);

} // namespace command
