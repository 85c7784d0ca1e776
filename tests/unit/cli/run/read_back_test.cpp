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

/* Of each kind, at each place where a line can hold one. */
TEST_F(ReadBack, TellsOfASetWithoutAValue)
{
    ASSERT_EQ(0, support::parse("config a\nset b c\nend\n"));
    for (const char *value : {"", " ", "\t\n"}) {
        set_node_value(migr_main.root.top_list->set_list, value);
        expect(command::misreadings_of(migr_main.root, 10), Misreading::Kind::no_value, "b");
    }
    give_node_value(migr_main.root.top_list->set_list, nullptr);
    expect(command::misreadings_of(migr_main.root, 10), Misreading::Kind::no_value, "b");
}

TEST_F(ReadBack, TellsOfANameThatIsNoWord)
{
    for (const char *name : {"", " ", "b c", "b\nc", "b\tc", "\"b\nc\"", "\"b\" c"})
        expect(of_set(name, "c"), Misreading::Kind::open, name);
    for (const char *name : {" b ", "\"b c\"", "\"\"", "b\"c d\""})
        EXPECT_TRUE(of_set(name, "c").empty()) << name;
}

TEST_F(ReadBack, TellsOfAValueThatEndsElsewhere)
{
    for (const char *value : {"b\nc", "b\n", "\"b", "\"", "\"\\\"", "\"b\\\"", "\"b\nc", "\"b\"\nc\"", "\"b \\\\\\\""})
        EXPECT_EQ(of_set("b", value).size(), 1u) << value;
    for (const char *value : {"b c", "\"b\"", "\"\"", "\"b\\\\\"", " b", "\"b\" \"c\"", "b\"", "\x01", "\x0e", "b\v"})
        EXPECT_TRUE(of_set("b", value).empty()) << value;
}

TEST_F(ReadBack, TellsOfALineThatIsTooLong)
{
    /* "    set b " stands ahead, and a newline behind. */
    std::string most(MIGR_LINE_SIZE - 1 - 11, 'x');
    EXPECT_TRUE(of_set("b", most.c_str()).empty());
    EXPECT_TRUE(reads_back());
    expect(of_set("b", (most + "x").c_str()), Misreading::Kind::cut, "b");
    std::string line(MIGR_LINE_SIZE - 2, 'x');
    EXPECT_TRUE(of_set("b", ("\"one\n" + line + "\n\"").c_str()).empty());
    expect(of_set("b", ("\"one\n" + line + "x\n\"").c_str()), Misreading::Kind::cut, "b");
}

/* As deep as the set stands, four blanks a level stand ahead of it. */
TEST_F(ReadBack, CountsTheBlanksAhead)
{
    ASSERT_EQ(0, support::parse("config a\nedit b\nconfig c\nset d e\nend\nnext\nend\n"));
    config_node *set = migr_main.root.top_list->edit_list->config_list->set_list;
    std::string  most(MIGR_LINE_SIZE - 1 - 19, 'x');
    set_node_value(set, most.c_str());
    EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
    set_node_value(set, (most + "x").c_str());
    std::vector<Misreading> found = command::misreadings_of(migr_main.root, 10);
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c", "d"}), found[0].path);
}

TEST_F(ReadBack, TellsOfAValueThatGrowsTooLong)
{
    std::string line = std::string(999, 'x') + "\n";
    std::string value = "\"" + support::times(MIGR_VALUE_LIMIT / line.size() - 1, line);
    EXPECT_TRUE(of_set("b", (value + "\"").c_str()).empty());
    value += std::string(MIGR_VALUE_LIMIT - value.size() - 2, 'x'); /* the newline behind it is still taken */
    EXPECT_TRUE(of_set("b", (value + "\n\"").c_str()).empty());
    expect(of_set("b", (value + "x\n\"").c_str()), Misreading::Kind::open, "b");
}

TEST_F(ReadBack, TellsOfBlocksWhoseLineHoldsMoreThanTheirName)
{
    ASSERT_EQ(0, support::parse("config a\nedit b\nconfig c\nend\nnext\nend\n"));
    config_node *top = migr_main.root.top_list, *edit = top->edit_list, *config = edit->config_list;
    for (config_node *block : {edit, config}) {
        set_node_value(block, "more");
        EXPECT_EQ(command::misreadings_of(migr_main.root, 10).at(0).kind, Misreading::Kind::cut);
        set_node_value(block, "mo\nre");
        EXPECT_EQ(command::misreadings_of(migr_main.root, 10).at(0).kind, Misreading::Kind::open);
        set_node_value(block, " ");
        EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
        give_node_value(block, nullptr);
    }
    set_node_value(top, "more"); /* a top-level line may have many words */
    EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
    edit->name[0] = '\0';
    set_node_value(edit, "b"); /* it has its name there */
    EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
    strcpy(top->name, "\"a"); /* nor do quotes count there */
    EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
    strcpy(top->name, "a\nb");
    EXPECT_EQ(command::misreadings_of(migr_main.root, 10).at(0).kind, Misreading::Kind::open);
}

TEST_F(ReadBack, PassesOverWhatIsNotWritten)
{
    ASSERT_EQ(0, support::parse("config a\nset b c\nedit d\nset e f\nnext\nend\n"));
    config_node *top = migr_main.root.top_list, *set = top->set_list, *edit = top->edit_list;
    give_node_value(set, nullptr);
    give_node_value(edit->set_list, nullptr);
    EXPECT_EQ(command::misreadings_of(migr_main.root, 10).size(), 2u);
    set->deleted = 1;
    edit->hidden = 1;
    EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
    edit->hidden = 0;
    config_node *below = edit->set_list;
    edit->edit_list = below; /* an entry writes no such list */
    edit->set_list = nullptr;
    EXPECT_TRUE(command::misreadings_of(migr_main.root, 10).empty());
    edit->set_list = below;
    edit->edit_list = nullptr;
}

TEST_F(ReadBack, TellsTheFirstOfThemInTheOrderOfTheText)
{
    ASSERT_EQ(0, support::parse("config a\nset b c\nedit d\nset e f\nnext\nconfig g\nset h i\nend\nend\n"
                                "config j\nset k l\nend\n"));
    config_node *top = migr_main.root.top_list;
    for (config_node *set : {top->set_list, top->edit_list->set_list, top->config_list->set_list, top->next->set_list})
        give_node_value(set, nullptr);
    std::vector<std::string> last;
    for (const Misreading &misreading : command::misreadings_of(migr_main.root, 10))
        last.push_back(misreading.path.back());
    EXPECT_EQ(last, (std::vector<std::string>{"b", "e", "h", "k"}));
    EXPECT_EQ(command::misreadings_of(migr_main.root, 3).size(), 3u);
}
