/*
 * Conversions of the step to 4.10. They run in the order in which they stand, and the removed names that one leaves
 * are for the next alone.
 */
#ifndef MIGR_CHAIN_RELEASE_4_10_H
#define MIGR_CHAIN_RELEASE_4_10_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The name of a removed url-rewrite rule; the list's head is such a record too, of which only `next` is used. */
typedef struct item_record item_record;
struct item_record {
    char         name[MIGR_NAME_SIZE];
    item_record *next;
};

extern item_record item_list;

void waf_input_rule(void);
void url_writing_rule(void);

/* Fits the policies to the operation mode, when the appliance tells one. */
void fit_policies_to_opmode(void);

/* Takes the table entries that name a removed rule out of the policies' block. */
void delete_item_from_group(config_node *policies);

/* 1 when a removed rule has exactly that name, quotes included, else 0. */
int32_t search_item_name_from_list(const char *name);

void free_item_list(void);

#ifdef __cplusplus
}
#endif

#endif
