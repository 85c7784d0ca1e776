/* Packing and unpacking in place, inside the root folder: for a while, so that packing only has to have the form. What
 * a text says is told by inspect.h. */
#include "appliance/stored_text.h"

#include "system/config_path.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"

#include <cerrno>
#include <optional>
#include <unistd.h>

namespace command {

std::string stored_text(const std::string &name)
{
    return text_of_file(config_path(name));
}

std::string text_of_file(const std::string &path)
{
    std::string bytes = read_file(path, Links::follow);
    if (!looks_like_gzip(bytes))
        return bytes;
    std::optional<std::string> text = gunzip(bytes);
    if (!text)
        throw PathError{"unpack", path, EILSEQ, "It is damaged. Put a good copy in its place."};
    return std::move(*text);
}

void store_text(const std::string &name, std::string_view text)
{
    store_packed(name, gzip(text, Packing::none));
}

void store_packed(const std::string &name, std::string_view bytes)
{
    std::string path = config_path(name);
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        throw PathError{"replace", path, errno};
    write_new(path, bytes);
}

} // namespace command
