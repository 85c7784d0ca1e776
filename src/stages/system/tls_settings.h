/* Protocol switches and weak cipher suites leave the TLS settings of policies and pool members (5.52, 5.83, 5.85). */
#ifndef MIGR_STAGES_SYSTEM_TLS_SETTINGS_H
#define MIGR_STAGES_SYSTEM_TLS_SETTINGS_H

#include "walk/stages.h"

struct change_server_pool_ssl_protocol_state {
    uint32_t protocols; /* one bit for each protocol switch of this pool member, until its end */
};
MIGR_STATE(change_server_pool_ssl_protocol_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _change_server_pool_ssl_protocol;
stage_callback _remove_global_no_ssl3;
stage_callback _remove_policy_ssl3;
stage_callback _change_server_pool_ssl;
stage_callback _change_server_pool_ssl_cipher;
stage_callback _change_policy_ssl_cipher;

/*
 * What is left of a blank-separated cipher list, as a fresh heap text that the caller frees; null for null and empty
 * lists and without memory. The first one is of 5.83, the second of 5.85.
 */
char *get_ssl_custom_cipher_value(const char *value);
char *get_ssl_custom_cipher_value_585(const char *value);

/* Deletes a set that 5.83 no longer has, or rewrites a cipher list; any other node stays as it is. */
void _adjust_policy_ssl(config_node *node);

#ifdef __cplusplus
}
#endif

#endif
