/* The version chain: one hard-coded step per release up to 5.40, each a list of migrations. */
#ifndef MIGR_CHAIN_HARDCODE_H
#define MIGR_CHAIN_HARDCODE_H

#include "rules/rules.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Runs the step of exactly the section's version, if there is one. Only `version` is read, so a null is the only bad
 * argument. 0, or the step's result where that counts; -1 ends the file's pass. */
int32_t migr_hardcode(const update_section *section);

/* Called when a pass ends: forgets every pointer that a step kept into the tree. */
void forget_pass_nodes(void);

#ifdef __cplusplus
}
#endif

#endif
