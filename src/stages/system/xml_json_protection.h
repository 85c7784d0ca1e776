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

void _adjust_xml_json_profile(int32_t round, void *state, int32_t *progress);
void _adjust_xml_json_log(int32_t round, void *state, int32_t *progress);
void _erase_xml_json_pattern(int32_t round, void *state, int32_t *progress);
void _erase_xml_json_exception(int32_t round, void *state, int32_t *progress);
void _update_xml_rule(int32_t round, void *state, int32_t *progress);
void _trim_xml_by_mode(int32_t round, void *state, int32_t *progress);

#ifdef __cplusplus
}
#endif

#endif
