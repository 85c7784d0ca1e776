/* A migration on the same tree again and again, each time with another allocation that fails. */
#pragma once

#include "support/failing_memory.h"
#include "support/trees.h"

#include <set>
#include <string_view>

/* Expects that each node below hangs in one list only. An edit's list of edits is no part of the tree. */
inline void expect_tree(const config_node *node, std::set<const config_node *> *seen)
{
    const config_node *edits = node->kind == MIGR_EDIT ? nullptr : node->edit_list;
    for (const config_node *list :
         {static_cast<const config_node *>(node->top_list), static_cast<const config_node *>(node->config_list), edits,
          static_cast<const config_node *>(node->set_list)})
        for (const config_node *child = list; child; child = child->next) {
            ASSERT_TRUE(seen->insert(child).second) << child->name << " hangs in two places";
            expect_tree(child, seen);
        }
}

/* The same within each block: two blocks may hold the same children. */
inline void expect_blocks(const config_node *root)
{
    for (const config_node *block = root->top_list; block; block = block->next) {
        std::set<const config_node *> seen;
        expect_tree(block, &seen);
    }
}

/* Calls `migration` on `text` for each allocation that it makes, which then fails, and with all behind it failing too.
 * `check` sees the tree afterwards. Gives how many allocations there are when none fails. `shares`: the migration lets
 * blocks share what hangs below them. */
template <typename Migration, typename Check>
size_t sweep(std::string_view text, Migration migration, Check check, bool shares = false)
{
    auto run = [&](size_t number, bool lasting) {
        SCOPED_TRACE("allocation " + std::to_string(number) + (lasting ? " and all behind it" : ""));
        EXPECT_EQ(support::parse(text), 0);
        support::fail_allocation(number, lasting);
        auto   result = migration();
        size_t asked = support::allocations();
        support::fail_allocation(0);
        std::set<const config_node *> seen;
        if (shares)
            expect_blocks(&migr_main.root);
        else
            expect_tree(&migr_main.root, &seen);
        check(number, result);
        return asked;
    };
    size_t all = run(0, false);
    for (size_t number = 1; number <= all; number++) {
        run(number, false);
        run(number, true);
    }
    return all;
}
