/* Plain copies in one folder at the top of the staging folder. */
#include "appliance/old_forms.h"

#include "system/config_path.h"
#include "system/failure.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

static constexpr char folder[] = "/before";

void make_old_forms()
{
    if (mkdir(folder, 0700) != 0)
        throw PathError{"make", folder, errno};
}

void keep_old_form(const std::string &name)
{
    std::error_code error;
    if (!fs::copy_file(config_path(name), old_form_of(name), error))
        throw PathError{"copy", config_path(name), error.value()};
}

std::string old_form_of(const std::string &name)
{
    return joined(folder, name);
}

std::vector<std::string> old_forms()
{
    std::vector<std::string> names;
    std::error_code          error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        names.push_back(at->path().filename().string());
    if (error)
        throw PathError{"read", folder, error.value()};
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace command
