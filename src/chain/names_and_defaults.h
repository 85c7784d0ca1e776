/* What 5.0 renamed, and what it no longer wants to find: the old release's defaults, priorities and two farm types. */
#ifndef MIGR_CHAIN_NAMES_AND_DEFAULTS_H
#define MIGR_CHAIN_NAMES_AND_DEFAULTS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 5.0. The results are always 0. */
void    migr_change_webgrp_to_wafgrp(void);
void    migr_add_prefix_name(void);
int32_t change_admin_usergrp_name(void);
void    migr_del_is_default(void);
void    migr_del_priority(void);
int32_t migr_del_server_farm(void);
int32_t migr_change_admin_accprofile_name(void);

#ifdef __cplusplus
}
#endif

#endif
