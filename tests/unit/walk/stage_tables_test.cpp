/* The table of stages as a whole: nothing missing, nothing twice, and what hosts and debuggers read in it. */
#include "walk/stage_tables.h"
#include "walk/walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

struct StageSize {
    int32_t version;
    int32_t type;
    int32_t rows;

    bool operator==(const StageSize &) const = default;
};

void PrintTo(const StageSize &stage, std::ostream *out)
{
    *out << std::hex << stage.version << std::dec << " type " << stage.type << ": " << stage.rows << " rows";
}

std::vector<stage_row> all_rows()
{
    std::vector<stage_row> rows;
    for (stage_table *const *stage = all_stages; *stage; stage++)
        rows.insert(rows.end(), (*stage)->rows, (*stage)->rows + (*stage)->row_count);
    return rows;
}

const stage_row *row_named(const std::vector<stage_row> &rows, const std::string &name)
{
    auto found = std::find_if(rows.begin(), rows.end(), [&](const stage_row &row) { return row.name == name; });
    return found == rows.end() ? nullptr : &*found;
}

TEST(StageTables, HoldSeventeenStagesInOrder)
{
    std::vector<StageSize> stages;
    for (stage_table *const *stage = all_stages; *stage; stage++)
        stages.push_back({(*stage)->version, (*stage)->type, (*stage)->row_count});
    EXPECT_EQ(stages, (std::vector<StageSize>{
                          {0x50032, STAGE_ADOM, 11},
                          {0x50033, STAGE_ADOM, 4},
                          {0x50034, STAGE_ADOM, 1},
                          {0x5003c, STAGE_ADOM, 4},
                          {0x50046, STAGE_ADOM, 2},
                          {0x50050, STAGE_ADOM, 12},
                          {0x50053, STAGE_ADOM, 8},
                          {0x50055, STAGE_ADOM, 7},
                          {0x5005a, STAGE_ADOM, 10},
                          {0x5005b, STAGE_ADOM, 1},
                          {0x60000, STAGE_ADOM, 1},
                          {0x60001, STAGE_ADOM, 4},
                          {0x60002, STAGE_ADOM, 5},
                          {0x6000a, STAGE_ADOM, 12},
                          {0x6000b, STAGE_ADOM, 8},
                          {0x60014, STAGE_ADOM, 16},
                          {0x60014, STAGE_ML, 1},
                      }));
}

TEST(StageTables, NameEachRowOnce)
{
    std::set<std::string> names;
    for (const stage_row &row : all_rows())
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_EQ(names.size(), 107u);
}

TEST(StageTables, MeasureTheirScopes)
{
    for (const stage_row &row : all_rows())
        EXPECT_EQ(row.scope_len, static_cast<int32_t>(std::string(row.scope).size())) << row.name;
}

TEST(StageTables, AskForMoreThanOneRoundInTenRows)
{
    std::set<std::pair<std::string, int32_t>> rounds;
    for (const stage_row &row : all_rows())
        if (row.max_round != 1)
            rounds.insert({row.name, row.max_round});
    EXPECT_EQ(rounds, (std::set<std::pair<std::string, int32_t>>{{"_add_crl_group", 2},
                                                                 {"_add_server_policy_setting", 3},
                                                                 {"_adjust_ha_interface", 3},
                                                                 {"_adjust_ha_mgmt_by_cond", 2},
                                                                 {"_adjust_replacemsg", 2},
                                                                 {"_adjust_server_policy_health", 3},
                                                                 {"_adjust_xml_json_profile", 2},
                                                                 {"_change_server_side_sni", 2},
                                                                 {"_reorg_cert_remote", 2},
                                                                 {"_trim_xml_by_mode", 3}}));
}

/* The one scope with a comma behind it, for which nothing is ever in scope. */
TEST(StageTables, KeepTheScopeThatEndsInAComma)
{
    std::vector<stage_row> rows = all_rows();
    const stage_row       *row = row_named(rows, "_change_server_side_sni");
    ASSERT_NE(row, nullptr);
    EXPECT_STREQ(row->scope, "server-policy,");
    for (const stage_row &other : rows)
        EXPECT_EQ(std::string(other.scope).ends_with(','), other.name == std::string(row->name)) << other.name;
}

TEST(StageTables, GiveEachRowAFreshStateBlock)
{
    for (stage_table *const *stage = all_stages; *stage; stage++) {
        prepare_stage(*stage);
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            const stage_row &row = (*stage)->rows[i];
            ASSERT_EQ(row.state != nullptr, row.state_size != 0) << row.name;
            const char *bytes = static_cast<const char *>(row.state);
            EXPECT_TRUE(std::all_of(bytes, bytes + row.state_size, [](char byte) { return byte == 0; })) << row.name;
        }
    }
}

} // namespace
