/* Cursor predicates and the small containers of state blocks. */
#include "support/trees.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstring>
#include <ctime>

static time_t steady_clock = 1'000'000'000;

extern "C" {

time_t __wrap_time(time_t *)
{
    return steady_clock;
}
}

using support::dump;
using support::times;

class Cursors : public support::TreeTest {
  protected:
    void TearDown() override
    {
        for (int slot = 1; slot <= 4; slot++)
            top[slot] = sub[slot] = &EMPTY_NODE;
        sbuf_suffix[0] = '\0';
        TreeTest::TearDown();
    }

    static config_node node(uint32_t kind, const char *name)
    {
        config_node made = {};
        made.kind = kind;
        strcpy(made.name, name);
        return made;
    }
};

/* The predicates of one slot. */
struct SlotPredicates {
    config_node **slot;
    config_node *(*is)(const char *);
    int32_t (*in)(int32_t, ...);
    int32_t (*end)();
};

static const SlotPredicates slots[] = {
    {&top[1], top_cfg_is, top_cfg_in, nullptr},
    {&top[2], top_edt_is, top_edt_in, nullptr},
    {&top[3], top_cfg_set_is, top_cfg_set_in, top_cfg_set_end},
    {&top[4], top_edt_set_is, top_edt_set_in, top_edt_set_end},
    {&sub[1], sub_cfg_is, sub_cfg_in, nullptr},
    {&sub[2], sub_edt_is, sub_edt_in, nullptr},
    {&sub[3], sub_cfg_set_is, sub_cfg_set_in, sub_cfg_set_end},
    {&sub[4], sub_edt_set_is, sub_edt_set_in, sub_edt_set_end},
};

TEST_F(Cursors, EachPredicateLooksAtItsSlot)
{
    config_node found = node(MIGR_SET, "n");
    for (const SlotPredicates &at : slots) {
        for (const SlotPredicates &other : slots)
            *other.slot = &at == &other ? &found : &EMPTY_NODE;
        for (const SlotPredicates &other : slots) {
            EXPECT_EQ(&at == &other ? &found : nullptr, other.is("n"));
            EXPECT_EQ(&at == &other ? 2 : 0, other.in(3, "m", "n", "n"));
            EXPECT_EQ(nullptr, other.is("m"));
            if (other.end) {
                EXPECT_FALSE(other.end());
            }
        }
        *at.slot = &EOB_NODE;
        for (const SlotPredicates &other : slots)
            if (other.end) {
                EXPECT_EQ(&at == &other, other.end() != 0);
            }
    }
}

TEST_F(Cursors, AnEndedListHasNoName)
{
    for (const SlotPredicates &at : slots) {
        *at.slot = &EOB_NODE;
        EXPECT_EQ(nullptr, at.is("n"));
        EXPECT_EQ(0, at.in(2, "n", "m"));
        EXPECT_EQ(&EOB_NODE, at.is("")) << "its name is empty, like any sentinel's";
        EXPECT_EQ(2, at.in(2, "n", ""));
    }
}

TEST_F(Cursors, AQuotedEditMatchesItsBareName)
{
    config_node edit = node(MIGR_EDIT, "\"one two\"");
    top[2] = sub[2] = &edit;
    EXPECT_EQ(&edit, top_edt_is("one two"));
    EXPECT_EQ(1, sub_edt_in(1, "one two"));
    config_node set = node(MIGR_SET, "\"n\"");
    top[4] = &set;
    EXPECT_EQ(nullptr, top_edt_set_is("n"));
    EXPECT_EQ(nullptr, top_edt_set_is("")) << "the name is not empty";
    top[4] = &EMPTY_NODE;
    EXPECT_EQ(&EMPTY_NODE, top_edt_set_is("")) << "a test for an empty name would match";
}

TEST_F(Cursors, Suffix)
{
    EXPECT_TRUE(top_suffix_is_empty());
    strcpy(sbuf_suffix, "certificate,local");
    EXPECT_FALSE(top_suffix_is_empty());
    EXPECT_TRUE(top_suffix_is("certificate,local"));
    EXPECT_FALSE(top_suffix_is("certificate"));
    EXPECT_EQ(1, top_suffix_in(3, "a", "b", "certificate,local")) << "it does not tell which";
    EXPECT_EQ(0, top_suffix_in(1, "certificate,loca"));
    config_node *text = top[0];
    top[0] = nullptr;
    EXPECT_TRUE(top_suffix_is_empty());
    EXPECT_FALSE(top_suffix_is(""));
    EXPECT_EQ(0, top_suffix_in(1, ""));
    top[0] = text;
}

TEST_F(Cursors, ArrayHoldsSixtyFour)
{
    cnd_arr     array = {};
    config_node nodes[65];
    for (int i = 0; i < 65; i++) {
        nodes[i] = node(MIGR_SET, ("n" + std::to_string(i)).c_str());
        cnd_arr_push(&array, &nodes[i]);
    }
    EXPECT_EQ(64, cnd_arr_count(&array));
    EXPECT_EQ(&nodes[63], cnd_arr_find(&array, "n63"));
    EXPECT_EQ(nullptr, cnd_arr_find(&array, "n64"));
    cnd_arr_clear(&array);
    EXPECT_EQ(0, cnd_arr_count(&array));
    for (const config_node *slot : array.nodes)
        EXPECT_EQ(nullptr, slot);
}

TEST_F(Cursors, ArrayFindsRawNamesAndValues)
{
    cnd_arr     array = {};
    config_node edit = node(MIGR_EDIT, "\"a\"");
    config_node set = node(MIGR_SET, "b");
    char        value[] = "\"v\"";
    set.value = value;
    cnd_arr_push(&array, &edit);
    cnd_arr_push(&array, &set);
    EXPECT_EQ(nullptr, cnd_arr_find(&array, "a"));
    EXPECT_EQ(&edit, cnd_arr_find(&array, "\"a\""));
    EXPECT_EQ(nullptr, cnd_arr_match_value(&array, "v"));
    EXPECT_EQ(&set, cnd_arr_match_value(&array, "\"v\""));
}

TEST_F(Cursors, AttachingAnArrayReversesIt)
{
    config_node *parent = cnd_add_path(nullptr, "parent");
    config_node *source = cnd_add_path(nullptr, "source");
    cnd_arr      array = {};
    for (const char *name : {"a", "b", "c"})
        cnd_arr_push(&array, cnd_add(source, MIGR_SET, name, "1"));
    source->set_list = nullptr;
    cnd_arr_attach(&array, parent);
    EXPECT_EQ("set c=1\nset b=1\nset a=1\n", dump(*parent));
    EXPECT_EQ(3, cnd_arr_count(&array));
}

TEST_F(Cursors, MapHoldsThirtyTwoAndTheFirstKeyWins)
{
    str_map map = {};
    EXPECT_EQ(0, str_map_insert(&map, nullptr, "v"));
    EXPECT_EQ(0, str_map_insert(&map, "k", nullptr));
    EXPECT_EQ(0, map.count);
    EXPECT_EQ(1, str_map_insert(&map, "k", "first"));
    EXPECT_EQ(1, str_map_insert(&map, "k", "second"));
    EXPECT_STREQ("first", str_map_find(&map, "k"));
    for (int i = 2; i < 32; i++)
        EXPECT_EQ(1, str_map_insert(&map, std::to_string(i).c_str(), "v"));
    EXPECT_EQ(0, str_map_insert(&map, "33rd", "v"));
    EXPECT_EQ(nullptr, str_map_find(&map, "33rd"));
    EXPECT_EQ(nullptr, str_map_find(&map, nullptr));
    EXPECT_STREQ("v", str_map_find(&map, "31"));
}

TEST_F(Cursors, MapTextsAreCutAt126)
{
    str_map map = {};
    str_map_insert(&map, times(127, "k").c_str(), times(200, "v").c_str());
    EXPECT_EQ(nullptr, str_map_find(&map, times(127, "k").c_str()));
    ASSERT_NE(nullptr, str_map_find(&map, times(126, "k").c_str()));
    EXPECT_EQ(126U, strlen(str_map_find(&map, times(126, "k").c_str())));
}

TEST_F(Cursors, LowerCaseInPlace)
{
    char text[] = "HTTP-Host \"X\"_1\xc4";
    EXPECT_STREQ("http-host \"x\"_1\xc4", strlwr(text));
}

/* In a process of its own, where no name has been generated yet. */
static void expect_names(time_t clock, const char *names)
{
    steady_clock = clock;
    std::string generated;
    for (int i = 0; i < 3; i++) {
        char name[72];
        ncu_gen_unique_edt(name, sizeof name);
        generated.append(name).append(" ");
    }
    fprintf(stderr, "%s", generated.c_str());
    exit(generated == names ? 0 : 1);
}

TEST_F(Cursors, AClockAtZeroOrBehindRepeatsNoName)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(expect_names(0, "gen_edt_0 gen_edt_1 gen_edt_2 "), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(expect_names(-1, "gen_edt_-1 gen_edt_0 gen_edt_1 "), testing::ExitedWithCode(0), "");
}

TEST_F(Cursors, GeneratedNamesAreUnique)
{
    char first[72], second[72], small[15] = "untouched", cut[16];
    ncu_gen_unique_edt(first, sizeof first);
    ncu_gen_unique_edt(small, sizeof small);
    EXPECT_STREQ("untouched", small);
    ncu_gen_unique_edt(second, sizeof second);
    long number = strtol(first + strlen("gen_edt_"), nullptr, 10);
    EXPECT_EQ("gen_edt_" + std::to_string(number), first);
    EXPECT_EQ("gen_edt_" + std::to_string(number + 1), second) << "a refused call does not move the counter";
    ncu_gen_unique_edt(cut, sizeof cut);
    EXPECT_EQ(("gen_edt_" + std::to_string(number + 2)).substr(0, 14), cut);
}
