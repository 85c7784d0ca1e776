/*
 * The two header lines of a configuration file.
 *
 * The first is #config-version=MODEL-MAJOR.MINOR-PRODUCT-buildN-DATE:REST, with one dash inside the model or, for a
 * list of known models, none; the second begins with #conf_file_ver= and is carried over as it is. What a host calls
 * stands in migr.h: get_config_version, parse_version.
 */
#ifndef MIGR_DRIVER_VERSION_LINES_H
#define MIGR_DRIVER_VERSION_LINES_H

#include "driver/run_context.h"
#include "tree/text_reader.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The version code of the image. */
int32_t get_osimage_version(void);

/* Reads the version of the plain file `path` (null: /tmp/system1.conf) and fills first_line, model_text, cfg_build and
 * img_build of migr_main, whose img_version is already set. The version code, or -1. */
int32_t get_config_version_and_save_first_line(const char *path);

/* Reads the second header line of /tmp/system1.conf into migr_main. 0, or -1 when there is none. */
int32_t save_second_line_of_config_file(void);

/* The two above on a text in memory, from its beginning; the line found stays in line_buf. */
int32_t save_first_line(text_reader *reader);
int32_t save_second_line(text_reader *reader);

#ifdef __cplusplus
}
#endif

#endif
