/*
 * The update file: "[5.10]" opens a section, "[DELETE]", "[MODIFY]" or "[READD]" a subsection in it, and every other
 * line that is neither blank nor a comment is a rule.
 */
#ifndef MIGR_RULES_UPDATE_FILE_H
#define MIGR_RULES_UPDATE_FILE_H

#include "rules/rules.h"
#include "tree/text_reader.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MIGR_UPDATE_FILE "/data/etc/update_config"

/* Subsection headers, without the brackets. */
#define MIGR_DELETE_RULES "DELETE"
#define MIGR_MODIFY_RULES "MODIFY"
#define MIGR_READD_RULES "READD"

/* 1 when the line's first character behind white space is "#", otherwise 0. */
int32_t is_comment(const char *line);

/*
 * The version code behind the line's first "[", -1 when there is no "[", no "." behind it or nothing behind that.
 * The rest of the line does not matter, so a rule that holds a "[" with a "." behind it is a version line too. A
 * negative code makes no version line.
 */
int32_t line_is_version(const char *line);

/* 0 when the text behind the line's first "[" begins with the keyword, otherwise -1. Case matters. */
int32_t line_is_delmodreadd(const char *line, const char *keyword, size_t length);

/* Reads sections out of an open text, through the line buffer of migr_main. 0, or -1 without memory; what was read by
 * then stays on update_list. */
int32_t load_update_sections(text_reader *lines);

#ifdef __cplusplus
}
#endif

#endif
