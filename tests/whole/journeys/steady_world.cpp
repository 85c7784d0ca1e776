/* Stands between the library and what differs from run to run: the clock, and the order of a folder's entries. */
#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <vector>

extern "C" {

DIR    *__real_opendir(const char *path);
dirent *__real_readdir(DIR *folder);
int     __real_closedir(DIR *folder);

time_t __wrap_time(time_t *result)
{
    static constexpr time_t noon_of_a_day = 1571832000;
    if (result)
        *result = noon_of_a_day;
    return noon_of_a_day;
}

} // extern "C"

namespace {

struct SortedFolder {
    DIR                *folder;
    std::vector<dirent> entries;
    size_t              next;
};

std::vector<SortedFolder> open_folders;

SortedFolder *find_folder(DIR *folder)
{
    for (SortedFolder &open : open_folders)
        if (open.folder == folder)
            return &open;
    return nullptr;
}

} // namespace

extern "C" {

DIR *__wrap_opendir(const char *path)
{
    DIR *folder = __real_opendir(path);
    if (!folder)
        return nullptr;
    SortedFolder sorted = {folder, {}, 0};
    while (const dirent *entry = __real_readdir(folder))
        sorted.entries.push_back(*entry);
    std::sort(sorted.entries.begin(), sorted.entries.end(),
              [](const dirent &a, const dirent &b) { return strcmp(a.d_name, b.d_name) < 0; });
    open_folders.push_back(sorted);
    return folder;
}

dirent *__wrap_readdir(DIR *folder)
{
    SortedFolder *open = find_folder(folder);
    if (!open)
        return __real_readdir(folder);
    return open->next < open->entries.size() ? &open->entries[open->next++] : nullptr;
}

int __wrap_closedir(DIR *folder)
{
    std::erase_if(open_folders, [&](const SortedFolder &open) { return open.folder == folder; });
    return __real_closedir(folder);
}

} // extern "C"
