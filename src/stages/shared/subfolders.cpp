#include "stages/shared/subfolders.h"

#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static void remove_files_in(const char *path)
{
    DIR *folder = opendir(path);
    if (!folder)
        return;
    while (const dirent *entry = readdir(folder))
        if (entry->d_name[0] != '.')
            unlinkat(dirfd(folder), entry->d_name, 0); /* fails on a folder, which stays */
    closedir(folder);
}

void _clear_all_sub_dir(const char *path)
{
    DIR *folder = opendir(path);
    if (!folder)
        return;
    while (const dirent *entry = readdir(folder)) {
        char        subfolder[255];
        struct stat st = {};
        if (snprintf(subfolder, sizeof subfolder, "%s/%s", path, entry->d_name) < 0)
            continue;
        if (entry->d_name[0] != '.' && stat(subfolder, &st) == 0 && S_ISDIR(st.st_mode))
            remove_files_in(subfolder);
    }
    closedir(folder);
}
