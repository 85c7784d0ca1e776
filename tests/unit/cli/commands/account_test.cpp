#include "unit/cli/command_support.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

/* What an account cannot tell of, since the library never sees it, is told beside it. */
TEST(Account, SaysWhatIsLostOfADamagedFile)
{
    support::ApplianceRoot box;
    support::SmallImage    image;
    box.write("/damaged.conf", support::headers("5.50") + "config lab desk\n    sett height 2\n    set width 3\nend\n");
    std::string      file = box.path() / "damaged.conf";
    support::Outcome run = support::migr({"account", "--image", image.folder(), file});
    std::string      lost = "line 4: ";
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_NE(std::string::npos, run.err.find("warning: sys_domain.root.conf.gz: lost: " + lost)) << run.err;
    json messages = json::parse(support::migr({"account", "--json", "--image", image.folder(), file}).out)["messages"];
    EXPECT_NE(std::string::npos, messages.dump().find(lost)) << messages;
}
