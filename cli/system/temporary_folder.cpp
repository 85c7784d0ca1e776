#include "system/temporary_folder.h"

#include "system/failure.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

TemporaryFolder::TemporaryFolder(const std::string &purpose)
{
    std::string pattern = (fs::temp_directory_path() / ("migr-" + purpose + "-XXXXXX")).string();
    if (!mkdtemp(pattern.data()))
        throw failure_of({"make a folder in", fs::temp_directory_path(), errno}, fs::temp_directory_path());
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::make(const char *name) const
{
    std::string path = path_ / name;
    if (mkdir(path.c_str(), 0700) != 0)
        throw PathError{"make", path, errno};
    return path;
}

} // namespace command
