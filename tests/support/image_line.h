/*
 * The image's release, build and date in the texts of tests, so that a test says nothing of a release that the next
 * image changes. Literals, to stand between others; newer releases than the image's beside them.
 */
#pragma once

#include "driver/run_context.h"

#include <string>
#include <vector>

/* What stands behind the release in the version line of a file that was upgraded. */
#define IMAGE_STAMP "-CV-build" MIGR_IMAGE_BUILD "-" MIGR_IMAGE_DATE

/* The version line from the release on, up to the ":". */
#define IMAGE_VERSION MIGR_IMAGE_RELEASE IMAGE_STAMP

namespace support {

/* A release as its version code gives it, in the form of version lines. */
inline std::string release_of(int32_t code)
{
    std::string minor = std::to_string(code & 0xffff);
    return std::to_string(code >> 16) + (minor.size() < 2 ? ".0" : ".") + minor;
}

/* Releases whose files the image leaves alone: its own, the next, and one of a later major number. */
inline std::vector<std::string> no_older_releases()
{
    return {MIGR_IMAGE_RELEASE, release_of(MIGR_RELEASE_IMAGE + 1), std::to_string(MIGR_IMAGE_MAJOR + 1) + ".0"};
}

} // namespace support
