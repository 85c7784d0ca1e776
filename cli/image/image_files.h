/* The files of a firmware image that steer an upgrade. */
#pragma once

#include "appliance/root.h"
#include "system/file_descriptor.h"

#include <string>
#include <vector>

namespace command {

struct ImageFile {
    const char *name;  /* in the image's folder */
    const char *place; /* where the library looks for it */
};

inline constexpr ImageFile image_file_table[] = {
    {"update_config", "/data/etc/update_config"},
    {"syntax_v510.txt", "/etc/syntax_v510.txt"},
    {"system.conf.predefine", "/data/etc/system.conf.predefine"},
    {"signature.db", "/data/etc/signature.db"},
};

/* Opens the files of an image's folder, in the table's order. Throws Failure that names each one that is missing. */
std::vector<Fd> open_image(const std::string &folder);

/* Throws Failure that names each one that the appliance itself lacks. */
void check_own_image(const Root &root);

/* Inside the root folder: puts the files in their places. A file that was there keeps its mode and owner. Throws
 * PathError. */
void lay_in(const std::vector<Fd> &image);

} // namespace command
