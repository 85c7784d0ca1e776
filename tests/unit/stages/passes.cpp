/* A text through one migration, or through one row of a stage, without the driver. */
#include "passes.h"

#include "driver/upgrade_run.h"
#include "tree/node_store.h"
#include "walk/walk.h"

#include <cstdio>
#include <cstring>

std::string after_pass(std::string_view before, const std::function<void()> &migrate, const PassFile &file)
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_main.mode = file.mode;
    migr_main.cfg_version = file.release;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    snprintf(migr_main.adom_name, sizeof migr_main.adom_name, "%s", file.domain.c_str());
    EXPECT_EQ(support::parse(before), 0);
    migrate();
    std::string text = support::written(&migr_main.root);
    release_pass_nodes();
    migr_main.root = {};
    return text;
}

void run_row(const std::string &callback)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            if (callback != (*stage)->rows[i].name)
                continue;
            stage_table alone = **stage;
            alone.rows += i;
            alone.row_count = 1;
            prepare_stage(&alone);
            walk_stage(&migr_main, &alone);
            return;
        }
    FAIL() << "no callback " << callback;
}

std::string after_row(std::string_view before, const std::string &callback, const PassFile &file)
{
    return after_pass(
        before, [&] { run_row(callback); }, file);
}

std::string after_stage(std::string_view before, int32_t version, const PassFile &file)
{
    return after_pass(
        before,
        [&] {
            for (stage_table *const *stage = all_stages; *stage; stage++)
                if ((*stage)->version == version && (*stage)->type == STAGE_ADOM) {
                    prepare_stage(*stage);
                    walk_stage(&migr_main, *stage);
                }
        },
        file);
}

std::string after_walk(std::string_view before, const PassFile &file)
{
    return after_pass(
        before, [] { new_config_update(&migr_main); }, file);
}

void in_empty_root(const std::function<void()> &work)
{
    support::ApplianceRoot root;
    support::expect_in_root(root, work);
}
