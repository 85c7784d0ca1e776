/*
 * Whether an image's four files can carry an appliance forward, ahead of any upgrade. Looks at the files alone, each
 * for itself and against what the library knows; what an upgrade with them leads to is not foretold.
 */
#pragma once

#include "image/check_database.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

/* The files' bytes. */
struct ImageTexts {
    std::string_view update_file;
    std::string_view syntax_file;
    std::string_view predefined;
    std::string_view database;
};

/* What makes an image unusable. The text may quote the image's files. */
struct ImageFault {
    const char *file; /* its name in the image's folder */
    size_t      line; /* from 1; 0: the file as a whole */
    std::string text;
};

/* "update_config:12: section 5.10 is missing here ..." */
std::string shown(const ImageFault &fault);

/*
 * All faults, file by file; none for a usable image. `lowest_release` is the version code of the oldest file that is to
 * be upgraded: sections up to that release may be missing. An image of a later release than the library's has that one
 * fault alone, since nothing else in it can be judged.
 */
std::vector<ImageFault> faults_of_image(const ImageTexts &image, int32_t lowest_release,
                                        DatabaseCheck check = DatabaseCheck::pages);

} // namespace command
