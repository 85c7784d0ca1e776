/* What no text of a configuration can show: sets without a value, texts that are empty, and what a process remembers.
 */
#include "stages/policy/small_settings.h"
#include "stages/shared/remove_folder.h"
#include "support/appliance_root.h"
#include "support/trees.h"
#include "tree/operations.h"
#include "unit/stages/passes.h"
#include "walk/stage_tables.h"
#include "walk/walk.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

using namespace support;

namespace {

class PolicyCallbacks : public TreeTest {
  protected:
    static void run(stage_table *stage)
    {
        prepare_stage(stage);
        walk_stage(&migr_main, stage);
    }

    /* Takes the value of each set of that name away, as steps of the version chain may have done. */
    static void drop_values(config_node *node, std::string_view name)
    {
        for (config_node *list : {node->top_list, node->config_list, node->edit_list, node->set_list})
            for (config_node *child = list; child; child = child->next) {
                if (child->kind == MIGR_SET && name == child->name) {
                    free(child->value);
                    child->value = nullptr;
                }
                drop_values(child, name);
            }
    }
};

TEST_F(PolicyCallbacks, LimitWithoutValueBecomesZero)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config waf http-protocol-parameter-restriction\nedit 1\n"
                        "set max-http-body-length x\nset max-url-parameter x\nnext\nend\n"),
                  0);
        drop_values(&migr_main.root, "max-http-body-length");
        drop_values(&migr_main.root, "max-url-parameter");
        run(&c3_arr_MIGR_ADOM0x50032);
        EXPECT_EQ(written(&migr_main.root), "config waf http-protocol-parameter-restriction\n"
                                            "    edit 1\n"
                                            "        set max-http-body-length 0\n"
                                            "        set max-url-parameter\n"
                                            "        set max-http-content-length 65535\n"
                                            "        set max-http-request-length 65535\n"
                                            "        set max-cookie-in-request 16\n"
                                            "    next\n"
                                            "end\n");
    });
}

TEST_F(PolicyCallbacks, ExpressionAndTargetWithoutValueCountAsEmpty)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config waf custom-protection-rule\nedit 1\nset expression x\nset case-sensitive enable\n"
                        "config meet-targets\nedit 1\nset target x\nnext\nend\nnext\nend\n"),
                  0);
        drop_values(&migr_main.root, "expression");
        drop_values(&migr_main.root, "target");
        run(&c3_arr_MIGR_ADOM0x50032);
        /* A target's blank is there, its name is not. */
        EXPECT_EQ(written(&migr_main.root), "config waf custom-protection-rule\n"
                                            "    edit 1\n"
                                            "        config meet-condition \n"
                                            "            edit 1 \n"
                                            "                set request-target  \n"
                                            "            next\n"
                                            "        end\n"
                                            "    next\n"
                                            "end\n");
    });
}

TEST_F(PolicyCallbacks, PacketLogWithoutValueGetsTheWordBehindABlank)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config log attack-log\nset packet-log x\nend\n"), 0);
        drop_values(&migr_main.root, "packet-log");
        run(&c3_arr_MIGR_ADOM0x60000);
        EXPECT_STREQ(migr_main.root.top_list->set_list->value, " machine-learning");
    });
}

TEST_F(PolicyCallbacks, EmptyPacketLogGetsTheWordBehindABlank)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config log attack-log\nset packet-log cookie-poison cookie-poison\nend\n"), 0);
        run(&c3_arr_MIGR_ADOM0x5003c);
        ASSERT_STREQ(migr_main.root.top_list->set_list->value, "");
        run(&c3_arr_MIGR_ADOM0x60000);
        EXPECT_STREQ(migr_main.root.top_list->set_list->value, " machine-learning");
    });
}

TEST_F(PolicyCallbacks, TimeoutWithoutValueBecomesZero)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config waf site-publish-helper rule\nedit 1\nset cookie-timeout x\nnext\nend\n"), 0);
        drop_values(&migr_main.root, "cookie-timeout");
        run(&c3_arr_MIGR_ADOM0x50050);
        EXPECT_STREQ(migr_main.root.top_list->edit_list->set_list->value, "0");
    });
}

TEST_F(PolicyCallbacks, ServerListHiddenInASentinelLeavesNothingBehind)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config log siem-policy\nend\nconfig log siem-policy\nedit 1\nset server a\nnext\nend\n"), 0);
        run(&c3_arr_MIGR_ADOM0x50032);
        EXPECT_EQ(EMPTY_NODE.config_list, nullptr);
        EXPECT_EQ(EOB_NODE.config_list, nullptr);
        EXPECT_EQ(EMPTY_NODE.kind, static_cast<uint32_t>(MIGR_EMPTY));
        EXPECT_EQ(EOB_NODE.kind, static_cast<uint32_t>(MIGR_END));
    });
}

/* The folder is looked for once in a process, whether it is there or not. */
TEST(GeoFolder, IsLookedForOnce)
{
    ApplianceRoot root;
    ChildResult   result = run_in_root(root.path(), [] {
        _remove_geo_db_dir(1, nullptr, nullptr);
        mkdir("/var/log/geo_db", 0700);
        _remove_geo_db_dir(1, nullptr, nullptr);
        return 0;
    });
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_TRUE(root.exists("/var/log/geo_db"));
}

TEST(GeoFolder, GoesOnlyTheFirstTime)
{
    ApplianceRoot root;
    root.write("/var/log/geo_db/places", "x");
    ChildResult result = run_in_root(root.path(), [] {
        _remove_geo_db_dir(1, nullptr, nullptr);
        bool gone = access("/var/log/geo_db", F_OK) != 0;
        mkdir("/var/log/geo_db", 0700);
        _remove_geo_db_dir(1, nullptr, nullptr);
        return gone ? 0 : 1;
    });
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_TRUE(root.exists("/var/log/geo_db"));
}

TEST(RemoveFolder, SaysWhatItFound)
{
    ApplianceRoot root;
    root.write("/data/left/deep/file", "x");
    root.write("/data/file", "x");
    ChildResult result = run_in_root(root.path(), [] {
        if (migr_rmdir("/data/missing") != -1 || migr_rmdir("/data/file/") != -1)
            return 1;
        return migr_rmdir("/data/left/") == 0 && migr_rmdir("/data/file") == 0 ? 0 : 2;
    });
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_FALSE(root.exists("/data/left"));
    EXPECT_FALSE(root.exists("/data/file"));
    EXPECT_TRUE(root.exists("/data/config"));
}

/* A path has never reached a shell with more than 247 characters; what is left of a longer one is what goes. */
TEST(RemoveFolder, CutsALongPath)
{
    ApplianceRoot     root;
    const std::string folder = "/data/" + std::string(240, 'a');
    const std::string fits = folder + "1";
    const std::string cut = folder + "2";
    const std::string longer = cut + "3";
    for (const std::string &path : {fits, cut, longer})
        root.folder(path);
    ChildResult result = run_in_root(
        root.path(), [&] { return migr_rmdir(fits.c_str()) == 0 && migr_rmdir(longer.c_str()) == 0 ? 0 : 1; });
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_FALSE(root.exists(fits));
    EXPECT_FALSE(root.exists(cut));
    EXPECT_TRUE(root.exists(longer));
}

} // namespace
