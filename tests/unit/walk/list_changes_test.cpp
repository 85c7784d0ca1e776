/*
 * Lists that change under the walk, held against functions that search a list from its head each time: callbacks do the
 * same thousand things by the toolkit and by these, on the same random tree, and the two must look alike in every
 * visit and result. MIGR_RANDOM_CASES sets how many trees are tried.
 */
#include "recorder.h"

#include "support/processor_time.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"
#include "walk/toolkit.h"

#include <cstdlib>
#include <random>

using walk_test::Recorder;

namespace {

/* What a callback can do to lists. */
struct ListFunctions {
    void (*erase)(config_node *node, config_node *parent);
    void (*erase_sets)(config_node *parent, const char *name);
    void (*detach)(config_node *node, config_node *parent);
    void (*attach)(config_node *node, config_node *parent);
    void (*append)(config_node **list, config_node *node);
};

/* By the toolkit, whose functions for slots find the parent themselves. */
constexpr ListFunctions by_toolkit = {
    [](config_node *node, config_node *parent) { cnd_del_from(node, parent); },
    [](config_node *parent, const char *name) { cnd_del_by_name(parent, 1, name); },
    [](config_node *node, config_node *) { cnd_detach(node); },
    [](config_node *node, config_node *parent) { cnd_attach(node, parent); },
    [](config_node **list, config_node *node) { add_to_tail(list, node); },
};

bool take_out(config_node **list, const config_node *node)
{
    while (list && *list && *list != node)
        list = &(*list)->next;
    if (!list || !*list)
        return false;
    *list = node->next;
    return true;
}

constexpr ListFunctions by_search = {
    [](config_node *node, config_node *parent) { take_out(child_list(parent, node->kind), node); },
    [](config_node *parent, const char *name) {
        for (config_node *set = parent->set_list; set; set = set->next)
            if (strcmp(set->name, name) == 0 && set->kind == MIGR_SET)
                take_out(&parent->set_list, set);
    },
    [](config_node *node, config_node *parent) { take_out(child_list(parent, node->kind), node); },
    [](config_node *node, config_node *parent) {
        config_node **list = child_list(parent, node->kind);
        node->next = *list;
        *list = node;
    },
    [](config_node **list, config_node *node) {
        while (*list)
            list = &(*list)->next;
        *list = node;
        node->next = nullptr;
    },
};

class Meddler {
  public:
    Meddler(unsigned seed, const ListFunctions &lists) : random_(seed), lists_(lists) {}

    /* What the callback of a row does at a visit. */
    void act()
    {
        remember();
        while (number(3) == 0)
            one_change();
    }

  private:
    unsigned number(unsigned below)
    {
        return static_cast<unsigned>(random_() % below);
    }

    /* A node of a slot; a sentinel where the walk holds none. */
    config_node *slot()
    {
        config_node *all[] = {top[1], top[2], top[3], top[4], sub[1], sub[2], sub[3], sub[4]};
        return all[number(8)];
    }

    config_node *parent()
    {
        config_node *all[] = {top[1], top[2], sub[1], sub[2]};
        return all[number(4)];
    }

    void remember()
    {
        if (number(2) == 0)
            noted_.push_back({slot(), parent()});
        if (noted_.size() > 40)
            noted_.erase(noted_.begin());
    }

    /* The walk comes past what is not the end of a list only once, and a container must outlive its lists' walk. */
    bool may_go(const config_node *node) const
    {
        return node == top[3] || node == top[4] || node == sub[3] || node == sub[4] ||
               (node == sub[2] && sub_edt_set_end()) || (node == sub[1] && sub_cfg_set_end()) ||
               (node == top[2] && top_edt_set_end()) || (node == top[1] && top_cfg_set_end());
    }

    config_node *made()
    {
        static constexpr uint32_t kinds[] = {MIGR_CONFIG, MIGR_EDIT, MIGR_SET};
        config_node              *node = new_node(kinds[number(3)]);
        snprintf(node->name, sizeof node->name, "m%u", number(4));
        return node;
    }

    void one_change()
    {
        config_node *node = slot();
        config_node *target = parent();
        switch (number(9)) {
        case 0:
        case 1:
        case 2:
            if (cnd_is_normal(node) && may_go(node))
                lists_.erase(node, _cnd_get_parent(node));
            return;
        case 3:
            if (!noted_.empty())
                erase_noted();
            return;
        case 4:
            if (cnd_is_normal(target))
                lists_.erase_sets(target, number(2) ? "a" : "m1");
            return;
        case 5:
            if (cnd_is_normal(node) && may_go(node) && node->kind != MIGR_TOP) {
                lists_.detach(node, _cnd_get_parent(node));
                if (node->kind == MIGR_SET || std::find(taken_.begin(), taken_.end(), node) == taken_.end())
                    loose_.push_back(node);
                taken_.push_back(node);
            }
            return;
        case 6:
            if (!loose_.empty() && cnd_is_normal(target))
                attach_loose(target);
            return;
        case 7:
            if (cnd_is_normal(target)) {
                config_node *added = made();
                lists_.append(child_list(target, added->kind), added);
            }
            return;
        default:
            if (cnd_is_normal(target))
                lists_.attach(made(), target);
        }
    }

    /* Now and then a set comes to stand in two lists, which then end alike; but never in a ring. */
    void attach_loose(config_node *target)
    {
        config_node *node = loose_.back();
        if (number(2) || node->kind != MIGR_SET)
            loose_.pop_back();
        const config_node *other = *child_list(target, node->kind);
        while (other && other != node)
            other = other->next;
        if (!other && target != node)
            lists_.attach(node, target);
    }

    void erase_noted()
    {
        auto [node, owner] = noted_[number(static_cast<unsigned>(noted_.size()))];
        if (cnd_is_normal(node) && cnd_is_normal(owner) && node->kind == MIGR_SET)
            lists_.erase(node, owner);
    }

    std::mt19937                                         random_;
    const ListFunctions                                 &lists_;
    std::vector<std::pair<config_node *, config_node *>> noted_;
    std::vector<config_node *>                           loose_;
    std::vector<config_node *>                           taken_; /* all that ever was loose */
};

class ListChanges : public support::TreeTest {
  protected:
    /* Sets of a few names, so that names repeat. */
    static std::string sets(std::mt19937 &random, int depth)
    {
        std::string text;
        for (unsigned left = random() % 7; left > 0; left--)
            text += std::string(static_cast<size_t>(depth), ' ') + "set " + "abc"[random() % 3] + " 1\n";
        return text;
    }

    static std::string tree(std::mt19937 &random, int depth = 0)
    {
        static constexpr const char *words[] = {"config", "edit", "config", "edit"};
        if (depth == 4)
            return {};
        std::string text;
        for (unsigned left = random() % 4 + (depth == 0); left > 0; left--) {
            text += std::string(words[depth]) + " n" + std::to_string(random() % 4) + "\n";
            text += tree(random, depth + 1) + sets(random, depth + 1);
            text += depth % 2 ? "next\n" : "end\n";
        }
        return text;
    }

    /* All visits of a walk over the text, and the tree that it leaves. */
    static std::string result(const std::string &text, unsigned seed, const ListFunctions &lists)
    {
        EXPECT_EQ(0, support::parse(text));
        Meddler  meddler(seed, lists);
        Recorder recorder;
        recorder.add("", 2, [&](int32_t, int32_t *) { meddler.act(); });
        recorder.add("n1", 3, [&](int32_t, int32_t *) { meddler.act(); });
        std::string visits = recorder.walk();
        return visits + support::dump(migr_main.root);
    }
};

} // namespace

TEST_F(ListChanges, AreWhatASearchFromTheHeadMakes)
{
    const char *asked = getenv("MIGR_RANDOM_CASES");
    unsigned    cases = asked ? static_cast<unsigned>(atoi(asked)) : 500;
    size_t      visits = 0;
    for (unsigned seed = 1; seed <= cases; seed++) {
        std::mt19937 random(seed);
        std::string  text = tree(random);
        std::string  searched = result(text, seed, by_search);
        ASSERT_EQ(searched, result(text, seed, by_toolkit)) << "seed " << seed << "\n" << text;
        visits += static_cast<size_t>(std::count(searched.begin(), searched.end(), '\n'));
        TearDown();
        SetUp();
    }
    EXPECT_GT(visits, size_t{20} * cases);
}

TEST_F(ListChanges, AnEndThatIsTakenOutIsNotAppendedTo)
{
    support::parse("config a\n set x 1\n set y 2\n set z 3\nend\n");
    Recorder recorder;
    recorder.add("a", 1, [](int32_t, int32_t *) {
        config_node *owner = top[1];
        if (top_cfg_set_is("x")) {
            cnd_add_prop(owner, "last", "1");
            cnd_del_by_name(owner, 2, "z", "last");
            cnd_add_prop(owner, "new", "2");
        }
    });
    recorder.walk();
    EXPECT_EQ("config a\n    set x 1\n    set y 2\n    set new 2\nend\n", support::written(&migr_main.root));
}

TEST_F(ListChanges, NodesThatAHostLinksByItselfAreFound)
{
    support::parse("config a\n set x 1\n set y 2\nend\n");
    config_node own[3] = {};
    for (config_node &set : own)
        set.kind = MIGR_SET;
    strcpy(own[0].name, "first");
    strcpy(own[1].name, "between");
    strcpy(own[2].name, "last");
    Recorder recorder;
    recorder.add("a", 1, [&](int32_t, int32_t *) {
        if (top_cfg_set_is("x")) {
            cnd_add_prop(top[1], "z", "3");
            own[0].next = top[1]->set_list;
            top[1]->set_list = &own[0];
            own[1].next = top[3]->next;
            top[3]->next = &own[1];
            own[1].next->next->next = &own[2];
        }
        if (top_cfg_set_is("y")) {
            cnd_add_prop(top[1], "end", "4");
            cnd_del(top[3]);
        }
    });
    recorder.walk();
    EXPECT_EQ("config a\n    set first\n    set x 1\n    set between\n    set z 3\n    set last\n    set end 4\nend\n",
              support::written(&migr_main.root));
    migr_main.root.top_list->set_list = nullptr;
}

/* Each takes a fraction of a second, and took minutes when every change searched its list from the head. */
class LongLists : public support::TreeTest {
  protected:
    static constexpr size_t count = 200000;

    /* Processor seconds of a walk with a callback that is called at every set that is named "x". */
    static double walk(const std::string &text, const std::function<void()> &change)
    {
        EXPECT_EQ(0, support::parse(text));
        double seconds = 0;
        walk_once(
            [&](int32_t, int32_t *) {
                if (top_cfg_set_is("x") || top_edt_set_is("x"))
                    change();
            },
            &seconds);
        return seconds;
    }

  private:
    static void walk_once(const walk_test::Action &action, double *seconds)
    {
        static walk_test::Action only;
        only = action;
        stage_row row = {
            "long", [](int32_t round, void *, int32_t *progress) { only(round, progress); }, "a", 1, 1, nullptr, 0, 0,
            0};
        stage_table stage = {0x50055, STAGE_ADOM, &row, 1};
        *seconds = support::processor_seconds([&] { walk_stage(&migr_main, &stage); });
    }
};

TEST_F(LongLists, LoseEveryOtherSet)
{
    std::string text = "config a\n" + support::times(count, "set kept 1\nset x 1\n") + "end\n";
    EXPECT_LT(walk(text, [] { cnd_del(top[3]); }), 10);
    EXPECT_EQ(count, support::length_of(migr_main.root.top_list->set_list));
}

TEST_F(LongLists, LoseTheirSecondHalf)
{
    std::string text =
        "config a\n" + support::times(count, "set kept 1\n") + support::times(count, "set x 1\n") + "end\n";
    EXPECT_LT(walk(text, [] { cnd_detach(top[3]); }), 10);
    EXPECT_EQ(count, support::length_of(migr_main.root.top_list->set_list));
}

TEST_F(LongLists, LoseASetTwice)
{
    std::string text = "config a\n" + support::times(count, "set x 1\nset kept 1\n") + "end\n";
    EXPECT_LT(walk(text,
                   [] {
                       cnd_del(top[3]);
                       cnd_del(top[3]);
                   }),
              10);
}

TEST_F(LongLists, GrowAtTheirEnd)
{
    std::string text = "config a\n" + support::times(count, "set x 1\n") + "end\n";
    EXPECT_LT(walk(text, [] { cnd_add_prop(top[1], "new", "1"); }), 10);
    EXPECT_EQ(2 * count, support::length_of(migr_main.root.top_list->set_list));
}

TEST_F(LongLists, LoseEveryOtherEdit)
{
    std::string text = "config a\n" + support::times(count, "edit 1\nnext\nedit 2\nset x 1\nnext\n") + "end\n";
    EXPECT_LT(walk(text, [] { cnd_del(top[2]); }), 10);
    EXPECT_EQ(count, support::length_of(migr_main.root.top_list->edit_list));
}

TEST_F(LongLists, LoseSetsByName)
{
    std::string text = "config a\n" + support::times(count, "set kept 1\nset y 1\n") + "set x 1\nend\n";
    EXPECT_LT(walk(text, [] { cnd_del_by_name(top[1], 1, "y"); }), 10);
    EXPECT_EQ(count + 1, support::length_of(migr_main.root.top_list->set_list));
}
