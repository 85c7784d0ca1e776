/* Remote certificates and OCSP (5.83 and 6.20), and the small certificate changes of 6.10. */
#ifndef MIGR_STAGES_SYSTEM_REMOTE_CERTIFICATES_H
#define MIGR_STAGES_SYSTEM_REMOTE_CERTIFICATES_H

#include "walk/stages.h"

/* Who refers to a group of remote certificates. The first reference that finds its group becomes its primary. */
enum ocsp_ref_kind {
    OCSP_PRIMARY = 0,
    OCSP_POOL_MEMBER = 1,
    OCSP_SNI_MEMBER = 2,
    OCSP_POLICY = 3,
};

/* A reference from a consumer to a group. All strings are owned by the record. */
typedef struct ocsp_ref ocsp_ref;
struct ocsp_ref {
    char    *name;        /* the group, without quotes */
    char    *local_cert;  /* the consumer's own certificate, without quotes */
    char    *certificate; /* these three only in a primary: the group's values as written, or null */
    char    *ocsp_url;
    char    *comment;
    uint32_t kind; /* ocsp_ref_kind */
    uint32_t used; /* in a primary: how many names its group has handed out, from 1 */
};

struct reorg_cert_remote_state {
    ocsp_ref    refs[32];
    int32_t     count;
    char        group_name[72]; /* these two: of the consumer being walked, until its end */
    char        cert_name[72];
    const char *certificate; /* these three: values of the remote edit being walked, until its end; not owned */
    const char *ocsp_url;
    const char *comment;
};
MIGR_STATE(reorg_cert_remote_state, 1712);

struct remove_ocsp_stapling_state {
    int32_t      strict; /* this policy has "sni-strict"; all three until the edit ends */
    config_node *stapling;
    config_node *group;
};
MIGR_STATE(remove_ocsp_stapling_state, 24);

struct add_crl_group_state {
    config_node *group; /* the crl-group configuration, found in round 1 or made in round 2 */
    config_node *crl;   /* the crl configuration, from round 1 on */
};
MIGR_STATE(add_crl_group_state, 16);

struct rename_msh_con_key_file_state {
    config_node *name; /* the connector's name, until the configuration ends */
};
MIGR_STATE(rename_msh_con_key_file_state, 8);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _change_cert_login;
stage_callback _remove_ocsp_stapling;
stage_callback _add_crl_group;
stage_callback _adjust_cert_conf;
stage_callback _reorg_cert_remote;
stage_callback _rename_msh_con_key_file;

/* The first record of that name, or null. */
ocsp_ref *ocsp_ref_find(ocsp_ref *refs, int32_t count, const char *name);

/* Adds a record with copies of both texts and raises *count. Nothing happens when there are 32, when a record of that
 * name and certificate is there, or without memory. */
void ocsp_ref_insert(ocsp_ref *refs, int32_t *count, uint32_t kind, const char *name, const char *local_cert);

#ifdef __cplusplus
}
#endif

#endif
