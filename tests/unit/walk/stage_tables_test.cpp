/*
 * The stages and their rows as hosts and debuggers know them. Which rows there are, in which order, on what and in how
 * many rounds, stands in docs/releases.md, and another test holds the tables to that page.
 */
#include "walk/stages.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

/* Calls `look` for each row of all stages. */
template <typename Look> void for_each_row(const Look &look)
{
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            SCOPED_TRACE((*stage)->rows[i].name);
            look((*stage)->rows[i]);
        }
}

} // namespace

/* A host that walks over the tables may rely on it. */
TEST(StageTables, AscendAndEndWithMachineLearning)
{
    const stage_table *before = nullptr;
    for (stage_table *const *stage = all_stages; *stage; before = *stage++) {
        SCOPED_TRACE((*stage)->version);
        EXPECT_LT(0, (*stage)->row_count);
        EXPECT_TRUE((*stage)->type == STAGE_ADOM || (*stage)->type == STAGE_ML);
        if (!before)
            continue;
        EXPECT_LE(before->type, (*stage)->type);
        if (before->type == (*stage)->type) {
            EXPECT_LT(before->version, (*stage)->version);
        }
    }
    ASSERT_NE(nullptr, before);
}

TEST(StageTables, RowsFollowFromTheirTexts)
{
    std::set<std::string> names;
    for_each_row([&](const stage_row &row) {
        EXPECT_EQ(strlen(row.scope), static_cast<size_t>(row.scope_len));
        EXPECT_LE(1, row.max_round);
        EXPECT_GE(3, row.max_round);
        EXPECT_LE(0, row.state_size);
        EXPECT_TRUE(names.insert(row.name).second) << "comes twice";
    });
    EXPECT_LT(0u, names.size());
}

/* A row's callback is the function of its name, which a host can look up. */
TEST(StageTables, CallbacksHaveTheirNames)
{
    for_each_row(
        [](const stage_row &row) { EXPECT_EQ(dlsym(RTLD_DEFAULT, row.name), reinterpret_cast<void *>(row.func)); });
}

/* The two flags lie side by side: a callback gets the address of the first. */
TEST(StageTables, FlagsOfARow)
{
    static_assert(offsetof(stage_row, finished) == offsetof(stage_row, skip_round) + sizeof(int32_t));
    stage_row row = {};
    int32_t  *progress = &row.skip_round;
    EXPECT_EQ(&row.finished, progress + 1);
}
