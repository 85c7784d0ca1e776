/*
 * Where an appliance keeps its configuration files, and how the tree of a pass becomes such a file again. Nothing here
 * frees a tree, and none can be searched by path once it has been written.
 */
#ifndef MIGR_TREE_STORED_FILES_H
#define MIGR_TREE_STORED_FILES_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MIGR_CONFIG_FOLDER "/data/config"
#define MIGR_GLOBAL_FILE "sys_global.conf.gz" /* in that folder */

/* The text of the file of a pass, as it was and as it will be. */
#define MIGR_OLD_TEXT "/tmp/system1.conf"
#define MIGR_NEW_TEXT "/tmp/system2.conf"

/* Writes both header lines and the tree of migr_main. 0, or -1 when not all of it was written; a full disk may show
 * when the stream is closed, and not before. */
int32_t write_configuration(FILE *stream, const char *file);

/* Writes header lines and tree to MIGR_NEW_TEXT, copies that to /var/log, and compresses it over `path`.
 * 0, or -1; when the compression fails the stored file is gone, and its copy in /var/log is what is left. */
int32_t new_config_file(const char *path);

/* Its two halves, 0 or -1 each: the first ends with text and copy on disk, and the second needs no tree any
 * more. */
int32_t write_new_text(const char *path);
int32_t store_new_text(const char *path);

/* Compresses a text over a stored file. 0, or -1 when that failed; the host's log is told, and the text is gone. */
int32_t compress_text(const char *text, const char *path);

#ifdef __cplusplus
}
#endif

#endif
