/* User groups and how their members prove who they are. Names are compared as written, with quotes or without. */
#ifndef MIGR_CHAIN_USERS_H
#define MIGR_CHAIN_USERS_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 4.20. Without memory to look groups up, nothing changes. */
void migr_user_process(void);

/* How the HTTP authentication rules use a group, whose name is compared as written: 0 with a plain type, 1 with
 * digest, 2 with NTLM; -1 when no rule uses it, and without memory. Searches, so the search slots change. */
int32_t find_binded_usr_group(const char *group_name);

/* Moves each member's "type" to the top of its sets, as a copy, and marks the old one deleted. A null group and one
 * without members stay as they are; without memory the members that are left stay as they are. */
void cfg_auth_type2top(config_node *group);

#ifdef __cplusplus
}
#endif

#endif
