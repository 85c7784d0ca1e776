/* What a policy refers to since 4.40 and 4.42: rules for forwarded addresses, and lists of content routing rules. */
#ifndef MIGR_CHAIN_FORWARDING_AND_ROUTING_H
#define MIGR_CHAIN_FORWARDING_AND_ROUTING_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 4.40; always 0. Never returns from a file without the block behind which the new one belongs. */
int32_t migr_x_forward(void);
void    op_profile_x_forward(config_node *block);
void    add_new_x_forward(const char *name);

/* 4.42; always 0. The helpers take the first edit of a block, or null. */
int32_t migr_mod_content_routing_policy(void);
void    modified_hcr_policy(config_node *edits);
void    modified_hcr_pserver_list(config_node *edits);

#ifdef __cplusplus
}
#endif

#endif
