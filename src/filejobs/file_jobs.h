/*
 * File work that waits until all configuration files are written. It looks at folders alone and at no tree, and what
 * fails is not taken back.
 */
#ifndef MIGR_FILEJOBS_FILE_JOBS_H
#define MIGR_FILEJOBS_FILE_JOBS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The jobs, in order, and the certificate folders, one per kind; both end with a null. */
extern int32_t (*const fix_func_array[])(int32_t from_version);
extern const char *const cert_dirs2fix[];

/* Runs all jobs for a run that started from `from_version`. The last job's result; 0 means success. */
int32_t migr_fix_all_files(int32_t from_version);

/* Moves the certificate files into the root domain's folders and, from 5.10 on, copies these for the other domains. */
int32_t migr_fix_adom_cert_dirs(int32_t from_version);
int32_t migr_fix_root_adom_cert(void);
int32_t migr_fix_other_adom_cert(const char *domain);

/* Whether `path` is a symbolic link that leads somewhere. */
int32_t is_lnk(const char *path);

#ifdef __cplusplus
}
#endif

#endif
