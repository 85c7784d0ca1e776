/* The image's own syntax file: which configurations survive the split of an old file, and where they go. */
#include "image_texts.h"
#include "support/files.h"
#include "support/places.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/split.h"
#include "walk/stage_tables.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

namespace fs = std::filesystem;

class ImageSyntax : public support::TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        init_path_node(&global_node);
        init_path_node(&domain_node);
        ASSERT_EQ(0, load_syntax_to_path_node_array(support::source_path("/image/syntax_v510.txt").c_str()));
    }

    void TearDown() override
    {
        release_path_node(&global_node);
        release_path_node(&domain_node);
        TreeTest::TearDown();
    }

    static bool is_named(const std::string &name)
    {
        return is_path_node(name.c_str(), &global_node) || is_path_node(name.c_str(), &domain_node);
    }

    static std::vector<std::string> names()
    {
        std::vector<std::string> all(global_node.names, global_node.names + global_node.count);
        all.insert(all.end(), domain_node.names, domain_node.names + domain_node.count);
        return all;
    }
};

TEST_F(ImageSyntax, EveryLineCountsAndNoPathComesTwice)
{
    std::istringstream lines(image_text("syntax_v510.txt"));
    int32_t            count = 0;
    for (std::string line; std::getline(lines, line);)
        count += !line.empty() && line[0] != '#';
    EXPECT_EQ(count, global_node.count + domain_node.count);
    std::vector<std::string> all = names();
    EXPECT_EQ(all.size(), std::set<std::string>(all.begin(), all.end()).size());
}

/* The step to 5.20 takes the certificates out of the global file, and puts them behind this block of each domain. */
TEST_F(ImageSyntax, CertificatesAreGlobal)
{
    for (const std::string &name : names())
        if (name.find("certificate") != std::string::npos) {
            EXPECT_TRUE(is_path_node(name.c_str(), &global_node)) << name;
        }
    EXPECT_TRUE(is_path_node("system,certificate,local", &global_node));
    EXPECT_TRUE(is_path_node("system,default_rptlang", &domain_node));
    EXPECT_FALSE(is_path_node("system,default_rptlang", &global_node));
}

/* What the walk changes it must be able to find in the files that the split leaves. */
TEST_F(ImageSyntax, NamesWhatTheStagesLookFor)
{
    std::vector<std::string> all = names();
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            std::string scope = (*stage)->rows[i].scope;
            EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&](const std::string &name) {
                return name.starts_with(scope);
            })) << scope;
        }
}

TEST_F(ImageSyntax, NamesThePredefinedConfigurations)
{
    ASSERT_EQ(0, support::parse(image_text("system.conf.predefine")));
    for (config_node *config = migr_main.root.top_list; config; config = config->next)
        EXPECT_TRUE(is_named(config->name)) << config->name;
}

/* The other samples hold blocks that an update rule renames on the way, and some that nobody knows. */
TEST_F(ImageSyntax, NamesWhatTheBranchOfficeHolds)
{
    size_t files = 0;
    for (const fs::directory_entry &entry :
         fs::recursive_directory_iterator(support::source_path("/samples/branch-office-5.50"))) {
        if (entry.path().parent_path().filename() != "config" || entry.path().extension() != ".conf")
            continue;
        files++;
        ASSERT_EQ(0, support::parse(support::file_text(entry.path().string())));
        for (config_node *config = migr_main.root.top_list; config; config = config->next)
            EXPECT_TRUE(is_named(config->name)) << entry.path() << ": " << config->name;
        release_pass_nodes();
    }
    EXPECT_LT(0u, files);
}

/* The split writes a deleted configuration all the same if it is named here; what the update file keeps must be. */
TEST_F(ImageSyntax, AgreesWithTheUpdateFile)
{
    ASSERT_EQ(0, support::parse(own_file("release_5_10.conf")));
    std::set<std::string> kept;
    for (config_node *config = migr_main.root.top_list; config; config = config->next)
        kept.insert(config->name);
    for (const char *later : {"waf,decoy-form", "waf,outbound-check", "system,sandbox-link", "log,anomaly-notes",
                              "system,welcome-tour", "system,menu-theme", "log,event-relay", "waf,client-limit"})
        EXPECT_EQ(1u, kept.erase(later)) << "came after 5.10: " << later;
    for (const std::string &name : kept)
        EXPECT_TRUE(is_named(name)) << name;
    ASSERT_EQ(0, support::parse(own_file("release_3_30.conf")));
    std::vector<std::string> gone = {"system,dial-up-modem", "waf,url-counter", "system,status-lamp",
                                     "system,port-shape", "system,wallpaper"};
    for (const std::string &name : gone) {
        EXPECT_NE(nullptr, support::named(migr_main.root.top_list, name)) << name;
        EXPECT_FALSE(is_named(name)) << name;
    }
}
