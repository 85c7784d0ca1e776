/* Packing and unpacking in place, inside the root folder. What a text says is told by inspect.h. */
#include "appliance/stored_text.h"

#include "platform/platform.h"
#include "system/config_path.h"
#include "system/failure.h"
#include "system/file_descriptor.h"
#include "system/files.h"
#include "system/gzip_text.h"

#include <cerrno>
#include <fcntl.h>
#include <optional>

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
    static constexpr char plain[] = "/tmp/migr-plain.conf";
    std::string           path = config_path(name);
    Fd                    fd(open(plain, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throw PathError{"write", plain, errno};
    write_all(fd.get(), text, plain);
    errno = ENOSPC;
    int packed = cvgzip(plain, path.c_str());
    int error = errno;
    unlink(plain);
    if (packed < 0)
        throw PathError{"write", path, error};
}

} // namespace command
