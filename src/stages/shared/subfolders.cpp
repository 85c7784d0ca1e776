/* The files in a folder's direct subfolders go. Nothing deeper, nothing hidden, and no folder. */
#include "stages/shared/subfolders.h"

#include "ledger/tell.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/* Fails on a folder, which stays. */
static void remove_file(DIR *folder, const char *path, const char *name)
{
    char whole[512];
    if (unlinkat(dirfd(folder), name, 0) != 0)
        return;
    snprintf(whole, sizeof whole, "%s/%s", path, name);
    ledger::tell_file(MIGR_FILE_REMOVED, whole, nullptr);
}

static void remove_files_in(const char *path)
{
    DIR *folder = opendir(path);
    if (!folder)
        return;
    while (const dirent *entry = readdir(folder))
        if (entry->d_name[0] != '.')
            remove_file(folder, path, entry->d_name);
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
        snprintf(subfolder, sizeof subfolder, "%s/", path);
        strncat(subfolder, entry->d_name, sizeof subfolder - strlen(subfolder) - 1);
        if (entry->d_name[0] != '.' && stat(subfolder, &st) == 0 && S_ISDIR(st.st_mode))
            remove_files_in(subfolder);
    }
    closedir(folder);
}
