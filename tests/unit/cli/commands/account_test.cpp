/* What `migr account` says of a file; the account itself is tested in tests/whole/accounts. */
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

/* What an account cannot tell of, since the library never sees it, is told beside it. */
class AccountOfFile : public support::SmallImageTest {};

TEST_F(AccountOfFile, SaysWhatIsLostOfADamagedFile)
{
    box().write("/damaged.conf",
                support::headers("5.50") + "config lab desk\n    sett height 2\n    set width 3\nend\n");
    std::string      file = box().path() / "damaged.conf";
    support::Outcome told = run_on(file, "account");
    std::string      lost = "line 4: ";
    EXPECT_EQ(0, told.status) << told.err;
    EXPECT_TRUE(support::holds(told.err, "warning: sys_domain.root.conf.gz: lost: " + lost)) << told.err;
    json messages = json::parse(run_on(file, "account", {"--json"}).out)["messages"];
    EXPECT_TRUE(support::holds(messages.dump(), lost)) << messages;
}
