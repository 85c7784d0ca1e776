/* What a callback may do to the tree while it is walked, under AddressSanitizer. */
#include "recorder.h"

#include "walk/toolkit.h"

using support::parse;
using support::written;
using walk_test::Action;
using walk_test::Recorder;

class Effects : public support::TreeTest {
  protected:
    /* Walks `text` with one row over "a" in that many rounds. */
    static std::string walk(const char *text, Action action, int32_t rounds = 1)
    {
        EXPECT_EQ(0, parse(text));
        Recorder recorder;
        recorder.add("a", rounds, std::move(action));
        return recorder.walk();
    }
};

TEST_F(Effects, DeletesTheSetInTheSlot)
{
    EXPECT_EQ("1  | a - x - | - - - -\n"
              "1  | a - y - | - - - -\n"
              "1  | a - z - | - - - -\n"
              "1  | a - $ - | - - - -\n",
              walk("config a\n set x 1\n set y 2\n set z 3\nend\n", [](int32_t, int32_t *) {
                  if (cnd_is_normal(top[3]))
                      cnd_del(top[3]);
              }));
    EXPECT_EQ("config a\nend\n", written(&migr_main.root));
}

TEST_F(Effects, RowsBehindStillSeeADeletedSet)
{
    parse("config a\n set x 1\nend\n");
    Recorder    recorder;
    std::string seen;
    recorder.add("a", 2, [](int32_t, int32_t *) {
        if (top_cfg_set_is("x"))
            cnd_del(top[3]);
    });
    recorder.add("a", 2, [&](int32_t, int32_t *) {
        if (top_cfg_set_is("x"))
            seen += top[3]->value;
    });
    EXPECT_EQ("0:1  | a - x - | - - - -\n"
              "1:1  | a - x - | - - - -\n"
              "0:1  | a - $ - | - - - -\n"
              "1:1  | a - $ - | - - - -\n"
              "0:2  | a - $ - | - - - -\n"
              "1:2  | a - $ - | - - - -\n",
              recorder.walk());
    EXPECT_EQ("1", seen);
}

TEST_F(Effects, DeletesARememberedSetAtTheEndVisit)
{
    config_node *remembered = nullptr;
    walk("config a\n edit 1\n  set x 1\n  set y 2\n next\nend\n", [&](int32_t, int32_t *) {
        if (top_edt_set_is("x"))
            remembered = top[4];
        if (top_edt_set_end())
            cnd_del_from(remembered, top[2]);
    });
    EXPECT_EQ("config a\n    edit 1\n        set y 2\n    next\nend\n", written(&migr_main.root));
}

TEST_F(Effects, DeletesEachContainerAtItsLastMoment)
{
    EXPECT_EQ("1  | a 1 - - | n f - s\n"
              "1  | a 1 - - | n f - $\n"
              "1  | a 1 - - | n g - $\n"
              "1  | a 1 - - | n $ - -\n"
              "1  | a 1 - - | n - $ -\n"
              "1  | a 1 - - | m - $ -\n"
              "1  | a 1 - - | $ - - -\n"
              "1  | a 1 - $ | - - - -\n"
              "1  | a 2 - $ | - - - -\n"
              "1  | a $ - - | - - - -\n"
              "1  | a - $ - | - - - -\n"
              "1  | a - $ - | - - - -\n",
              walk("config a\n edit 1\n  config n\n   edit f\n    set s 1\n   next\n   edit g\n   next\n  end\n"
                   "  config m\n  end\n next\n edit 2\n next\nend\nconfig a\nend\n",
                   [](int32_t, int32_t *) {
                       if (sub_edt_set_end())
                           cnd_del(sub[2]);
                       if (sub_cfg_set_end())
                           cnd_del(sub[1]);
                       if (top_edt_set_end())
                           cnd_del(top[2]);
                       if (top_cfg_set_end())
                           cnd_del(top[1]);
                   }));
    EXPECT_EQ("", written(&migr_main.root));
}

TEST_F(Effects, WhatHangsBelowADeletedConfigIsStillWalked)
{
    EXPECT_EQ("1  | a 1 - - | n f - s\n"
              "1  | a 1 - - | n f - $\n"
              "1  | a 1 - - | n g - t\n"
              "1  | a 1 - - | n g - $\n"
              "1  | a 1 - - | n $ - -\n"
              "1  | a 1 - - | n - u -\n"
              "1  | a 1 - - | n - $ -\n"
              "1  | a 1 - - | $ - - -\n"
              "1  | a 1 - $ | - - - -\n"
              "1  | a $ - - | - - - -\n"
              "1  | a - $ - | - - - -\n",
              walk("config a\n edit 1\n  config n\n   set u 1\n   edit f\n    set s 1\n   next\n"
                   "   edit g\n    set t 1\n   next\n  end\n next\nend\n",
                   [](int32_t, int32_t *) {
                       if (sub_edt_set_end() && sub_edt_is("f"))
                           cnd_del(sub[1]);
                   }));
    EXPECT_EQ("config a\n    edit 1\n    next\nend\n", written(&migr_main.root));
}

TEST_F(Effects, EditsAndConfigsAddedAreSeenInTheNextRound)
{
    EXPECT_EQ("1  | a 1 - $ | - - - -\n"
              "1  | a $ - - | - - - -\n"
              "1  | a - $ - | - - - -\n"
              "2  | a new - $ | - - - -\n"
              "2  | a 1 - - | inner - $ -\n"
              "2  | a 1 - - | $ - - -\n"
              "2  | a 1 - $ | - - - -\n"
              "2  | a $ - - | - - - -\n"
              "2  | a - $ - | - - - -\n",
              walk(
                  "config a\n edit 1\n next\nend\n",
                  [](int32_t round, int32_t *) {
                      if (round == 1 && top_edt_set_end()) {
                          cnd_add_config(top[2], "inner");
                          cnd_add_edit(top[1], "new");
                      }
                  },
                  2));
}

TEST_F(Effects, ASetAppendedAheadOfTheLastOneIsSeen)
{
    EXPECT_EQ("1  | a - x - | - - - -\n"
              "1  | a - y - | - - - -\n"
              "1  | a - new - | - - - -\n"
              "1  | a - $ - | - - - -\n",
              walk("config a\n set x 1\n set y 2\nend\n", [](int32_t, int32_t *) {
                  if (top_cfg_set_is("x"))
                      cnd_add_prop(top[1], "new", "1");
              }));
}

TEST_F(Effects, ASetAppendedAtTheLastOneOrAtTheEndIsNotSeen)
{
    EXPECT_EQ("1  | a - x - | - - - -\n"
              "1  | a - $ - | - - - -\n",
              walk("config a\n set x 1\nend\n", [](int32_t, int32_t *) { cnd_add_prop(top[1], "new", "1"); }));
    EXPECT_EQ("config a\n    set x 1\n    set new 1\n    set new 1\nend\n", written(&migr_main.root));
}

TEST_F(Effects, ASetMovedAheadIsVisitedThere)
{
    EXPECT_EQ("1  | a - x - | - - - -\n"
              "1  | a - $ - | - - - -\n"
              "1  | ab - x - | - - - -\n"
              "1  | ab - y - | - - - -\n"
              "1  | ab - $ - | - - - -\n",
              walk("config a\n set x 1\nend\nconfig ab\n set y 1\nend\n", [](int32_t, int32_t *) {
                  if (top_cfg_is("a") && top_cfg_set_is("x"))
                      cnd_mv(top[3], top[1]->next);
              }));
}

TEST_F(Effects, ANodeUnlinkedWhileItIsTheNextOneIsStillVisited)
{
    EXPECT_EQ("1  | a - x - | - - - -\n"
              "1  | a - y - | - - - -\n"
              "1  | a - $ - | - - - -\n",
              walk("config a\n set x 1\n set y 2\nend\n", [](int32_t, int32_t *) {
                  if (top_cfg_set_is("x"))
                      cnd_del_from(top[3]->next, top[1]);
              }));
    EXPECT_EQ("config a\n    set x 1\nend\n", written(&migr_main.root));
}

TEST_F(Effects, AConfigAddedDirectlyBehindIsSeenInTheNextRound)
{
    EXPECT_EQ("1  | a - $ - | - - - -\n"
              "1  | ab - $ - | - - - -\n"
              "2  | a - $ - | - - - -\n"
              "2  | an - $ - | - - - -\n"
              "2  | ab - $ - | - - - -\n",
              walk(
                  "config a\nend\nconfig ab\nend\n",
                  [](int32_t round, int32_t *) {
                      if (round == 1 && top_cfg_is("a"))
                          cnd_add_path(&top[1]->next, "an");
                  },
                  2));
}

TEST_F(Effects, WhatLandsOnASentinelIsDropped)
{
    walk("config a\n set x 1\nend\n", [](int32_t, int32_t *) {
        cnd_add_prop(top[2], "lost", "1");
        cnd_add_config(top[4], "lost");
        cnd_add_edit(&EOB_NODE, "lost");
    });
    EXPECT_EQ(nullptr, EMPTY_NODE.set_list);
    EXPECT_EQ(nullptr, EMPTY_NODE.config_list);
    EXPECT_EQ(nullptr, EOB_NODE.edit_list);
    EXPECT_EQ("config a\n    set x 1\nend\n", written(&migr_main.root));
}
