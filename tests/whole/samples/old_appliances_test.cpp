/* The appliances from before 5.10, whose whole configuration is one file: the files are what the system reads. */
#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/places.h"
#include "tree/config_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;
using support::ApplianceRoot;

namespace {

struct OldAppliance {
    const char *name;
    int32_t     release;
    const char *model;
};

const OldAppliance APPLIANCES[] = {
    {"parts-dealer-3.30", 0x3001e, "QQB04A"},
    {"ferry-line-4.0", 0x40000, "QA-A3X"},
    {"ticket-office-4.35", 0x40023, "QA-A4X"},
};

fs::path folder_of(const OldAppliance &appliance)
{
    return fs::path(support::source_path("/samples")) / appliance.name;
}

std::string config_text(const OldAppliance &appliance)
{
    return support::file_text(folder_of(appliance) / "data/config/sys_global.conf");
}

std::string behind_headers(const std::string &text)
{
    return text.substr(text.find('\n', text.find('\n') + 1) + 1);
}

} // namespace

TEST(OldAppliances, HaveOneFileThatSaysItsRelease)
{
    for (const OldAppliance &appliance : APPLIANCES) {
        SCOPED_TRACE(appliance.name);
        for (const fs::directory_entry &entry : fs::directory_iterator(folder_of(appliance) / "data/config"))
            EXPECT_EQ(entry.path().filename(), "sys_global.conf");
        std::string text = config_text(appliance);
        EXPECT_EQ(text.rfind(std::string("#config-version=") + appliance.model + "-", 0), 0u);
        EXPECT_NE(text.find("\n#conf_file_ver="), std::string::npos);
        EXPECT_GE(std::count(text.begin(), text.end(), '\n'), 800);

        ApplianceRoot root;
        root.write_gzip("/data/config/sys_global.conf.gz", text);
        auto result = support::run_in_root(root.path(), [&appliance] {
            EXPECT_EQ(get_config_version("/data/config/sys_global.conf.gz"), appliance.release);
            return 0;
        });
        EXPECT_EQ(result.exit_code, 0) << result.out;
    }
}

/* The files are laid out as the appliance writes them, so an upgraded file differs from them by the upgrade alone. */
TEST(OldAppliances, ComeBackAsTheyAre)
{
    for (const OldAppliance &appliance : APPLIANCES) {
        SCOPED_TRACE(appliance.name);
        ApplianceRoot root;
        root.write("/tmp/config", config_text(appliance));
        auto result = support::run_in_root(root.path(), [] {
            EXPECT_EQ(setup_tree(&migr_main, "/tmp/config"), 0);
            FILE *stream = fopen("/tmp/again", "w");
            write_node(&migr_main.root, 0, stream);
            fclose(stream);
            free_node(&migr_main.root);
            migr_release_nodes();
            return 0;
        });
        ASSERT_EQ(result.exit_code, 0) << result.out;
        EXPECT_EQ(root.read("/tmp/again"), behind_headers(config_text(appliance)));
    }
}
