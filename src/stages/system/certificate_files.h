/*
 * Release 5.80: certificates, keys and their passwords move from files into the configuration. The files stay where
 * they are, and an entry whose file is missing stays without.
 */
#ifndef MIGR_STAGES_SYSTEM_CERTIFICATE_FILES_H
#define MIGR_STAGES_SYSTEM_CERTIFICATE_FILES_H

#include "walk/stages.h"

struct change_local_certificate_state {
    int32_t is_request; /* this edit's type is "csr", until its end */
};
MIGR_STATE(change_local_certificate_state, 4);

struct change_local_admin_certificate_state {
    int32_t has_material; /* this edit holds a certificate or a key already */
    int32_t is_request;   /* this edit's type is "csr"; both until its end */
};
MIGR_STATE(change_local_admin_certificate_state, 8);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _change_local_certificate;
stage_callback _change_ca_certificate;
stage_callback _change_intermediate_certificate;
stage_callback _change_crl_certificate;
stage_callback _remove_default_local_admin_certificate;
stage_callback _change_local_admin_certificate;
stage_callback _change_ca_admin_certificate;
stage_callback _encrypt_local_certificate_key;

/* At the end of an edit: adds the property from the file that the edit's name, the folder below /data/etc and the
 * extension name. The new set, or null: away from an edit's end, for a file that cannot be read or is too long. */
config_node *_top_edt_load_prop(const char *folder, const char *extension, const char *property);

/* Puts a backslash before each quote and backslash of a set's value, and double quotes around it. The node, or null
 * without memory, which leaves the value. */
config_node *_escape_prop_value(config_node *node);

#ifdef __cplusplus
}
#endif

#endif
