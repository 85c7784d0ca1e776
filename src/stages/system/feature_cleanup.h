/* Features that went away, or whose data an upgrade puts back: machine learning, auto-learning, scanner, antivirus. */
#ifndef MIGR_STAGES_SYSTEM_FEATURE_CLEANUP_H
#define MIGR_STAGES_SYSTEM_FEATURE_CLEANUP_H

#include "walk/stages.h"

struct av_vir_file_copy_state {
    int32_t done; /* in this file */
};
MIGR_STATE(av_vir_file_copy_state, 4);

struct remove_all_autolearn_state {
    int32_t folder_removed; /* in this file */
};
MIGR_STATE(remove_all_autolearn_state, 4);

struct cleanup_old_wvs_state {
    uint32_t unused;
};
MIGR_STATE(cleanup_old_wvs_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _av_vir_file_copy;
stage_callback _remove_all_autolearn;
stage_callback _adjust_ml_policy2;
stage_callback _cleanup_old_wvs;
stage_callback _adjust_ml_policy_620;
stage_callback _cleanup_pre620_av_file;
stage_callback _ml_adjust_policy;

/* Copies a file, waits until it is on the disk, and remounts /data so that it reaches the flash; whether the remount
 * succeeds does not matter. A new target has mode 0666 less the umask; a target that is the source itself stays as it
 * is. 0, or -1, which leaves what was copied. */
int32_t legacy_migr_copyfile(const char *source, const char *target);

#ifdef __cplusplus
}
#endif

#endif
