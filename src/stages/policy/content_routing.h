/*
 * Content routing and persistence of server policies: from capitalised words to lower-case ones. Values are taken word
 * by word; what a match means is not looked at.
 */
#ifndef MIGR_STAGES_POLICY_CONTENT_ROUTING_H
#define MIGR_STAGES_POLICY_CONTENT_ROUTING_H

#include "walk/cursors.h"
#include "walk/stages.h"

/* All until a nested edit's sets end. */
struct migr_change_content_routing_state {
    int32_t      seen;          /* a visit under a "content-routing-match-list" */
    config_node *cookie_object; /* the last "match-object" that was converted to a cookie match */
    config_node *condition;     /* the last "match-condition" */
};
MIGR_STATE(migr_change_content_routing_state, 24);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _migr_change_persistence_policy;
stage_callback _migr_change_content_routing;

#ifdef __cplusplus
}
#endif

#endif
