/* For which releases the version chain has a step, for those who look ahead of an upgrade. It runs none. */
#ifndef MIGR_CHAIN_STEPS_H
#define MIGR_CHAIN_STEPS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of step number `index`, from 0 and in ascending order; -1 behind the last. An update file without a
 * section of that version leaves the step out. */
int32_t chain_step_version(int32_t index);

#ifdef __cplusplus
}
#endif

#endif
