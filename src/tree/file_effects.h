/*
 * What migrations do to files and folders outside the tree. Old releases did these through a shell; here they are
 * system calls on exactly the paths named. Relative paths stay relative.
 */
#ifndef MIGR_TREE_FILE_EFFECTS_H
#define MIGR_TREE_FILE_EFFECTS_H

#include <stdint.h>
#include <stdio.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Makes `path` anew for writing and reading, with mode 0600, whatever stood there before; never through a link.
 * Null on failure. */
FILE *create_private_file(const char *path);

/* Makes the output that a caller has named, for writing and reading, with mode 0600. What stands there is unlinked, and
 * where it cannot be, written over from its beginning: an old output in a folder that is not ours, /dev/stdout. Null on
 * failure. */
FILE *create_output(const char *path);

/* Closes a stream that was written. 0 when all that was written has reached the file. */
int32_t close_written(FILE *stream);

/* Closes a text that one of the two above has made, and of which `written` says whether it was written whole: 0, or -1.
 * 0 when all of it has reached the file. Otherwise -1, and the file goes or, where it cannot go, is emptied, so that
 * half a configuration does not pass for a whole one. */
int32_t close_output(FILE *stream, const char *path, int32_t written);

/* What `cp -rf` does: copies `source` over `target`, or into it when it is a folder; a new target takes over the
 * source's mode, less the umask. A link is copied as a link, a folder with all that is below it. A target that is a
 * link leading nowhere stays as it is, and that is a failure. 0, or -1. */
int32_t copy_over(const char *source, const char *target);

/* What `rm -rf` does: removes a file, a link, or a folder with all below, and follows no link, with one exception: a
 * path that ends in a slash names a folder, also the one that a link leads to, which is emptied while the link stays. A
 * path that is not there is fine. 0, or -1 when something stayed that should not. */
int32_t remove_tree(const char *path);

/* Makes one folder; one that is there is fine. 0, or -1. */
int32_t make_folder(const char *path, mode_t mode);

#ifdef __cplusplus
}
#endif

#endif
