/* Replacement messages: login pages gain what 5.50 and 5.51 brought, and 6.20 moves all pages into a group. */
#ifndef MIGR_STAGES_SYSTEM_REPLACEMENT_MESSAGES_H
#define MIGR_STAGES_SYSTEM_REPLACEMENT_MESSAGES_H

#include "walk/stages.h"

struct adjust_replacemsg_state {
    config_node *pages[11];  /* edits taken out of the configuration, until it ends */
    int32_t      count;      /* how many */
    config_node *disclaimer; /* the disclaimer's edit, taken out, or null */
    int32_t      customized; /* some page of this file differs from the image's default */
};
MIGR_STATE(adjust_replacemsg_state, 112);

#ifdef __cplusplus
extern "C" {
#endif

stage_callback _migr_change_replace_msg;
stage_callback _migr_change_replace_msg2;
stage_callback _adjust_replacemsg;

/* A placeholder that page texts may hold. */
typedef struct rmsg_tag rmsg_tag;
struct rmsg_tag {
    char     tag[64];
    char     sample[256];
    uint32_t class_; /* 1 of the request, 2 of login pages, 4 of captcha pages */
};

extern const rmsg_tag taglist[20];

/* Where new text goes in a page's text, or null when the page has no such place. `text` may be null. */
char *_find_login_insert_location(char *text);     /* behind the form's heading, or behind the form's tag */
char *_find_login_change_pwd_location(char *text); /* ahead of the user name's box, or behind the last heading */
char *_find_challenge_insert_location(char *text); /* behind the heading that holds the reply tag */

/* Removes every line feed in place; carriage returns stay. */
void _cvt_rmsg_value(char *text);

/* Copies `in` without backslashes to `out`, 4096 bytes. A text that does not fit gives an empty one. */
void _rmove_escape_in_rmsg(const char *in, char *out);

#ifdef __cplusplus
}
#endif

#endif
