/* A small image, configuration files for it, and the command run on them. */
#pragma once

#include "support/appliance_root.h"
#include "support/image_line.h"

#include <string>
#include <vector>

namespace support {

/* Both header lines of a file of that release ("5.50"). */
std::string headers(const std::string &release);

/*
 * An image's folder. Its update file has a section for each release that a test needs: 5.10, 5.20, 5.30, 5.40, 5.50 and
 * 6.00; 6.00 deletes `old-flag` of "lab desk" and renames its `tint` to `colour`. Of its syntax file, "lab ..." are a
 * domain's, "system global" and "system certificate local" global.
 */
class SmallImage : public ApplianceRoot {
  public:
    SmallImage();
    std::string folder() const
    {
        return path().string() + "/image";
    }
};

struct Outcome {
    int         status;
    std::string out;
    std::string err;
};

/* `migr ARGUMENTS...`, with `input` as its standard input. */
Outcome migr(const std::vector<std::string> &arguments, const std::string &input = "");

} // namespace support
