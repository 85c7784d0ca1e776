/*
 * What the library tells its host while it works, and the one place at which it stops working. A ground-floor header:
 * who calls a hook knows nothing of the run, and a hook that nobody has defined is null.
 */
#ifndef MIGR_DRIVER_HOOKS_H
#define MIGR_DRIVER_HOOKS_H

#include "driver/change.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Hooks. A host may define them; the library calls those that are there.
 *   migr_on_file    a pass over `path` begins; `mode` is an enum migr_mode
 *   migr_on_stall   the configuration has reached one of the places that never return; the hook should end the
 *                   process, since the library waits for ever behind it
 *   migr_on_section a part of the work on the tree in migr_main is done. `version` is the release that the part belongs
 *                   to, and `phase` names it: "read" (the file's own release; nothing has been changed yet), then for
 *                   each update section "bridges" (4.0 alone), "step", "delete", "modify" and "readd", then "stage" for
 *                   each stage, then "signatures" (the image's release). The hook may copy the tree but must leave it
 *                   as it is
 *   migr_on_change  something has been changed in a tree, read into one, written from one, or done to a file beside the
 *                   configuration (change.h). It is called in the midst of the change: the hook may look at the record
 *                   of the change, but must not change a tree, nor go through one. A hook that is there is called some
 *                   three times for each line of a file; migr_observe_changes does it for some runs only
 * Questions to the host, which the stand-in for the platform asks:
 *   migr_works_on_a_copy  not 0 when the host will write anew whatever comes of the run, so that none of it has to be
 *                   on disk before
 *   migr_unpacks_soon  not 0 when the host will unpack whatever comes of the run, so that it need not be small
 */
void migr_on_file(const char *path, uint32_t mode) __attribute__((weak));
void migr_on_stall(const char *where) __attribute__((weak));
void migr_on_section(int32_t version, const char *phase) __attribute__((weak));
void migr_on_change(const migr_change *change) __attribute__((weak));
int  migr_works_on_a_copy(void) __attribute__((weak));
int  migr_unpacks_soon(void) __attribute__((weak));

/* For the places where an upgrade never gets past what it found in a file: tells the host through migr_on_stall that a
 * file has reached `where`, the name of a function, then waits for ever. */
void migr_never_returns(const char *where) __attribute__((noreturn));

#ifdef __cplusplus
}
#endif

#endif
