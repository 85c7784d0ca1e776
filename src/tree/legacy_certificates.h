/*
 * Before 4.0 the XML proxy kept one folder per certificate: moving the files to where later releases look for them.
 * This is work on files alone, behind a pass, and knows nothing of its tree.
 */
#ifndef MIGR_TREE_LEGACY_CERTIFICATES_H
#define MIGR_TREE_LEGACY_CERTIFICATES_H

#include <dirent.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Moves the files below /data/etc/xmlproxy/certs/ into /data/etc/cert/local/. 0, -1 when there is no such folder,
 * -2 when it cannot be scanned. */
int32_t file_conversion(void);

/* Selectors for scandir, by the entry's own type: a folder whose name does not begin with ".", a regular file. */
int dir_select(const struct dirent *entry);
int file_select(const struct dirent *entry);

/* Frees `count` entries and the list. */
void free_namelist(struct dirent **list, int count);

#ifdef __cplusplus
}
#endif

#endif
