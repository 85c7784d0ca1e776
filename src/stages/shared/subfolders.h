/* Emptying the folders below a folder, as several releases did when a feature's files were no longer of use. */
#ifndef MIGR_STAGES_SHARED_SUBFOLDERS_H
#define MIGR_STAGES_SHARED_SUBFOLDERS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Removes the files, hidden ones excepted, in each direct subfolder of `path`. Files in `path` itself, and folders
 * deeper down, stay; so do the subfolders. */
void _clear_all_sub_dir(const char *path);

#ifdef __cplusplus
}
#endif

#endif
