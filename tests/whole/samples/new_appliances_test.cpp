/* The appliances of 5.63 and 6.02, with a file for each domain: the files are what the system reads. */
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

struct NewAppliance {
    const char *name;
    int32_t     release;
    const char *model;
};

const NewAppliance APPLIANCES[] = {
    {"orchard-auction-5.63", 0x5003f, "QA-A3X"},
    {"ferry-cloud-6.02", 0x60002, "XQQZE1"},
};

fs::path folder_of(const NewAppliance &appliance)
{
    return fs::path(support::source_path("/samples")) / appliance.name;
}

std::string behind_headers(const std::string &text)
{
    return text.substr(text.find('\n', text.find('\n') + 1) + 1);
}

/* The file as the system writes it again, without header lines. */
std::string written_again(const std::string &text)
{
    ApplianceRoot root;
    root.write("/tmp/config", text);
    auto result = support::run_in_root(root.path(), [] {
        EXPECT_EQ(setup_tree(&migr_main, "/tmp/config"), 0);
        FILE *stream = fopen("/tmp/again", "w");
        write_node(&migr_main.root, 0, stream);
        fclose(stream);
        free_node(&migr_main.root);
        migr_release_nodes();
        return 0;
    });
    EXPECT_EQ(result.exit_code, 0) << result.out;
    return root.read("/tmp/again");
}

int32_t release_of(const std::string &text)
{
    ApplianceRoot root;
    root.write_gzip("/config.conf.gz", text);
    auto result = support::run_in_root(root.path(), [] {
        printf("%d", get_config_version("/config.conf.gz"));
        return 0;
    });
    return atoi(result.out.c_str());
}

} // namespace

TEST(NewAppliances, EveryFileSaysItsRelease)
{
    for (const NewAppliance &appliance : APPLIANCES) {
        long lines = 0;
        for (const fs::directory_entry &entry : fs::directory_iterator(folder_of(appliance) / "data/config")) {
            SCOPED_TRACE(entry.path());
            std::string text = support::file_text(entry.path());
            EXPECT_EQ(text.rfind(std::string("#config-version=") + appliance.model + "-", 0), 0u);
            EXPECT_NE(text.find("\n#conf_file_ver="), std::string::npos);
            EXPECT_EQ(release_of(text), appliance.release);
            lines += std::count(text.begin(), text.end(), '\n');
        }
        EXPECT_GE(lines, 800) << appliance.name;
    }
}

/* The files are laid out as the appliance writes them, so an upgraded file differs from them by the upgrade alone. */
TEST(NewAppliances, ComeBackAsTheyAre)
{
    for (const NewAppliance &appliance : APPLIANCES) {
        for (const fs::directory_entry &entry : fs::directory_iterator(folder_of(appliance) / "data/config")) {
            SCOPED_TRACE(entry.path());
            std::string text = support::file_text(entry.path());
            EXPECT_EQ(written_again(text), behind_headers(text));
        }
    }
}
