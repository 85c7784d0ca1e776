/*
 * Removing a folder that a feature has left behind. Links are removed and never followed; nobody asks whether
 * something still uses it.
 */
#ifndef MIGR_STAGES_SHARED_REMOVE_FOLDER_H
#define MIGR_STAGES_SHARED_REMOVE_FOLDER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Removes what is at `path`, with all below it. A path is cut at 247 characters, what the command of old releases had
 * room for. -1 when nothing is there or something stayed, else 0. */
int32_t migr_rmdir(const char *path);

#ifdef __cplusplus
}
#endif

#endif
