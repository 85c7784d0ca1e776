/* The types and values of properties as rules write them, cut at their limits. */
#include "rules/properties.h"

#include "tree/node_store.h"
#include "tree/operations.h"
#include "update_texts.h"

using support::times;

namespace {

/* A property's effect on a value: the new value, "-1", or "deleted" with the value. */
std::string applied(const char *property, const std::string &value)
{
    config_node *set = new_node(MIGR_SET);
    EXPECT_EQ(0, set_node_value(set, value.c_str()));
    if (__check_property(set, property) != 0)
        return "-1";
    return (set->deleted ? "deleted " : "") + std::string(set->value);
}

struct word_lists {
    migr_list pairs;
    migr_list words;

    word_lists()
    {
        migr_list_init(&pairs);
        migr_list_init(&words);
    }
    ~word_lists()
    {
        free_rule_value_list(&pairs, &words);
    }
};

std::string pairs_of(const char *text)
{
    word_lists  lists;
    int32_t     result = get_all_rule_list(text, &lists.pairs);
    std::string out = result == 0 ? "" : "-1 ";
    for (migr_list *link = lists.pairs.next; link != &lists.pairs; link = link->next) {
        auto *pair = reinterpret_cast<rule_pair *>(link);
        out += std::string(pair->old_word) + "=" + pair->new_word + ";";
    }
    return out;
}

std::string words_of(const std::string &value)
{
    word_lists  lists;
    std::string out;
    EXPECT_EQ(0, get_all_node_value_list(value.c_str(), &lists.words));
    for (migr_list *link = lists.words.next; link != &lists.words; link = link->next)
        out += std::string(reinterpret_cast<value_word *>(link)->text) + ";";
    return out;
}

} // namespace

class Properties : public RulesTest {};

TEST_F(Properties, NullFails)
{
    config_node *set = new_node(MIGR_SET);
    EXPECT_EQ(-1, __check_property(set, ""));
    EXPECT_EQ(-1, __check_property(nullptr, ""));
    ASSERT_EQ(0, set_node_value(set, "1"));
    EXPECT_EQ(-1, __check_property(set, nullptr));
    EXPECT_EQ(0, __check_property(set, ""));
}

TEST_F(Properties, TypesByTheirBeginning)
{
    EXPECT_EQ("-1", applied("int", "5"));
    EXPECT_EQ("2", applied("integer:1,2", "5"));
    EXPECT_EQ("5", applied("in:1,2", "5"));
    EXPECT_EQ("5", applied(":1,2", "5"));
    EXPECT_EQ("5", applied("Int:1,2", "5"));
}

TEST_F(Properties, Numbers)
{
    EXPECT_EQ("100", applied("int:1,100", "500"));
    EXPECT_EQ("1", applied("int:1,100", "0"));
    EXPECT_EQ("7x", applied("int:1,100", "7x"));
    EXPECT_EQ("-1", applied("int:1", "5"));
    EXPECT_EQ("0", applied("int:,", "5"));
    EXPECT_EQ("-2147483648", applied("int:-99999999999,-2147483648", "5"));
}

TEST_F(Properties, Texts)
{
    EXPECT_EQ("\"abc\"", applied("char:3", "\"abcdef\""));
    EXPECT_EQ("\"abc\"", applied("char:3", "\"abc\""));
    EXPECT_EQ("\"\"", applied("char:0", "\"abc\""));
    EXPECT_EQ("", applied("char:3", ""));
    EXPECT_EQ("\"", applied("char:0", "\""));
    EXPECT_EQ("\"", applied("char:-1", "\"abc\""));
    EXPECT_EQ("\"", applied("char:-1", "\"\""));
    EXPECT_EQ("x", applied("char:-1", "x"));
    EXPECT_EQ("", applied("char:-1", ""));
    EXPECT_EQ("\"abc\"", applied("char:-2", "\"abc\""));
    EXPECT_EQ("\"abc\"", applied("char:-3", "\"abc\""));
    EXPECT_EQ("\"abc\"", applied("char:99999999999", "\"abc\""));
    EXPECT_EQ("\"ab\"", applied("char:2", "\"ab\ncd\nef\""));
}

TEST_F(Properties, Words)
{
    EXPECT_EQ("b1 zz", applied("enum:<a1,b1>,<c1,>", "a1 c1 zz"));
    EXPECT_EQ("c2x", applied("enum:<a1,b1>,<c1,>", "c1 c2x"));
    EXPECT_EQ("deleted c1 c1", applied("enum:<a1,b1>,<c1,>", "c1 c1"));
    EXPECT_EQ("deleted x", applied("enum:", "x"));
    EXPECT_EQ("deleted ", applied("enum:", ""));
    EXPECT_EQ("-1", applied("enum:<a1,b1><c1,d1>", "a1"));
    EXPECT_EQ("-1", applied("enum:<a1", "a1"));
}

TEST_F(Properties, ManyWordsAreCutAtALine)
{
    std::string grown = applied("enum:<ab,abcdefghij>", times(16000, "ab "));
    EXPECT_EQ(size_t{MIGR_LINE_SIZE - 1}, grown.size());
    EXPECT_EQ(times(5000, "abcdefghij ").substr(0, MIGR_LINE_SIZE - 1), grown);
    std::string one_word(3 * MIGR_LINE_SIZE, 'w');
    EXPECT_EQ(one_word.substr(0, MIGR_LINE_SIZE - 1), applied("enum:<ab,cd>", one_word));
}

TEST_F(Properties, AnExactlyFullLineKeepsItsLastWord)
{
    std::string full = times(24575, "ab").substr(0, MIGR_LINE_SIZE - 2);
    EXPECT_EQ(full, applied("enum:", full));
    EXPECT_EQ(full + "a", applied("enum:", full + "a"));
}

TEST_F(Properties, PairLists)
{
    EXPECT_EQ("a=b;", pairs_of("<a,b>"));
    EXPECT_EQ("a=b;c=;", pairs_of("<a,b>,<c,>"));
    EXPECT_EQ("a=b;c=d;", pairs_of(" <a,b>x <c,d>,"));
    EXPECT_EQ("a=b;c=d;", pairs_of("<a,b>, <c,d> "));
    EXPECT_EQ("a=b;c=d;", pairs_of("<a,b>, \t<c,d>,"));
    EXPECT_EQ("a=b;c=d;", pairs_of("<a,b> <c,d>"));
    EXPECT_EQ("a=b;c=d;", pairs_of("<a,b>   <c,d>x"));
    EXPECT_EQ("a=b;c=d;", pairs_of("<a,b><<c,d>"));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b> ,<c,d>"));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b> x"));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b> ,"));
    EXPECT_EQ("<a=b<;c>=d,e;", pairs_of("<<a,b<>,<c>,d,e>"));
    EXPECT_EQ(" a = b ;", pairs_of("< a , b >"));
    EXPECT_EQ("", pairs_of(""));
    EXPECT_EQ("", pairs_of("  "));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b><c,d>"));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b>,,<c,d>"));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b> , ,<c,d>"));
    EXPECT_EQ("-1 a=b;", pairs_of("<a,b>,<c,d"));
    EXPECT_EQ("-1 =b;", pairs_of("<,b>"));
    EXPECT_EQ("-1 ", pairs_of("<a>"));
    EXPECT_EQ("-1 ", pairs_of("<a,"));
    EXPECT_EQ("-1 ", pairs_of("<"));
    EXPECT_EQ("-1 ", pairs_of("a,b>"));
    EXPECT_EQ("-1 ", pairs_of(nullptr));
}

TEST_F(Properties, LongPairsAreCut)
{
    std::string longest(127, 'p');
    EXPECT_EQ(longest + "=" + longest + ";", pairs_of(("<" + longest + "x," + longest + "y>").c_str()));
}

TEST_F(Properties, WordLists)
{
    EXPECT_EQ("ab;cd;", words_of("ab cd"));
    EXPECT_EQ("ab;cd;", words_of(" \t ab\n cd \n"));
    EXPECT_EQ("a;b;cd;", words_of("a b cd"));
    EXPECT_EQ("ab;", words_of("ab c"));
    EXPECT_EQ("ab;c;", words_of("ab c "));
    EXPECT_EQ("", words_of("c"));
    EXPECT_EQ("", words_of(""));
    EXPECT_EQ("", words_of("   "));
    EXPECT_EQ(std::string(MIGR_LINE_SIZE - 1, 'w') + ";", words_of(std::string(MIGR_LINE_SIZE, 'w')));
    EXPECT_EQ(-1, get_all_node_value_list(nullptr, nullptr));
}
