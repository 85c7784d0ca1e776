/*
 * Folders are made with what is missing above them, as certificates want them. A folder that is there keeps its mode.
 */
#include "folders.h"

#include "files.h"
#include "platform/platform.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstring>

constexpr mode_t FOLDER_MODE = 0700;

namespace appliance {

bool make_folders(const char *path)
{
    char prefix[PATH_MAX];
    if (no_path(path) || strlen(path) >= sizeof prefix)
        return false;
    strcpy(prefix, path);
    for (char *slash = strchr(prefix + 1, '/'); slash; slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        if (mkdir(prefix, FOLDER_MODE) != 0 && errno != EEXIST)
            return false;
        *slash = '/';
    }
    return mkdir(prefix, FOLDER_MODE) == 0 || is_dir(prefix);
}

} // namespace appliance

int is_dir(const char *path)
{
    struct stat status = {};
    return path && stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}
