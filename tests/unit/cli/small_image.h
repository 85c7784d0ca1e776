/* A small image, with a rule or two of its own and all sections that an image must have. */
#pragma once

#include "support/appliance_root.h"

#include <string>

namespace support {

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

} // namespace support
