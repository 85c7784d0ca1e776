/* What a tree knows of what it is told, change by change: numbers, turns, texts and places. Most changes are made up,
 * of nodes that no library has. */
#include "explain/told_tree.h"

#include "support/trees.h"
#include "tree/changes.h"
#include "tree/config_text.h"
#include "tree/make_node.h"

#include <algorithm>
#include <cstring>

using namespace command;
using support::named;

namespace {

constexpr uint32_t first = 1, second = 2; /* authors */

ToldTree *taking;
uint32_t  author;

void observe(const migr_change *change)
{
    if (taking && taking->is_open() && change->node != 0)
        taking->take(*change, author);
}

/* A tree of one block with two sets and an entry, which has just been read. */
class ToldTreeTest : public support::TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        migr_observe_changes(observe);
        ASSERT_EQ(0, support::parse("config of an\nend\nconfig earlier pass\nend\nconfig and so\nend\n"));
        TreeTest::TearDown(); /* their numbers are older ones */
        TreeTest::SetUp();
        ASSERT_EQ(0,
                  support::parse("config lab desk\n    set height 70\n    set width 3\n    edit 1\n    next\nend\n"));
        tree.begin(migr_main.root);
        root = migr_identity_of(&migr_main.root);
        block = migr_identity_of(migr_main.root.top_list);
        height = migr_identity_of(migr_main.root.top_list->set_list);
        width = migr_identity_of(migr_main.root.top_list->set_list->next);
        entry = migr_identity_of(migr_main.root.top_list->edit_list);
        fresh = std::max({height, width, entry}) + 50;
        taking = nullptr;
    }
    void TearDown() override
    {
        taking = nullptr;
        migr_observe_changes(nullptr);
        TreeTest::TearDown();
    }
    /* What a library does is told, too, from here on. */
    void take_all_as(uint32_t who)
    {
        taking = &tree;
        author = who;
    }
    /* Of `who`, to a node with that record. */
    void tell(uint32_t who, migr_change_kind kind, uint64_t node, migr_change more = {})
    {
        more.kind = kind;
        more.node = node;
        more.record = more.record ? more.record : &made_up;
        tree.take(more, who);
    }
    static migr_change below(uint64_t parent)
    {
        migr_change change = {};
        change.parent = parent;
        return change;
    }
    static migr_change from(const char *text)
    {
        migr_change change = {};
        change.before = text;
        return change;
    }
    const ToldNode &node(uint64_t identity) const
    {
        return tree.node(tree.number_of(identity));
    }
    size_t events_of(uint64_t identity) const
    {
        return tree.events(tree.number_of(identity)).size();
    }

    ToldTree    tree;
    config_node made_up = {};
    uint64_t    root = 0, block = 0, height = 0, width = 0, entry = 0;
    uint64_t    fresh = 0; /* of no node, and more behind it */
};

} // namespace

TEST_F(ToldTreeTest, CountsFromTheRoot)
{
    EXPECT_EQ(tree.number_of(root), ToldTree::root);
    EXPECT_EQ(tree.number_of(block), ToldTree::root + 1);
    uint64_t last = std::max({height, width, entry});
    EXPECT_NE(tree.number_of(last), 0U);
    EXPECT_EQ(tree.number_of(last + 1), 0U);
    EXPECT_EQ(tree.number_of(last + 2), 0U);
    EXPECT_EQ(tree.number_of(root - 1), 0U);
    EXPECT_EQ(tree.number_of(0), 0U);
    for (uint64_t one : {root, block, height, width, entry}) {
        EXPECT_EQ(node(one).places, 1);
        EXPECT_TRUE(node(one).is_member);
        EXPECT_FALSE(node(one).is_arrived || node(one).is_touched || node(one).is_long);
    }
}

TEST_F(ToldTreeTest, TakesNoTreeThatWasNeverToldOf)
{
    config_node unknown = {};
    unknown.kind = MIGR_ROOT;
    tree.begin(unknown);
    EXPECT_FALSE(tree.is_open());
}

TEST_F(ToldTreeTest, CountsWhatIsOlderThanTheTreeByItself)
{
    for (uint64_t older : {root - 1, root - 3, root - 1, root - 2})
        tell(first, MIGR_LINKED, older, below(block));
    uint32_t one = tree.number_of(root - 1), two = tree.number_of(root - 3), three = tree.number_of(root - 2);
    EXPECT_EQ(one, 1U << 31);
    EXPECT_EQ(two, one + 1);
    EXPECT_EQ(three, two + 1);
    EXPECT_EQ(tree.number_of(root - 4), 0U);
    EXPECT_EQ(events_of(root - 1), 2U);
    EXPECT_EQ(events_of(root - 2), 1U);
    EXPECT_EQ(tree.node(one).places, 2);
    EXPECT_EQ(tree.node(three).places, 1);
    EXPECT_EQ(tree.node(two).parent, tree.number_of(block));
}

TEST_F(ToldTreeTest, KnowsNewNodesByTheirMarks)
{
    migr_change deleted = {}, hidden = {};
    deleted.deleted = 1;
    hidden.hidden = 1;
    tell(first, MIGR_MADE, fresh);
    tell(first, MIGR_MADE, fresh + 1, deleted);
    tell(first, MIGR_COPIED, fresh + 2, hidden);
    EXPECT_TRUE(node(fresh).is_shown);
    EXPECT_FALSE(node(fresh + 1).is_shown);
    EXPECT_FALSE(node(fresh + 2).is_shown);
    EXPECT_FALSE(tree.has_turns());
}

TEST_F(ToldTreeTest, CountsThePlacesOfANode)
{
    tell(first, MIGR_PARSED, fresh);
    EXPECT_EQ(node(fresh).places, 1);
    tell(first, MIGR_LINKED, fresh, below(block));
    EXPECT_EQ(node(fresh).places, 2);
    EXPECT_EQ(node(fresh).record, &made_up);
    EXPECT_EQ(node(fresh).parent, tree.number_of(block));
    tell(first, MIGR_UNLINKED, fresh, below(root));
    EXPECT_EQ(node(fresh).places, 1);
    EXPECT_EQ(node(fresh).parent, tree.number_of(block)) << "what goes has had its place";
    tell(first, MIGR_LINKED, fresh, below(0));
    EXPECT_EQ(node(fresh).parent, 0U);
}

TEST_F(ToldTreeTest, SettlesWhatComesAndWhatIsShown)
{
    migr_change hidden = {};
    hidden.hidden = 1;
    tell(first, MIGR_UNLINKED, height, below(block));
    tell(first, MIGR_MARKED, width, hidden);
    EXPECT_EQ(node(height).settled, 0U);
    EXPECT_EQ(node(width).settled, 0U);
    tell(second, MIGR_LINKED, height, below(block));
    tell(second, MIGR_MARKED, width);
    EXPECT_EQ(node(height).settled, 2U);
    EXPECT_EQ(node(width).settled, 2U);
}

TEST_F(ToldTreeTest, TakesManyTextsOfATurnForOne)
{
    for (const char *before : {"70", "71", "72"})
        tell(first, MIGR_REVALUED, height, from(before));
    EXPECT_EQ(events_of(height), 1U);
    tell(first, MIGR_RENAMED, height, from("height"));
    EXPECT_EQ(events_of(height), 2U);
    tell(first, MIGR_REVALUED, height, from("73"));
    EXPECT_EQ(events_of(height), 3U) << "behind another kind it is another one";
    tell(second, MIGR_REVALUED, height, from("74"));
    EXPECT_EQ(events_of(height), 4U);
    EXPECT_EQ(tree.turns(), (std::vector<uint32_t>{first, second}));
}

TEST_F(ToldTreeTest, GoesOnWithALastTurn)
{
    tell(first, MIGR_REVALUED, height, from("70"));
    tell(second, MIGR_REVALUED, height, from("71"));
    tell(first, MIGR_REVALUED, height, from("72"));
    tell(first, MIGR_REVALUED, width, from("3"));
    ASSERT_EQ(tree.turns(), (std::vector<uint32_t>{first, second, first}));
    EXPECT_EQ(tree.events(tree.number_of(width)).back()->turn, 3U);
    tell(second, MIGR_REVALUED, entry, from("1"));
    EXPECT_EQ(tree.events(tree.number_of(entry)).back()->turn, 2U) << "which he has had by then";
}

TEST_F(ToldTreeTest, HoldsBackWhatGoesForWhatWasDoneBelow)
{
    tell(first, MIGR_RENAMED, block, from("lab,desk"));
    tell(second, MIGR_REVALUED, height, from("70"));
    tell(first, MIGR_RENAMED, block, from("lab,table"));
    EXPECT_EQ(tree.turns().size(), 2U) << "its name has nothing to do with what is in it";
    migr_change hidden = {};
    hidden.hidden = 1;
    tell(first, MIGR_MARKED, block, hidden);
    EXPECT_EQ(tree.turns(), (std::vector<uint32_t>{first, second, first}));
    EXPECT_EQ(node(root).latest, 3U);
}

TEST_F(ToldTreeTest, RemembersTheTextsOfWhatIsGone)
{
    char        value[] = "grey";
    config_node record = {};
    strcpy(record.name, "tint");
    record.value = value;
    migr_change change = below(block);
    change.record = &record;
    tell(first, MIGR_LINKED, fresh, change);
    tell(first, MIGR_UNLINKED, fresh, change);
    migr_change release = {};
    release.record = &record;
    tell(first, MIGR_RELEASED, fresh, release);
    strcpy(record.name, "used");
    strcpy(value, "anew");
    EXPECT_EQ(node(fresh).record, nullptr);
    EXPECT_EQ(tree.content(tree.number_of(fresh), 1).name, "tint");
    EXPECT_STREQ(tree.content(tree.number_of(fresh), 1).value, "grey");

    record.value = nullptr;
    tell(first, MIGR_LINKED, fresh + 1, change);
    tell(first, MIGR_RELEASED, fresh + 1, release);
    EXPECT_EQ(tree.content(tree.number_of(fresh + 1), 1).value, nullptr);

    tell(first, MIGR_MADE, fresh + 2);
    tell(first, MIGR_RELEASED, fresh + 2, release);
    EXPECT_EQ(tree.content(tree.number_of(fresh + 2), 1).name, "") << "it stood nowhere";
    tell(first, MIGR_RELEASED, fresh + 9, release);
    EXPECT_EQ(tree.number_of(fresh + 9), 0U);
}

TEST_F(ToldTreeTest, SaysWhatATextWasInEachTurn)
{
    tell(first, MIGR_REVALUED, height, from(nullptr));
    tell(second, MIGR_RENAMED, height, from("tallness"));
    tell(first, MIGR_REVALUED, height, from("71"));
    uint32_t number = tree.number_of(height);
    auto     told = [&](uint32_t turn) {
        ToldTree::Content content = tree.content(number, turn);
        return std::string(content.name) + " " + (content.value ? content.value : "without");
    };
    EXPECT_EQ(told(0), "tallness without");
    EXPECT_EQ(told(1), "tallness 71");
    EXPECT_EQ(told(2), "height 71");
    EXPECT_EQ(told(3), "height 70");
    EXPECT_TRUE(tree.has_texts(number));
    EXPECT_FALSE(tree.has_texts(tree.number_of(width)));
}

TEST_F(ToldTreeTest, SaysInWhichTurnATextBecameAnother)
{
    uint32_t number = tree.number_of(height);
    tell(first, MIGR_REVALUED, height, from("70")); /* and back, as the record still says */
    EXPECT_FALSE(tree.is_rewritten(number, 1));
    tell(second, MIGR_MARKED, height);
    EXPECT_FALSE(tree.is_rewritten(number, 2));
    tell(first, MIGR_RENAMED, height, from("tallness"));
    ASSERT_EQ(tree.turns().size(), 3U);
    EXPECT_FALSE(tree.is_rewritten(number, 1));
    EXPECT_FALSE(tree.is_rewritten(number, 2));
    EXPECT_TRUE(tree.is_rewritten(number, 3));
    EXPECT_FALSE(tree.is_rewritten(number, 4));
}

TEST_F(ToldTreeTest, TellsNoValueFromAnEmptyOne)
{
    uint32_t number = tree.number_of(height), of_block = tree.number_of(block);
    tell(first, MIGR_REVALUED, height, from(nullptr));
    EXPECT_TRUE(tree.is_rewritten(number, 1)) << "it had none";
    tell(first, MIGR_RENAMED, block, from("lab,desk"));
    EXPECT_FALSE(tree.is_rewritten(of_block, 1)) << "it has none, and had none";
    tell(first, MIGR_LINKED, fresh, below(block));
    tell(first, MIGR_REVALUED, fresh, from("3"));
    EXPECT_TRUE(tree.is_rewritten(tree.number_of(fresh), 1)) << "it has none any more";
    take_all_as(second);
    set_node_value(migr_main.root.top_list->set_list->next, "4");
    EXPECT_TRUE(tree.is_rewritten(tree.number_of(width), 2));
}

TEST_F(ToldTreeTest, KnowsWhoLinkedANodeWhere)
{
    uint32_t number = tree.number_of(height), there = tree.number_of(block), elsewhere = tree.number_of(entry);
    EXPECT_EQ(tree.unlinked_turn(number, there), 0U);
    tell(first, MIGR_UNLINKED, height, below(block));
    tell(second, MIGR_LINKED, height, below(entry));
    tell(first, MIGR_UNLINKED, height, below(entry));
    tell(second, MIGR_LINKED, height, below(block));
    tell(first, MIGR_UNLINKED, height, below(block));
    ASSERT_EQ(tree.turns().size(), 5U);
    EXPECT_EQ(tree.unlinked_turn(number, there), 1U);
    EXPECT_EQ(tree.unlinked_turn(number, elsewhere), 3U);
    EXPECT_EQ(tree.linked_turn(number, elsewhere), 2U);
    EXPECT_EQ(tree.linked_turn(number, there), 4U);
    EXPECT_EQ(tree.linked_turn(number, tree.number_of(root)), 0U);
    EXPECT_FALSE(tree.has_texts(number));
}

TEST_F(ToldTreeTest, LetsNothingArriveThatWasThere)
{
    take_all_as(first);
    config_node *desk = migr_main.root.top_list;
    add_to_tail(&desk->set_list, make_node(MIGR_SET, "depth", "9\n10"));
    tree.follow_changes();
    EXPECT_TRUE(node(block).is_touched && node(block).is_present);
    EXPECT_FALSE(node(height).is_arrived || node(width).is_arrived);
    EXPECT_EQ(tree.old_list(tree.number_of(block), 0), (std::vector{tree.number_of(height), tree.number_of(width)}));
    uint32_t depth = tree.number_of(migr_identity_of(named(desk->set_list, "depth")));
    EXPECT_EQ(tree.list(tree.number_of(block), 0), (std::vector{tree.number_of(height), tree.number_of(width), depth}));
    EXPECT_TRUE(tree.node(depth).is_arrived && tree.node(depth).is_long && !tree.node(depth).is_member);
    EXPECT_FALSE(node(width).is_long);
    tree.forget_part({});
    EXPECT_TRUE(tree.node(depth).is_member);
    EXPECT_FALSE(tree.node(depth).is_arrived || node(block).is_touched || node(block).is_present);
}

TEST_F(ToldTreeTest, LetsAllArriveThatComesWithABlock)
{
    take_all_as(first);
    config_node *desk = migr_main.root.top_list, *yard = make_node(MIGR_TOP, "lab,yard", nullptr);
    add_to_tail(&desk->set_list, make_node(MIGR_SET, "dep\nth", nullptr));
    add_to_tail(&migr_main.root.top_list, yard);
    unlink_node(&migr_main.root.top_list, desk);
    add_to_tail(&yard->config_list, desk);
    tree.follow_changes();
    for (uint64_t one : {block, height, width, entry})
        EXPECT_TRUE(node(one).is_arrived);
    EXPECT_TRUE(node(migr_identity_of(named(desk->set_list, "dep\nth"))).is_long);
    EXPECT_FALSE(node(height).is_long);
}

TEST_F(ToldTreeTest, BuildsOnWhereANodeStandsAlone)
{
    tell(first, MIGR_REVALUED, width, from("3"));
    tell(second, MIGR_LINKED, entry, below(block));
    tell(first, MIGR_UNLINKED, height, below(entry));
    EXPECT_EQ(tree.turns(), (std::vector<uint32_t>{first, second})) << "it never stood there";
}

TEST_F(ToldTreeTest, BeginsEachPartAnew)
{
    take_all_as(first);
    set_node_value(migr_main.root.top_list->set_list, "70\n71");
    migr_change hidden = {};
    hidden.hidden = 1;
    tell(second, MIGR_MARKED, width, hidden);
    EXPECT_TRUE(tree.has_turns());
    EXPECT_TRUE(node(width).is_shown) << "as it was when the part began";
    tree.follow_changes();
    tree.forget_part({tree.number_of(block)});
    EXPECT_FALSE(tree.has_turns());
    EXPECT_TRUE(node(height).is_long);
    EXPECT_FALSE(node(width).is_shown || node(width).is_long);
    EXPECT_EQ(node(height).latest + node(height).settled + node(height).last_event + node(root).latest, 0U);
    EXPECT_FALSE(node(block).is_member);
    EXPECT_TRUE(tree.list(tree.number_of(block), 0).empty());
    set_node_value(migr_main.root.top_list->set_list, "72");
    EXPECT_EQ(tree.turns(), std::vector{first});
}
