/* The table of told nodes, held against a map. */
#include "ledger/identities.h"

#include "support/failing_memory.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <vector>

namespace {

struct Known {
    uint64_t           number;
    bool               of_run;
    std::set<uint64_t> parents;
};

/* Addresses as a store gives them, in blocks, some far apart; nobody looks into the records. */
std::vector<const config_node *> addresses()
{
    std::vector<const config_node *> all;
    for (uintptr_t block : {0x10000, 0x30000, 0x7f0000, 0x7f10000})
        for (uintptr_t i = 0; i < 341; i++)
            all.push_back(reinterpret_cast<const config_node *>(block + i * sizeof(config_node)));
    return all;
}

std::set<uint64_t> places_of(const ledger::identities &all, const ledger::identity *node)
{
    stack<uint64_t> parents = {};
    EXPECT_TRUE(push_places(&all, node, &parents));
    std::set<uint64_t> places(parents.records, parents.records + parents.count);
    EXPECT_EQ(places.size(), parents.count);
    free_stack(&parents);
    return places;
}

void expect_alike(ledger::identities &all, const std::map<const config_node *, Known> &known,
                  const std::vector<const config_node *> &nodes)
{
    ASSERT_EQ(all.count, known.size());
    for (const config_node *node : nodes) {
        const ledger::identity *found = find_identity(&all, node);
        auto                    expected = known.find(node);
        ASSERT_EQ(found != nullptr, expected != known.end());
        if (!found)
            continue;
        EXPECT_EQ(found->number, expected->second.number);
        EXPECT_EQ(found->of_run, expected->second.of_run);
        EXPECT_EQ(places_of(all, found), expected->second.parents);
    }
}

/* What hangs below the numbers is drawn from few, so that many nodes stand below several. */
TEST(Identities, AreThoseOfAMap)
{
    std::vector<const config_node *>     nodes = addresses();
    std::map<const config_node *, Known> known;
    ledger::identities                   all = {};
    std::mt19937                         random(1);
    uint64_t                             last = 0;
    for (int step = 0; step < 40000; step++) {
        const config_node *node = nodes[random() % nodes.size()];
        ledger::identity  *found = find_identity(&all, node);
        uint64_t           parent = 1 + random() % 4;
        if (!found) {
            bool of_run = random() % 8 == 0;
            ASSERT_NE(add_identity(&all, node, ++last, of_run), nullptr);
            known[node] = {last, of_run, {}};
        } else if (random() % 3 == 0) {
            remove_identity(&all, found);
            known.erase(node);
        } else if (random() % 2 == 0) {
            ASSERT_TRUE(add_place(&all, found, parent));
            known[node].parents.insert(parent);
        } else {
            remove_place(&all, found, parent);
            known[node].parents.erase(parent);
        }
        if (step % 1000 == 0)
            expect_alike(all, known, nodes);
    }
    expect_alike(all, known, nodes);
    remove_all(&all, false);
    std::erase_if(known, [](const auto &one) { return !one.second.of_run; });
    expect_alike(all, known, nodes);
    remove_all(&all, true);
    EXPECT_EQ(all.pages, nullptr);
    EXPECT_EQ(all.further.records, nullptr);
}

/* A host's record that it has freed itself, and another that lies across the place. */
TEST(Identities, AreThoseOfTheRecordThatBeginsThere)
{
    auto              *old = reinterpret_cast<const config_node *>(192 * 1000);
    auto              *other = reinterpret_cast<const config_node *>(192 * 1000 + 16);
    ledger::identities all = {};
    ASSERT_NE(add_identity(&all, old, 1, false), nullptr);
    EXPECT_EQ(find_identity(&all, other), nullptr);
    ASSERT_NE(add_identity(&all, other, 2, false), nullptr);
    EXPECT_EQ(find_identity(&all, old), nullptr);
    EXPECT_EQ(find_identity(&all, other)->number, 2u);
    EXPECT_EQ(all.count, 1u);
    remove_all(&all, false);
}

TEST(Identities, ExchangedNumbersLeaveThePlaces)
{
    std::vector<const config_node *> nodes = addresses();
    ledger::identities               all = {};
    ledger::identity                *one = add_identity(&all, nodes[0], 1, false);
    ledger::identity                *other = add_identity(&all, nodes[1], 2, false);
    add_place(&all, one, 10);
    add_place(&all, one, 11);
    add_place(&all, other, 12);
    exchange_numbers(&all, one, other);
    EXPECT_EQ(one->number, 2u);
    EXPECT_EQ(other->number, 1u);
    EXPECT_EQ(places_of(all, one), (std::set<uint64_t>{10, 11}));
    EXPECT_EQ(places_of(all, other), (std::set<uint64_t>{12}));
    remove_all(&all, false);
}

TEST(Identities, ExchangedNumbersTakeTheirFurtherPlacesAlong)
{
    std::vector<const config_node *> nodes = addresses();
    ledger::identities               all = {};
    std::vector<ledger::identity *>  told;
    for (uint64_t i = 0; i < 3; i++) {
        told.push_back(add_identity(&all, nodes[i], i + 1, false));
        add_place(&all, told[i], 10 * i + 10);
        add_place(&all, told[i], 10 * i + 11);
    }
    exchange_numbers(&all, told[0], told[1]);
    EXPECT_EQ(places_of(all, told[0]), (std::set<uint64_t>{10, 11}));
    EXPECT_EQ(places_of(all, told[1]), (std::set<uint64_t>{20, 21}));
    EXPECT_EQ(places_of(all, told[2]), (std::set<uint64_t>{30, 31}));
    remove_all(&all, false);
}

/* A host's records may lie anywhere, each in a stretch of its own. */
TEST(Identities, GrowWithTheStretchesOfMemory)
{
    constexpr uint64_t count = 500;
    auto               at = [](uint64_t i) { return reinterpret_cast<const config_node *>(0x100000 + i * 0x1000000); };
    ledger::identities all = {};
    for (uint64_t i = 0; i < count; i++)
        ASSERT_NE(add_identity(&all, at(i), i + 1, i % 2 == 0), nullptr);
    EXPECT_EQ(all.page_count, count);
    EXPECT_EQ(all.room, 1024u); /* at most half full */
    for (uint64_t i = 0; i < count; i++) {
        const ledger::identity *found = find_identity(&all, at(i));
        ASSERT_NE(found, nullptr) << i;
        EXPECT_EQ(found->number, i + 1);
    }
    remove_all(&all, false);
    for (uint64_t i = 0; i < count; i++)
        EXPECT_EQ(find_identity(&all, at(i)) != nullptr, i % 2 == 0) << i;
    remove_all(&all, true);
    EXPECT_EQ(all.room, 0u);
}

TEST(Identities, WithoutMemoryNothingIsAdded)
{
    std::vector<const config_node *> nodes = addresses();
    ledger::identities               all = {};
    for (size_t number = 1; number <= 2; number++) {
        support::fail_allocation(number);
        EXPECT_EQ(add_identity(&all, nodes[0], 1, false), nullptr) << number;
        support::fail_allocation(0);
        EXPECT_EQ(find_identity(&all, nodes[0]), nullptr);
    }
    ledger::identity *node = add_identity(&all, nodes[0], 1, false);
    ASSERT_TRUE(add_place(&all, node, 10));
    support::fail_allocation(1);
    EXPECT_FALSE(add_place(&all, node, 11));
    support::fail_allocation(0);
    EXPECT_EQ(places_of(all, node), (std::set<uint64_t>{10}));
    remove_all(&all, false);
}

TEST(Identities, WithoutMemoryPlacesAreNotGiven)
{
    std::vector<const config_node *> nodes = addresses();
    ledger::identities               all = {};
    ledger::identity                *node = add_identity(&all, nodes[0], 1, false);
    for (uint64_t parent = 10; parent < 60; parent++)
        ASSERT_TRUE(add_place(&all, node, parent));
    for (size_t number = 1; number <= 2; number++) { /* for the first place, and for one of the further ones */
        stack<uint64_t> parents = {};
        support::fail_allocation(number);
        EXPECT_FALSE(push_places(&all, node, &parents)) << number;
        support::fail_allocation(0);
        free_stack(&parents);
    }
    remove_all(&all, false);
}

/* What a node was is forgotten with it, also when its record is used again. */
TEST(Identities, ANewNodeStandsNowhere)
{
    std::vector<const config_node *> nodes = addresses();
    ledger::identities               all = {};
    ledger::identity                *old = add_identity(&all, nodes[0], 1, false);
    add_place(&all, old, 10);
    add_place(&all, old, 11);
    remove_identity(&all, old);
    EXPECT_EQ(all.count, 0u);
    EXPECT_EQ(all.further.count, 0u);
    const ledger::identity *again = add_identity(&all, nodes[0], 1, false);
    EXPECT_EQ(places_of(all, again), (std::set<uint64_t>{}));
    EXPECT_EQ(again->further, 0u);
    remove_all(&all, false);
}

TEST(Identities, FurtherPlacesOfAPassGoWithIt)
{
    std::vector<const config_node *> nodes = addresses();
    ledger::identities               all = {};
    ledger::identity                *of_pass = add_identity(&all, nodes[0], 1, false);
    add_identity(&all, nodes[1], 2, true);
    add_place(&all, of_pass, 10);
    add_place(&all, of_pass, 11);
    remove_all(&all, false);
    EXPECT_EQ(all.count, 1u);
    EXPECT_EQ(all.further.records, nullptr);
    ledger::identity *of_run = find_identity(&all, nodes[1]);
    add_place(&all, of_run, 10);
    add_place(&all, of_run, 11);
    remove_all(&all, false);
    EXPECT_EQ(places_of(all, of_run), (std::set<uint64_t>{10, 11}));
    remove_all(&all, true);
}

} // namespace
