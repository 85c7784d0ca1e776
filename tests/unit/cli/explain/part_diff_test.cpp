/*
 * Trees that are changed by several authors by turns, and what is said of each. Names are never used twice, so a line
 * tells its node.
 */
#include "explain/part_diff.h"

#include "ledger/tell.h"
#include "support/places.h"
#include "support/trees.h"
#include "tree/changes.h"
#include "tree/config_text.h"
#include "tree/make_node.h"
#include "tree/operations.h"
#include "unit/cli/applied_diff.h"

#include <map>
#include <random>
#include <set>
#include <sstream>

using namespace command;
using support::named;
using support::written;

namespace {

ToldTree *taking;
Authors  *authors;

void observe(const migr_change *change)
{
    if (taking->is_open() && change->node != 0)
        taking->take(*change, authors->number_of(*change->author));
}

void work_as(const char *author)
{
    ledger::set_author(0, "stage", author);
}

struct Turn {
    std::string author;
    std::string diff;

    bool operator==(const Turn &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Turn &turn)
{
    return stream << turn.author << ":\n" << turn.diff;
}

/* Parses a text, and takes down what is done to the tree. */
class PartDiffs : public support::TreeTest {
  protected:
    PartDiffs()
    {
        taking = &tree_;
        authors = &authors_;
        migr_observe_changes(observe);
    }
    ~PartDiffs() override
    {
        migr_observe_changes(nullptr);
    }
    void begin(const std::string &text)
    {
        ASSERT_EQ(0, support::parse(text));
        tree_.begin(migr_main.root);
    }
    std::vector<Turn> end_part(const DiffView &view = {})
    {
        std::vector<Turn> turns;
        PartText          part;
        tree_.follow_changes();
        take_part_text(tree_, part);
        PartDiff diff(tree_, part, view, 0);
        for (uint32_t turn = 1; turn <= tree_.turns().size(); turn++)
            if (std::string text = diff.of_turn(turn); !text.empty())
                turns.push_back({authors_.list()[tree_.turns()[turn - 1]].name, text});
        tree_.forget_part(part.lost);
        return turns;
    }
    static config_node *top(const char *name)
    {
        return named(migr_main.root.top_list, name);
    }

  private:
    ToldTree tree_;
    Authors  authors_;
};

constexpr char desk[] =
    "config lab desk\n    set height 70\n    set width 3\n    edit 1\n        set tint red\n    next\n"
    "    edit 2\n        set shade blue\n    next\nend\n";

} // namespace

TEST_F(PartDiffs, WhatOneDoesInSeveralPlacesIsOneDiff)
{
    begin(desk);
    config_node *block = top("lab,desk");
    for (config_node *entry = block->edit_list; entry; entry = entry->next) {
        work_as("_first");
        set_node_value(entry->set_list, "grey");
        work_as("_second");
        add_to_tail(&entry->set_list, make_node(MIGR_SET, entry->name, "1"));
    }
    EXPECT_EQ((std::vector<Turn>{{"_first",
                                  "@@ -2,9 +2,9 @@ lab desk / 1\n     set height 70\n     set width 3\n     edit 1\n"
                                  "-        set tint red\n+        set tint grey\n     next\n     edit 2\n"
                                  "-        set shade blue\n+        set shade grey\n     next\n end\n"},
                                 {"_second", "@@ -3,8 +3,10 @@ lab desk / 1\n     set width 3\n     edit 1\n"
                                             "         set tint grey\n+        set 1 1\n     next\n     edit 2\n"
                                             "         set shade grey\n+        set 2 1\n     next\n end\n"}}),
              end_part());
}

TEST_F(PartDiffs, WhoBuildsOnWhatCameBehindHasASecondTurn)
{
    begin("config lab desk\n    set height 70\nend\n");
    config_node *height = top("lab,desk")->set_list;
    for (const char *author : {"_first", "_second", "_first"}) {
        work_as(author);
        set_node_value(height, (std::string(height->value) + author).c_str());
    }
    std::vector<Turn> turns = end_part();
    ASSERT_EQ(3u, turns.size());
    EXPECT_EQ("_first", turns[2].author);
    EXPECT_NE(std::string::npos,
              turns[2].diff.find("-    set height 70_first_second\n+    set height 70_first_second_first\n"));
}

TEST_F(PartDiffs, WhatOneRewritesManyTimesIsOneChange)
{
    begin("config lab desk\n    set height 70\nend\n");
    work_as("_height");
    for (const char *value : {"71", "72", "73"})
        set_node_value(top("lab,desk")->set_list, value);
    EXPECT_EQ((std::vector<Turn>{{"_height", "@@ -1,3 +1,3 @@ lab desk\n config lab desk\n-    set height 70\n"
                                             "+    set height 73\n end\n"}}),
              end_part());
}

TEST_F(PartDiffs, WhatIsPutIntoAnothersBlockIsNotTheOthers)
{
    begin("config lab desk\n    set height 70\nend\n");
    work_as("_early"); /* has had a turn when the block comes */
    set_node_value(top("lab,desk")->set_list, "71");
    work_as("_maker");
    config_node *entry = make_node(MIGR_EDIT, "1", nullptr);
    add_to_tail(&top("lab,desk")->edit_list, entry);
    work_as("_early");
    add_to_tail(&entry->set_list, make_node(MIGR_SET, "tint", "red"));
    std::vector<Turn> turns = end_part();
    ASSERT_EQ(3u, turns.size());
    EXPECT_EQ("_maker", turns[1].author);
    EXPECT_EQ(std::string::npos, turns[1].diff.find("tint"));
    EXPECT_EQ("_early", turns[2].author);
    EXPECT_NE(std::string::npos, turns[2].diff.find("+        set tint red\n"));
}

TEST_F(PartDiffs, WhatWentAheadOfItsBlockDidNotGoWithIt)
{
    begin(desk);
    config_node *block = top("lab,desk");
    work_as("_blocks");
    set_node_value(block->set_list, "71");
    work_as("_sets");
    unlink_node(&block->edit_list->set_list, block->edit_list->set_list);
    work_as("_blocks");
    unlink_node(&block->edit_list, block->edit_list);
    std::vector<Turn> turns = end_part();
    ASSERT_EQ(3u, turns.size());
    EXPECT_EQ("_sets", turns[1].author);
    EXPECT_NE(std::string::npos, turns[1].diff.find("-        set tint red\n"));
    EXPECT_EQ("_blocks", turns[2].author);
    EXPECT_EQ(std::string::npos, turns[2].diff.find("tint"));
}

TEST_F(PartDiffs, MarksAndTheirTakingBack)
{
    begin(desk);
    config_node *entry = top("lab,desk")->edit_list;
    work_as("_mark");
    mark_deleted(entry);
    EXPECT_EQ((std::vector<Turn>{{"_mark", "@@ -1,9 +1,6 @@ lab desk / 1\n config lab desk\n     set height 70\n"
                                           "     set width 3\n-    edit 1\n-        set tint red\n-    next\n"
                                           "     edit 2\n         set shade blue\n     next\n"}}),
              end_part());
    work_as("_take_back");
    clear_delete_mark(entry);
    std::vector<Turn> turns = end_part();
    ASSERT_EQ(1u, turns.size());
    EXPECT_NE(std::string::npos, turns[0].diff.find("+    edit 1\n+        set tint red\n+    next\n"));
}

TEST_F(PartDiffs, OfALongValueOnlyTheLinesThatChanged)
{
    begin("config lab desk\n    set note \"a\nb\nc\"\nend\n");
    work_as("_note");
    set_node_value(top("lab,desk")->set_list, "\"a\nB\nc\"");
    EXPECT_EQ((std::vector<Turn>{
                  {"_note", "@@ -1,5 +1,5 @@ lab desk\n config lab desk\n     set note \"a\n-b\n+B\n c\"\n end\n"}}),
              end_part());
}

TEST_F(PartDiffs, SecretsAreHiddenOnOneLine)
{
    begin("config lab desk\n    set private-key \"a\nb\"\n    set width 3\nend\n");
    work_as("_width");
    set_node_value(top("lab,desk")->set_list->next, "4");
    std::vector<Turn> turns = end_part();
    ASSERT_EQ(1u, turns.size());
    EXPECT_TRUE(turns[0].diff.starts_with("@@ -1,4 +1,4 @@ lab desk\n config lab desk\n     set private-key (hidden "))
        << turns[0].diff;
    set_node_value(top("lab,desk")->set_list->next, "5");
    DiffView open;
    open.show_secrets = true;
    turns = end_part(open);
    ASSERT_EQ(1u, turns.size());
    EXPECT_TRUE(
        turns[0].diff.starts_with("@@ -1,5 +1,5 @@ lab desk\n config lab desk\n     set private-key \"a\n b\"\n"))
        << turns[0].diff;
}

/* The lines of a diff that came, went or became others. */
static std::string changes_in(const std::vector<Turn> &turns)
{
    std::string changes;
    for (const Turn &turn : turns) {
        std::istringstream lines(turn.diff);
        for (std::string line; std::getline(lines, line);)
            if (line[0] == '+' || line[0] == '-')
                changes += line + "\n";
    }
    return changes;
}

TEST_F(PartDiffs, OfALongValueThatBecomesShorterOrLonger)
{
    begin("config lab desk\n    set note \"a\nb\nc\nd\"\nend\n");
    config_node *note = top("lab,desk")->set_list;
    work_as("_note");
    set_node_value(note, "\"a\nd\"");
    EXPECT_EQ(changes_in(end_part()), "-b\n-c\n");
    set_node_value(note, "\"a\nx\ny\nd\"");
    EXPECT_EQ(changes_in(end_part()), "+x\n+y\n");
    set_node_value(note, "\"a\nx\nx\ny\nd\"");
    EXPECT_EQ(changes_in(end_part()), "+x\n");
    set_node_value(note, "d\"");
    EXPECT_EQ(changes_in(end_part()), "-    set note \"a\n-x\n-x\n-y\n-d\"\n+    set note d\"\n");
}

/* One that is dropped, one rewritten, one renamed, one moved and one added; each asked for alone. */
TEST_F(PartDiffs, WhatIsAskedForAlone)
{
    const struct {
        bool LineFilter::*fate;
        const char       *path;
        const char       *changes;
    } views[] = {
        {&LineFilter::dropped, "", "-    set height 70\n"},
        {&LineFilter::rewritten, "", "-    set width 3\n+    set width 4\n-    set old 1\n+    set new 1\n"},
        {&LineFilter::added, "", "+    set depth 5\n"},
        {&LineFilter::dropped, "lab desk / height", "-    set height 70\n"},
        {&LineFilter::dropped, "lab desk / width", ""},
        {&LineFilter::rewritten, "lab desk / width", "-    set width 3\n+    set width 4\n"},
        {&LineFilter::rewritten, "lab desk / new", "-    set old 1\n+    set new 1\n"},
        {&LineFilter::rewritten, "lab desk / old", ""},
        {&LineFilter::added, "lab desk / depth", "+    set depth 5\n"},
        {&LineFilter::added, "*lamp*", ""},
        {&LineFilter::moved, "lab lamp / tint", "+    set tint red\n"},
        {&LineFilter::moved, "lab desk / tint", "-    set tint red\n"},
    };
    const std::string space = "    set a 1\n    set b 2\n    set c 3\n    set d 4\n"; /* so that hunks are apart */
    for (const auto &[fate, path, changes] : views) {
        SCOPED_TRACE(std::string(path) + changes);
        TearDown();
        SetUp();
        begin("config lab desk\n    set height 70\n" + space + "    set width 3\n" + space + "    set old 1\n" + space +
              "    set tint red\n" + space + "end\nconfig lab lamp\n" + space + "end\n");
        config_node *desk_block = top("lab,desk"), *lamp = top("lab,lamp");
        work_as("_all");
        unlink_node(&desk_block->set_list, named(desk_block->set_list, "height"));
        set_node_value(named(desk_block->set_list, "width"), "4");
        set_node_name(named(desk_block->set_list, "old"), "new");
        config_node *tint = named(desk_block->set_list, "tint");
        unlink_node(&desk_block->set_list, tint);
        add_to_tail(&lamp->set_list, tint);
        add_to_tail(&desk_block->set_list, make_node(MIGR_SET, "depth", "5"));
        DiffView view;
        view.lines.dropped = view.lines.rewritten = view.lines.added = view.lines.moved = false;
        view.lines.*fate = true;
        view.lines.path = path;
        EXPECT_EQ(changes_in(end_part(view)), changes);
    }
}

/* A hunk is named for the block as it is called where its first change stands. */
TEST_F(PartDiffs, HunksHaveTheNamesOfTheirBlocks)
{
    begin("config lab desk\n    set height 70\nend\n");
    config_node *block = top("lab,desk");
    work_as("_first");
    set_node_name(block, "lab,table");
    work_as("_second");
    unlink_node(&block->set_list, block->set_list);
    work_as("_third");
    add_to_tail(&block->set_list, make_node(MIGR_SET, "width", "3"));
    std::vector<Turn> turns = end_part();
    ASSERT_EQ(turns.size(), 3u);
    EXPECT_TRUE(turns[0].diff.starts_with("@@ -1,3 +1,3 @@ lab desk\n-config lab desk\n+config lab table\n"))
        << turns[0];
    EXPECT_TRUE(turns[1].diff.starts_with("@@ -1,3 +1,2 @@ lab table\n")) << turns[1];
    EXPECT_TRUE(turns[2].diff.starts_with("@@ -1,2 +1,3 @@ lab table\n")) << turns[2];
}

TEST_F(PartDiffs, OfAMarkThatIsTakenBackNothing)
{
    begin(desk);
    config_node *entry = top("lab,desk")->edit_list;
    work_as("_one");
    mark_deleted(entry);
    mark_hidden(entry);
    clear_delete_mark(entry);
    EXPECT_EQ(changes_in(end_part()), "-    edit 1\n-        set tint red\n-    next\n") << "it is still hidden";
    work_as("_two");
    mark_deleted(entry);
    EXPECT_EQ(changes_in(end_part()), "");
}

/* Two blocks with one list: what leaves one of them stands in the other all the same. */
TEST_F(PartDiffs, WhatStandsInTwoBlocksIsInOneStill)
{
    begin("config lab desk\n    set height 70\nend\n");
    config_node *old = top("lab,desk");
    work_as("_share");
    config_node *fresh = make_node(MIGR_TOP, "lab,table", nullptr);
    add_to_tail(&migr_main.root.top_list, fresh);
    adopt_list(&fresh->set_list, old->set_list);
    EXPECT_EQ(changes_in(end_part()), "+config lab table\n+    set height 70\n+end\n");
    work_as("_leave");
    drop_list(&old->set_list);
    EXPECT_EQ(changes_in(end_part()), "-    set height 70\n");
    work_as("_height");
    set_node_value(fresh->set_list, "71");
    EXPECT_EQ(changes_in(end_part()), "-    set height 70\n+    set height 71\n");
    unlink_node(&fresh->set_list, fresh->set_list);
    EXPECT_EQ(changes_in(end_part()), "-    set height 71\n");
}

/* With all that is below it, of which is told when it changes. */
TEST_F(PartDiffs, AnEntryInTwoBlocksGoesOnInOne)
{
    begin("config lab desk\n    edit 1\n        set tint red\n    next\nend\n");
    config_node *old = top("lab,desk"), *entry = old->edit_list;
    work_as("_share");
    config_node *fresh = make_node(MIGR_TOP, "lab,table", nullptr);
    add_to_tail(&migr_main.root.top_list, fresh);
    adopt_list(&fresh->edit_list, old->edit_list);
    EXPECT_EQ(changes_in(end_part()), "+config lab table\n+    edit 1\n+        set tint red\n+    next\n+end\n");
    work_as("_leave");
    unlink_node(&old->edit_list, entry);
    EXPECT_EQ(changes_in(end_part()), "-    edit 1\n-        set tint red\n-    next\n");
    work_as("_tint");
    set_node_value(entry->set_list, "blue");
    EXPECT_EQ(changes_in(end_part()), "-        set tint red\n+        set tint blue\n");
    work_as("_leave");
    unlink_node(&fresh->edit_list, entry);
    EXPECT_EQ(changes_in(end_part()), "-    edit 1\n-        set tint blue\n-    next\n");
    work_as("_back");
    set_node_value(entry->set_list, "green"); /* nobody sees it */
    EXPECT_EQ(changes_in(end_part()), "");
    add_to_tail(&old->edit_list, entry);
    EXPECT_EQ(changes_in(end_part()), "+    edit 1\n+        set tint green\n+    next\n");
}

namespace {

/* Does all kinds of things to a tree, and remembers who could have made a line come or go. */
class Changer {
  public:
    explicit Changer(unsigned seed) : random_(seed) {}

    static std::string text()
    {
        std::string text;
        int         name = 0;
        auto        next = [&](const char *word) { return std::string(word) + std::to_string(name++); };
        for (int block = 0; block < 4; block++) {
            text += "config " + next("t") + "\n    set " + next("s") + " 1\n    set " + next("s") + " 2\n";
            for (int entry = 0; entry < 4; entry++) {
                text +=
                    "    edit " + next("e") + "\n        set " + next("s") + " 3\n        config " + next("c") + "\n";
                text += "            edit " + next("e") + "\n                set " + next("s") + " 4\n";
                text += "            next\n        end\n    next\n";
            }
            text += "end\n";
        }
        return text;
    }

    void change()
    {
        static constexpr const char *names[] = {"_a", "_b", "_c"};
        author_ = names[draw(3)];
        work_as(author_);
        find_places();
        if (places_.empty())
            return put_back();
        switch (draw(8)) {
        case 0:
            return revalue();
        case 1:
            return rename();
        case 2:
            return add();
        case 3:
            return take_out();
        case 4:
            return put_back();
        case 5:
            return move();
        case 6:
            return mark();
        default:
            return take_mark_back();
        }
    }

    void next_part()
    {
        came_by_.clear();
        went_by_.clear();
    }

    /* "set s17 3" */
    bool may(char mark, const std::string &line, const std::string &author) const
    {
        std::istringstream words(line);
        std::string        keyword, name;
        words >> keyword >> name;
        if (keyword == "end" || keyword == "next")
            return true;
        const auto &by = mark == '+' ? came_by_ : went_by_;
        auto        at = by.find(name);
        return at != by.end() && at->second.count(author) == 1;
    }

  private:
    struct Place {
        config_node  *node;
        config_node **list;
    };

    unsigned draw(size_t below)
    {
        return static_cast<unsigned>(random_() % below);
    }
    template <typename Choices> auto &one_of(Choices &choices)
    {
        return choices[draw(choices.size())];
    }
    std::string new_name(const char *word)
    {
        return word + std::to_string(++last_name_);
    }

    void find_places()
    {
        places_.clear();
        marked_.clear();
        std::vector<config_node **> waiting = {&migr_main.root.top_list};
        while (!waiting.empty()) {
            config_node **list = waiting.back();
            waiting.pop_back();
            for (config_node *node = *list; node; node = node->next) {
                if (node->deleted) {
                    marked_.push_back(node); /* nobody sees what is done there */
                    continue;
                }
                places_.push_back({node, list});
                waiting.insert(waiting.end(), {&node->config_list, &node->edit_list, &node->set_list});
            }
        }
    }

    void note(std::map<std::string, std::set<std::string>> &by, const config_node *above)
    {
        std::vector<const config_node *> waiting = {above};
        while (!waiting.empty()) {
            const config_node *node = waiting.back();
            waiting.pop_back();
            by[node->name].insert(author_);
            for (const config_node *list : {node->config_list, node->edit_list, node->set_list})
                for (; list; list = list->next)
                    waiting.push_back(list);
        }
    }
    void note_text(const config_node *node)
    {
        went_by_[node->name].insert(author_);
        came_by_[node->name].insert(author_);
    }

    void revalue()
    {
        Place place = one_of(places_);
        if (place.node->kind != MIGR_SET)
            return;
        note_text(place.node);
        set_node_value(place.node, new_name("v").c_str());
    }
    void rename()
    {
        Place       place = one_of(places_);
        std::string name = new_name(std::string(place.node->name, 1).c_str());
        went_by_[place.node->name].insert(author_);
        came_by_[name].insert(author_);
        set_node_name(place.node, name.c_str());
    }
    void add()
    {
        Place place = one_of(places_);
        if (place.node->kind == MIGR_SET)
            return;
        bool         is_set = draw(2) == 0 || place.node->kind == MIGR_EDIT;
        config_node *added =
            make_node(is_set ? MIGR_SET : MIGR_EDIT, new_name(is_set ? "s" : "e").c_str(), is_set ? "5" : nullptr);
        note(came_by_, added);
        link(added, is_set ? &place.node->set_list : &place.node->edit_list);
    }
    void link(config_node *node, config_node **list)
    {
        if (draw(2) == 0)
            push_front(list, node);
        else
            add_to_tail(list, node);
    }
    void take_out()
    {
        Place place = one_of(places_);
        note(went_by_, place.node);
        unlink_node(place.list, place.node);
        place.node->next = nullptr;
        taken_.push_back(place.node);
    }
    void put_back()
    {
        if (taken_.empty())
            return;
        size_t       at = draw(taken_.size());
        config_node *node = taken_[at];
        config_node *above = parent_for(node);
        if (!above)
            return;
        taken_.erase(taken_.begin() + static_cast<std::ptrdiff_t>(at));
        note(came_by_, node);
        link(node, child_list(above, node->kind));
    }
    void move()
    {
        Place place = one_of(places_);
        note(went_by_, place.node);
        note(came_by_, place.node);
        unlink_node(place.list, place.node);
        place.node->next = nullptr;
        find_places(); /* not below itself */
        config_node *above = parent_for(place.node);
        link(place.node, above ? child_list(above, place.node->kind) : place.list);
    }
    /* Any in the tree, for most. */
    config_node *parent_for(const config_node *node)
    {
        if (node->kind == MIGR_TOP)
            return &migr_main.root;
        for (int tries = 0; tries < 20 && !places_.empty(); tries++) {
            config_node *above = one_of(places_).node;
            if (above->kind < node->kind || (above->kind == MIGR_EDIT && node->kind == MIGR_CONFIG))
                if (above->kind != MIGR_EDIT || node->kind != MIGR_EDIT)
                    return above;
        }
        return nullptr;
    }
    void mark()
    {
        Place place = one_of(places_);
        note(went_by_, place.node);
        mark_deleted(place.node);
    }
    void take_mark_back()
    {
        if (marked_.empty())
            return;
        config_node *node = one_of(marked_);
        note(came_by_, node);
        clear_delete_mark(node);
    }

    std::mt19937                                 random_;
    const char                                  *author_ = nullptr;
    int                                          last_name_ = 1000;
    std::vector<Place>                           places_;
    std::vector<config_node *>                   taken_, marked_;
    std::map<std::string, std::set<std::string>> came_by_, went_by_; /* in this part, by the name of a line */
};

} // namespace

TEST_F(PartDiffs, LeadFromTextToTextAndBlameNobodyElse)
{
    unsigned last = support::is_sanitized() ? 50 : 500;
    for (unsigned seed = 1; seed <= last; seed++) {
        SCOPED_TRACE(seed);
        TearDown();
        SetUp();
        begin(Changer::text());
        Changer     changer(seed);
        std::string text = written(&migr_main.root);
        for (int part = 0; part < 4; part++) {
            changer.next_part();
            for (unsigned changes = seed % 40; changes > 0; changes--)
                changer.change();
            for (const Turn &turn : end_part()) {
                std::istringstream lines(turn.diff);
                for (std::string line; std::getline(lines, line);)
                    if (line[0] == '+' || line[0] == '-') {
                        EXPECT_TRUE(changer.may(line[0], line.substr(1), turn.author)) << line << "\n" << turn;
                    }
                text = support::applied(text, turn.diff);
            }
            ASSERT_EQ(written(&migr_main.root), text);
            ASSERT_FALSE(HasFailure());
        }
    }
}
