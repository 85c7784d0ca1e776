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

/* The steps, named for the releases they go from and to. 0, or -1 where a step stops the chain. */
int32_t migr_hardcode_v40tov41(void);
int32_t migr_hardcode_v410tov411(void);
int32_t migr_hardcode_v411tov420(void);
int32_t migr_hardcode_v420tov430(void);
int32_t migr_hardcode_v430tov432(void);
int32_t migr_hardcode_v433tov435(void);
int32_t migr_hardcode_v435tov440(void);
int32_t migr_hardcode_v440tov442(void);
int32_t migr_hardcode_v442tov443(void);
int32_t migr_hardcode_v446tov500(void);
int32_t migr_hardcode_v500tov510(void);
int32_t migr_hardcode_v510tov520(void);
int32_t migr_hardcode_v520tov530(void);
int32_t migr_hardcode_v530tov532(void);
int32_t migr_hardcode_v532tov533(void);
int32_t migr_hardcode_v534tov535(void);
int32_t migr_hardcode_v535tov536(void);
int32_t migr_hardcode_v536tov540(void);

/* Called when a pass ends: forgets every pointer that a step kept into the tree, and frees what it kept beside it. */
void forget_pass_nodes(void);

#ifdef __cplusplus
}
#endif

#endif
