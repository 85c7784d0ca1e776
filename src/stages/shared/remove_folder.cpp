/* A feature's folder goes. Failures are told to the caller alone, and nobody has ever asked. */
#include "stages/shared/remove_folder.h"

#include "tree/file_effects.h"

#include <cstdio>
#include <unistd.h>

int32_t migr_rmdir(const char *path)
{
    char removed[248];
    int  found = access(path, F_OK);
    if (found != 0)
        return found;
    snprintf(removed, sizeof removed, "%s", path);
    return remove_tree(removed);
}
