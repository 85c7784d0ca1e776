/*
 * The upgrade run: the pass of each file, and what comes after the last one. What a host calls stands in migr.h:
 * migr_main_do_all, adjust_tree.
 */
#ifndef MIGR_DRIVER_UPGRADE_RUN_H
#define MIGR_DRIVER_UPGRADE_RUN_H

#include "driver/run_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One pass over the compressed file at `path`, which is not null. A failure leaves the file to the next run. */
void migr_main_func(const char *path, uint32_t mode);

/* A pass over the global file at `path`, then one over each domain file that the folder holds by then, in the order of
 * their names' bytes. */
void migr_main_adom(const char *path);

/* What has to wait until all files are written. The result of the last job, 0 when none is due. */
int32_t do_other_migr_jobs(int32_t from_version, int32_t to_version);

/* 0, or -1 when there is no database; the result of db_open otherwise. */
int32_t global_sig_db_open(void);

/* Always 0. */
int32_t global_sig_db_close(void);

/* Empties tmp_tree_root. */
void free_tmp_tree(void);

#ifdef __cplusplus
}
#endif

#endif
