/* A text's blocks and sets as they come, one by one or as a list. */
#include "language/items.h"

#include "support/trees.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

constexpr char text[] = "#config-version=x\n"
                        "config  waf   signature \n"
                        "    edit \"a b\"\n"
                        "        set x  y z  \n"
                        "        config in\n"
                        "            set v \"1\n2 \\\"\nset no item\n\"  \n"
                        "        end\n"
                        "    next\n"
                        "    set w \"\\\\\"\n"
                        "end\n"
                        "end\n"
                        "odd\n"
                        "CONFIG b\n"
                        "EDIT 1\n"
                        "NEXT\n"
                        "Set u \"open\n";

struct Shown {
    ItemKind    kind;
    size_t      line, parent;
    std::string name, value, path;

    bool operator==(const Shown &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Shown &item)
{
    return out << static_cast<int>(item.kind) << " " << item.line << " " << item.parent << " [" << item.name << "] ["
               << item.value << "] " << item.path;
}

const std::vector<Shown> all = {
    {ItemKind::config, 2, no_item, "waf   signature", "", "waf   signature"},
    {ItemKind::edit, 3, 0, "\"a b\"", "", "waf   signature / a b"},
    {ItemKind::set, 4, 1, "x", "y z", "waf   signature / a b / x"},
    {ItemKind::config, 5, 1, "in", "", "waf   signature / a b / in"},
    {ItemKind::set, 6, 3, "v", "\"1\n2 \\\"\nset no item\n\"", "waf   signature / a b / in / v"},
    {ItemKind::set, 12, 0, "w", "\"\\\\\"", "waf   signature / w"},
    {ItemKind::config, 16, no_item, "b", "", "b"},
    {ItemKind::edit, 17, 6, "1", "", "b / 1"},
    {ItemKind::set, 19, 6, "u", "\"open", "b / u"},
};

} // namespace

TEST(ConfigItems, ComeInTheOrderOfTheText)
{
    std::vector<ConfigItem> items = items_of(text);
    std::vector<Shown>      shown;
    for (size_t at = 0; at < items.size(); at++) {
        const ConfigItem &item = items[at];
        shown.push_back(
            {item.kind, item.line, item.parent, std::string(item.name), std::string(item.value), path_of(items, at)});
    }
    EXPECT_EQ(shown, all);
}

TEST(ConfigItems, KnowTheBlocksAround)
{
    std::vector<std::string> paths, configs;
    std::vector<size_t>      depths;
    ConfigItems              items(text);
    while (items.next()) {
        paths.push_back(path_of(items));
        configs.push_back(items.config());
        depths.push_back(items.blocks().size());
    }
    std::vector<std::string> expected;
    for (const Shown &item : all)
        expected.push_back(item.path);
    EXPECT_EQ(paths, expected);
    EXPECT_EQ(configs, (std::vector<std::string>{"waf,signature", "waf,signature", "waf,signature", "waf,signature",
                                                 "waf,signature", "waf,signature", "b", "b", "b"}));
    EXPECT_EQ(depths, (std::vector<size_t>{0, 1, 2, 2, 3, 1, 0, 1, 1}));
    EXPECT_FALSE(items.next());
}

TEST(ConfigItems, HaveNamesByWhereTheyStand)
{
    std::vector<std::string> names, values;
    for (const ConfigItem &item : items_of("edit a b\nnext\nconfig c d\nconfig in other words\nunset x\nset v \"1\n\"\n"
                                           "set w 2\nend\nset y 3\nend\n")) {
        names.emplace_back(item.name);
        values.emplace_back(item.value);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a", "c d", "in", "v", "w", "y"}));
    EXPECT_EQ(values, (std::vector<std::string>{"", "", "", "\"1\n\"", "2", "3"}));
    EXPECT_EQ(items_of("config a\nconfig b\nodd\nset x 1\n").back().parent, 1U);
}

TEST(ConfigItems, EndOnce)
{
    ConfigItems items("config a\n");
    EXPECT_TRUE(items.next());
    for (int times = 0; times < 3; times++) {
        EXPECT_FALSE(items.next());
        EXPECT_EQ(items.blocks().size(), 1U);
    }
}

TEST(ConfigItems, AreNoneInAnEmptyText)
{
    EXPECT_TRUE(items_of("").empty());
    EXPECT_TRUE(items_of("end\nnext\nodd\n").empty());
    EXPECT_EQ(path_of(std::vector<ConfigItem>(), no_item), "");
}

TEST(Unquoted, LosesAPairOfQuotesAlone)
{
    const std::pair<const char *, const char *> texts[] = {{"\"a\"", "a"}, {"\"\"", ""},        {"\"", "\""},
                                                           {"\"a", "\"a"}, {"a\"", "a\""},      {"a", "a"},
                                                           {"", ""},       {"\"a\"b\"", "a\"b"}};
    for (const auto &[quoted, plain] : texts)
        EXPECT_EQ(unquoted(quoted), plain);
}
