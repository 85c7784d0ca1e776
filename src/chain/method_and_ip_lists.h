/*
 * Allowed methods and IP lists, which became tables of their own. Each conversion looks for its own blocks; the two
 * have only the way of making a table in common.
 */
#ifndef MIGR_CHAIN_METHOD_AND_IP_LISTS_H
#define MIGR_CHAIN_METHOD_AND_IP_LISTS_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The number of the next entry of an IP list. Runs on from file to file. */
extern int32_t migr_ip_list_id;

/*
 * 4.20. `predecessor` is the top-level node behind which the new table stands, or is made; it, blocks, edits and sets
 * must not be null.
 */
void migr_method_process(void);

/* Moves the method settings of all edits of one profile block. Always 0. */
int32_t trans_exception_2_method_policy(config_node *predecessor, config_node *profile_block);

/* Moves one set into the profile's method policy. which: 0 the methods, 1 the exceptions. */
void set_metd_policy(config_node *predecessor, config_node *profile, config_node *set, int32_t which);

void migr_ip_list(void);

/* Moves a whole old list. black: 1 a black list, 0 a trust list. */
void handle_ip_list(config_node *predecessor, config_node *list_block, int32_t black);
void set_ip_list(config_node *member, const config_node *list_block, int32_t black);

#ifdef __cplusplus
}
#endif

#endif
