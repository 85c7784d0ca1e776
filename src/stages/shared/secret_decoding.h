/* Secrets as old releases encoded them: base64 of a DES-CBC text under a key that comes from a fixed phrase. */
#ifndef MIGR_STAGES_SHARED_SECRET_DECODING_H
#define MIGR_STAGES_SHARED_SECRET_DECODING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MIGR_SECRET_SIZE 80  /* what a decoded secret always fills, without a terminator */
#define MIGR_PHRASE_SIZE 109 /* the phrase with its NUL */

/* Writes the phrase and its NUL to `buffer`, which holds at least MIGR_PHRASE_SIZE bytes; `size` is not looked at. */
void get_pri_key(char *buffer, int32_t size);

/* Decodes `text`, of which the first 116 characters count, to the MIGR_SECRET_SIZE bytes of `out`. Always 0: wrong
 * input gives wrong bytes. The caller cleanses `out`. */
int32_t __crv_decode(const char *text, char *out);

/* The same, under the name that migrations use. */
int32_t copyof_crv_decode(const char *text, char *out);

#ifdef __cplusplus
}
#endif

#endif
