/* That the comparison of two upgrades finds what differs, so that it may be trusted where it finds nothing. */
#include "anonymize/same_upgrade.h"

#include "support/appliance_root.h"
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

namespace {

class SameUpgrade : public testing::Test {
  protected:
    std::string file(const std::string &name, const std::string &text)
    {
        folder.write("/" + name, support::headers("5.50") + text);
        return folder.path().string() + "/" + name;
    }
    std::vector<std::string> differences(const std::string &one, const std::string &other)
    {
        command::Image      image = command::open_image(support::build_path("/image"));
        command::Interrupts interrupts;
        return command::compare_upgrades({file("one.conf", one), "global", ""},
                                         {file("other.conf", other), "global", ""}, {}, image, interrupts)
            .differences;
    }

    support::ApplianceRoot folder;
};

const std::string block = "config system global\n    set hostname a\n    set strong-password enable\nend\n";

} // namespace

TEST_F(SameUpgrade, TakesOtherNamesForTheSame)
{
    EXPECT_EQ(std::vector<std::string>(),
              differences(block, "config system global\n    set hostname b\n    set strong-password enable\nend\n"));
}

TEST_F(SameUpgrade, FindsALineThatComesToAnotherEnd)
{
    std::vector<std::string> found =
        differences(block, "config system global\n    set hostname b\n    set other-password enable\nend\n");
    ASSERT_FALSE(found.empty());
    EXPECT_NE(std::string::npos, found[0].find("sys_global.conf.gz: line ")) << found[0];
}

TEST_F(SameUpgrade, FindsAResultOfOtherLength)
{
    EXPECT_FALSE(differences(block, block + block).empty());
}

TEST_F(SameUpgrade, FindsThatOneCannotBeUpgraded)
{
    EXPECT_FALSE(differences(block, "config system global\nset\nend\n").empty());
}
