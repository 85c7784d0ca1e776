/*
 * The files of a firmware image that steer an upgrade: where they lie, and their bytes. Whether they are any good is
 * asked of check_image.h.
 */
#pragma once

#include "image/check_image.h"
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

/* Where the library looks for the image's file of that name, which must be one of the table. */
const char *place_of_image_file(const std::string &name);

/* An image's folder with its files open, in the table's order. They are read by position, so that several processes may
 * do so. */
struct Image {
    std::string     folder;
    std::vector<Fd> files;
};

/* Opens the files in the folder that the operator has named, or in the packaged one for an empty name. Throws Failure
 * that names each one that is missing. */
Image open_image(const std::string &named);

/* The whole content of one of them, by its name in the table. Throws PathError. */
std::string image_text(const Image &image, const std::string &name);

/* What makes the image unusable for files from that release on; nothing for a good one, which the one that was built
 * with this command is. Throws PathError. */
std::vector<ImageFault> faults_of(const Image &image, int32_t lowest_release);

} // namespace command
