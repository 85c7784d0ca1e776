/* Which positions a row sees, in which order, with what in the cursors. Expected sequences are written by hand. */
#include "recorder.h"

using support::parse;
using walk_test::Recorder;

class Visits : public support::TreeTest {
  protected:
    static std::string of(const char *text, const char *scope = "", int32_t rounds = 1)
    {
        EXPECT_EQ(0, parse(text));
        Recorder recorder;
        recorder.add(scope, rounds);
        return recorder.walk();
    }
};

TEST_F(Visits, NoTopLevelConfigMeansNoVisitAtAll)
{
    EXPECT_EQ("", of(""));
}

TEST_F(Visits, ConfigWithSetsOnly)
{
    EXPECT_EQ("1 a |"
              " a - x - | - - - -\n"
              "1 a | a - y - | - - - -\n"
              "1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\n set x 1\n set y 2\nend\n"));
}

TEST_F(Visits, EmptyConfigHasOneEndVisit)
{
    EXPECT_EQ("1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\nend\n"));
}

TEST_F(Visits, EditsWithoutSetsHaveOneEndVisitEach)
{
    EXPECT_EQ("1 a | a 1 - $ | - - - -\n"
              "1 a | a 2 - $ | - - - -\n"
              "1 a | a $ - - | - - - -\n"
              "1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\n edit 1\n next\n edit 2\n next\nend\n"));
}

TEST_F(Visits, EditsComeAheadOfTheConfigsOwnSets)
{
    EXPECT_EQ("1 a | a 1 - p | - - - -\n"
              "1 a | a 1 - $ | - - - -\n"
              "1 a | a $ - - | - - - -\n"
              "1 a | a - x - | - - - -\n"
              "1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\n set x 1\n edit 1\n  set p 1\n next\nend\n"));
}

TEST_F(Visits, NestedConfigWithoutEdits)
{
    EXPECT_EQ("1 a | a 1 - - | n - s -\n"
              "1 a | a 1 - - | n - $ -\n"
              "1 a | a 1 - - | $ - - -\n"
              "1 a | a 1 - $ | - - - -\n"
              "1 a | a $ - - | - - - -\n"
              "1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\n edit 1\n  config n\n   set s 1\n  end\n next\nend\n"));
}

TEST_F(Visits, EveryDepthInItsOrder)
{
    EXPECT_EQ("1 a | a 1 - - | n f - s\n"
              "1 a | a 1 - - | n f - t\n"
              "1 a | a 1 - - | n f - $\n"
              "1 a | a 1 - - | n g - $\n"
              "1 a | a 1 - - | n $ - -\n"
              "1 a | a 1 - - | n - u -\n"
              "1 a | a 1 - - | n - $ -\n"
              "1 a | a 1 - - | m - $ -\n"
              "1 a | a 1 - - | $ - - -\n"
              "1 a | a 1 - v | - - - -\n"
              "1 a | a 1 - $ | - - - -\n"
              "1 a | a 2 - $ | - - - -\n"
              "1 a | a $ - - | - - - -\n"
              "1 a | a - w - | - - - -\n"
              "1 a | a - $ - | - - - -\n"
              "1 b | b - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\n set w 1\n edit 1\n  set v 1\n"
                 "  config n\n   set u 1\n   edit f\n    set s 1\n    set t 1\n   next\n   edit g\n   next\n  end\n"
                 "  config m\n  end\n next\n edit 2\n next\nend\nconfig b\nend\n"));
}

TEST_F(Visits, ANestedEditsSetIsNotTheOuterEdits)
{
    ASSERT_EQ(0,
              parse("config a\n edit 1\n  set s 1\n  config n\n   edit f\n    set s 2\n   next\n  end\n next\nend\n"));
    std::string answers;
    Recorder    recorder;
    recorder.add("a", 1, [&answers](int32_t, int32_t *) {
        answers += top_edt_set_is("s") ? "outer " : sub_edt_set_is("s") ? "nested " : "- ";
    });
    recorder.walk();
    EXPECT_EQ("nested - - - - outer - - - ", answers);
}

TEST_F(Visits, NothingDeeperIsEntered)
{
    EXPECT_EQ("1 a | a 1 - - | n f - $\n"
              "1 a | a 1 - - | n $ - -\n"
              "1 a | a 1 - - | n - $ -\n"
              "1 a | a 1 - - | $ - - -\n"
              "1 a | a 1 - $ | - - - -\n"
              "1 a | a $ - - | - - - -\n"
              "1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n",
              of("config a\n config unseen\n  set x 1\n end\n edit 1\n"
                 "  config n\n   config unseen\n    set x 1\n   end\n"
                 "   edit f\n    config unseen\n     set x 1\n    end\n   next\n  end\n next\nend\n"));
}

TEST_F(Visits, AScopeIsAPrefixWithoutABoundary)
{
    /* The suffix skips one character behind the scope, whatever it is; what is one character longer has none. */
    EXPECT_EQ("1  | log - $ - | - - - -\n"
              "1  | logs - $ - | - - - -\n"
              "1 bc | logabc - $ - | - - - -\n"
              "1 a,b | log,a,b - $ - | - - - -\n",
              of("config log\nend\nconfig logs\nend\nconfig logabc\nend\nconfig lo\nend\nconfig log a b\nend\n"
                 "config x log\nend\n",
                 "log"));
}

TEST_F(Visits, AScopeThatEndsInACommaSkipsALetter)
{
    EXPECT_EQ("1 olicy | server-policy,policy - $ - | - - - -\n",
              of("config server-policy policy\nend\nconfig server-policy\nend\n", "server-policy,"));
}

TEST_F(Visits, ScopedRowsDoNotSeeTheClosingVisit)
{
    EXPECT_EQ("1  | a - $ - | - - - -\n", of("config a\nend\nconfig b\nend\n", "a"));
}

TEST_F(Visits, CursorsRestOnTheEmptyNode)
{
    of("config a\n edit 1\n  config n\n   edit f\n    set s 1\n   next\n  end\n next\nend\n");
    for (int slot = 1; slot <= 4; slot++) {
        EXPECT_EQ(&EMPTY_NODE, top[slot]);
        EXPECT_EQ(&EMPTY_NODE, sub[slot]);
    }
    EXPECT_EQ(sbuf_suffix, reinterpret_cast<char *>(top[0]));
    EXPECT_STREQ("", reinterpret_cast<char *>(sub[0]));
}

/* Rounds. */

TEST_F(Visits, ARowOfThreeRoundsSeesThree)
{
    EXPECT_EQ("1  | a - $ - | - - - -\n"
              "2  | a - $ - | - - - -\n"
              "3  | a - $ - | - - - -\n",
              of("config a\nend\n", "a", 3));
}

TEST_F(Visits, ARowThatMatchesNothingAsksForNoRound)
{
    parse("config a\nend\n");
    Recorder recorder;
    recorder.add("a", 1);
    recorder.add("b", 3);
    EXPECT_EQ("0:1  | a - $ - | - - - -\n", recorder.walk());
}

TEST_F(Visits, AnEmptyScopeKeepsThreeRoundsAlive)
{
    EXPECT_EQ("1 a | a - $ - | - - - -\n"
              "1  | $ - - - | - - - -\n"
              "2 a | a - $ - | - - - -\n"
              "2  | $ - - - | - - - -\n"
              "3 a | a - $ - | - - - -\n"
              "3  | $ - - - | - - - -\n",
              of("config a\nend\n", "", 3));
}

TEST_F(Visits, RowsOfFewerRoundsDropOut)
{
    parse("config a\nend\n");
    Recorder recorder;
    recorder.add("a", 1);
    recorder.add("a", 3);
    recorder.add("a", 2);
    EXPECT_EQ("0:1  | a - $ - | - - - -\n"
              "1:1  | a - $ - | - - - -\n"
              "2:1  | a - $ - | - - - -\n"
              "1:2  | a - $ - | - - - -\n"
              "2:2  | a - $ - | - - - -\n"
              "1:3  | a - $ - | - - - -\n",
              recorder.walk());
}

TEST_F(Visits, LeavingARoundEarlyComesBackInTheNext)
{
    parse("config a\n set x 1\n set y 1\nend\n");
    Recorder recorder;
    recorder.add("a", 2, [](int32_t, int32_t *progress) { progress[0] = 1; });
    EXPECT_EQ("1  | a - x - | - - - -\n"
              "2  | a - x - | - - - -\n",
              recorder.walk());
}

TEST_F(Visits, LeavingTheStageKeepsNoRoundAlive)
{
    parse("config a\n set x 1\n set y 1\nend\n");
    Recorder recorder;
    recorder.add("a", 3, [](int32_t, int32_t *progress) { progress[1] = 1; });
    EXPECT_EQ("1  | a - x - | - - - -\n", recorder.walk());
}

TEST_F(Visits, LeavingTheStageTouchesNoOtherRow)
{
    parse("config a\n set x 1\nend\n");
    Recorder recorder;
    recorder.add("a", 2, [](int32_t, int32_t *progress) { progress[1] = 1; });
    recorder.add("a", 2);
    EXPECT_EQ("0:1  | a - x - | - - - -\n"
              "1:1  | a - x - | - - - -\n"
              "1:1  | a - $ - | - - - -\n"
              "1:2  | a - x - | - - - -\n"
              "1:2  | a - $ - | - - - -\n",
              recorder.walk());
}

TEST_F(Visits, EachRowHasItsSuffixAtEachPosition)
{
    parse("config a b c\n set x 1\nend\nconfig a b c\nend\nconfig a d\nend\n");
    Recorder recorder;
    recorder.add("a", 1);
    recorder.add("a,b", 1);
    recorder.add("a", 1);
    EXPECT_EQ("0:1 b,c | a,b,c - x - | - - - -\n"
              "1:1 c | a,b,c - x - | - - - -\n"
              "2:1 b,c | a,b,c - x - | - - - -\n"
              "0:1 b,c | a,b,c - $ - | - - - -\n"
              "1:1 c | a,b,c - $ - | - - - -\n"
              "2:1 b,c | a,b,c - $ - | - - - -\n"
              "0:1 b,c | a,b,c - $ - | - - - -\n"
              "1:1 c | a,b,c - $ - | - - - -\n"
              "2:1 b,c | a,b,c - $ - | - - - -\n"
              "0:1 d | a,d - $ - | - - - -\n"
              "2:1 d | a,d - $ - | - - - -\n",
              recorder.walk());
}

TEST_F(Visits, ARenamedConfigHasANewSuffix)
{
    parse("config a b\n set x 1\nend\n");
    Recorder recorder;
    recorder.add("a", 1, [](int32_t, int32_t *) { cnd_rename(top[1], "%s", top_suffix_is("b") ? "a,c" : "a,b"); });
    recorder.add("a", 1);
    EXPECT_EQ("0:1 b | a,b - x - | - - - -\n"
              "1:1 c | a,c - x - | - - - -\n"
              "0:1 c | a,c - $ - | - - - -\n"
              "1:1 b | a,b - $ - | - - - -\n",
              recorder.walk());
}

TEST_F(Visits, ARowInFrontMayRenameTheConfig)
{
    parse("config a\n set x 1\nend\n");
    Recorder recorder;
    recorder.add("a", 1, [](int32_t, int32_t *) { support::named(migr_main.root.top_list, "a")->name[0] = 'b'; });
    recorder.add("a", 1);
    recorder.add("b", 1);
    EXPECT_EQ("0:1  | a - x - | - - - -\n"
              "2:1  | b - x - | - - - -\n"
              "2:1  | b - $ - | - - - -\n",
              recorder.walk());
}
