/* A small image, with a rule or two of its own and all sections that an image must have. */
#pragma once

#include "support/appliance_root.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

/* An appliance with nothing in it, and what the command does with that image. */
class SmallImageTest : public testing::Test {
  protected:
    using Strings = std::vector<std::string>;

    void config(const std::string &name, const std::string &text) const
    {
        box_.write_gzip("/data/config/" + name, text);
    }
    Outcome run_on(const std::string &path, const std::string &command, Strings more = {}) const
    {
        more.insert(more.begin(), {command, "--image", image_.folder(), path});
        return migr(more);
    }
    Outcome run(const std::string &command, Strings more = {}) const
    {
        return run_on(box_.path(), command, std::move(more));
    }
    const SmallImage &image() const
    {
        return image_;
    }
    const ApplianceRoot &box() const
    {
        return box_;
    }

  private:
    ApplianceRoot box_;
    SmallImage    image_;
};

bool holds(const std::string &text, const std::string &part);

} // namespace support
