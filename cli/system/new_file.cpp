/* Files that are there in full or not at all. Whose mode and owner they get is their maker's business. */
#include "system/new_file.h"

#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

namespace command {

std::string beside(const std::string &path)
{
    static constexpr size_t shown = 16;
    std::string             name = path.substr(path.rfind('/') + 1);
    return joined(folder_of(path), ".migr-new-" + sha256(name).substr(0, shown));
}

NewFile::NewFile(std::string path) : NewFile(path, beside(path)) {}

NewFile::NewFile(std::string path, std::string made_at) : path_(std::move(path)), made_at_(std::move(made_at))
{
    unlink(made_at_.c_str());
    fd_ = Fd(open(made_at_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd_)
        throw PathError{"write", path_, errno};
}

NewFile::~NewFile()
{
    if (!published_)
        unlink(made_at_.c_str());
}

void NewFile::write(std::string_view bytes)
{
    write_all(fd_.get(), bytes, path_);
}

void NewFile::sync()
{
    sync_to_disk(fd_.get(), path_);
}

void NewFile::publish()
{
    sync();
    if (rename(made_at_.c_str(), path_.c_str()) != 0)
        throw PathError{"write", path_, errno};
    published_ = true;
}

} // namespace command
