/* Which nodes of a tree would be read back otherwise than they stand there. Whether texts are read as they are
 * written is tested with the parser. */
#include "run/read_back.h"

#include "support/trees.h"
#include "tree/changes.h"
#include "tree/node_store.h"

#include <cstring>

namespace {

using command::Misreading;

class ReadBack : public support::TreeTest {
  protected:
    /* Of a tree with one set of that name and value. */
    std::vector<Misreading> of_set(const char *name, const char *value)
    {
        config_node *set =
            support::parse("config a\nset b c\nend\n") == 0 ? migr_main.root.top_list->set_list : nullptr;
        strcpy(set->name, name);
        set_node_value(set, value);
        return command::misreadings_of(migr_main.root, 10);
    }

    void expect(const std::vector<Misreading> &found, Misreading::Kind kind, const std::string &name)
    {
        ASSERT_EQ(1u, found.size());
        EXPECT_EQ(kind, found[0].kind);
        EXPECT_EQ((std::vector<std::string>{"a", name}), found[0].path);
    }

    /* Whether the tree is what its text is read as. */
    bool reads_back()
    {
        std::string before = support::dump(migr_main.root);
        return support::parse(support::written(&migr_main.root)) == 0 && support::dump(migr_main.root) == before;
    }
};

} // namespace

TEST_F(ReadBack, TakesValuesOfSeveralLinesAsTheyAre)
{
    EXPECT_TRUE(of_set("b", "\"one\ntwo\"").empty());
    EXPECT_TRUE(reads_back());
    EXPECT_TRUE(of_set("b", "\"one\\\ntwo\"").empty());
    EXPECT_TRUE(reads_back());
}

/* The reader drops the break behind the first line's last quote, also behind one that closes nothing. */
TEST_F(ReadBack, TellsOfALineBreakThatGoes)
{
    expect(of_set("b", "\"one\\\"\ntwo\""), Misreading::Kind::cut, "b");
    EXPECT_FALSE(reads_back());
    expect(of_set("b", "\"\ntwo\""), Misreading::Kind::cut, "b");
    EXPECT_FALSE(reads_back());
}

/* It is read together with the line's end, which the writer writes and the reader passes over. */
TEST_F(ReadBack, TakesWhiteSpaceBehindAClosingQuote)
{
    for (const char *end : {" \n", "\t\n", " \n \n\n"}) {
        ASSERT_EQ(0, support::parse(std::string("config a\nset b \"one\"") + end + "set c \"two\"" + end + "end\n"));
        EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty()) << end;
        EXPECT_TRUE(reads_back()) << end;
    }
    EXPECT_TRUE(of_set("b", "\"one\" \n\n").empty());
    expect(of_set("b", "\"one\" \ntwo"), Misreading::Kind::open, "b");
    expect(of_set("b", "\"one\" \nset c d"), Misreading::Kind::open, "b");
}

TEST_F(ReadBack, KeepsLineBreaksFurtherDown)
{
    EXPECT_TRUE(of_set("b", "\"one\ntwo\\\"\nthree\"").empty());
    EXPECT_TRUE(reads_back());
}

/* A name with one quote takes in what stands behind it, up to its longest. */
TEST_F(ReadBack, TellsOfANameWhoseQuoteIsOpen)
{
    expect(of_set("\"b", "c"), Misreading::Kind::open, "\"b");
    EXPECT_FALSE(reads_back());
    std::string longest = "\"" + std::string(MIGR_NAME_SIZE - 2, 'b');
    EXPECT_TRUE(of_set(longest.c_str(), "c").empty());
    EXPECT_TRUE(reads_back());
}

TEST_F(ReadBack, TellsOfAnEntryWhoseQuoteIsOpen)
{
    ASSERT_EQ(0, support::parse("config a\nedit b\nnext\nend\n"));
    strcpy(migr_main.root.top_list->edit_list->name, "\"b");
    expect(command::misreadings_of(migr_main.root, 10), Misreading::Kind::open, "\"b");
    EXPECT_FALSE(reads_back());
}
