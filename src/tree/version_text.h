/*
 * Numbers and versions as configuration texts hold them. Quotes are not looked through: a number in quotes is none.
 */
#ifndef MIGR_TREE_VERSION_TEXT_H
#define MIGR_TREE_VERSION_TEXT_H

#include <stdint.h>

#define MIGR_VERSION_MARK "#config-version=" /* how a file's first line begins; the model follows */

#ifdef __cplusplus
extern "C" {
#endif

/* The number at the start of the text, white space and a sign allowed: 0 for none (so also behind a quote) and for
 * null, the nearest signed 32-bit number when it is too large. */
int32_t number_of(const char *text);

/* The signed 32-bit number that is nearest to `number`, as number_of gives it for a text. */
int32_t nearest_number(int64_t number);

/* A version code: major in the upper 16 bits plus minor, wrapping. */
int32_t version_code(int32_t major, int32_t minor);

/* Copies the model out of bak_line, up to the second dash, so that of a model without a dash the version follows it.
 * `output` holds MIGR_LINE_SIZE bytes. 0, or -1 for null or without a version line. */
int32_t get_cvw_type(char *output);

#ifdef __cplusplus
}
#endif

#endif
