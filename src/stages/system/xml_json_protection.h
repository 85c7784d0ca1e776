/* XML and JSON protection: 6.11 makes policies of a profile's switches, 6.20 trims them by operation mode. */
#ifndef MIGR_STAGES_SYSTEM_XML_JSON_PROTECTION_H
#define MIGR_STAGES_SYSTEM_XML_JSON_PROTECTION_H

#include "walk/stages.h"

/* What one profile needs of the validation policies. */
typedef struct xml_json_entry xml_json_entry;
struct xml_json_entry {
    int32_t xml_detection;   /* the profile had its XML checks switched on */
    int32_t xml_generated;   /* xml_policy was made up here and has no edit yet */
    char    xml_policy[72];  /* without quotes */
    char    json_policy[72]; /* made up here, or empty */
};

struct adjust_xml_json_profile_state {
    xml_json_entry entries[32]; /* of the whole file, from round 1 on */
    int32_t        count;
    xml_json_entry current; /* of the profile being walked, until its end */
};
MIGR_STATE(adjust_xml_json_profile_state, 5020);

struct trim_xml_by_mode_state {
    int32_t folders_cleared; /* in this file */
};
MIGR_STATE(trim_xml_by_mode_state, 4);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _adjust_xml_json_profile;
stage_callback _adjust_xml_json_log;
stage_callback _erase_xml_json_pattern;
stage_callback _erase_xml_json_exception;
stage_callback _update_xml_rule;
stage_callback _trim_xml_by_mode;

#ifdef __cplusplus
}
#endif

#endif
