/*
 * What a rename makes of the rules behind it, held against a plain reading of how that is done: rule by rule, text by
 * text. MIGR_RANDOM_CASES sets how many lists are tried.
 */
#include "update_texts.h"

#include "rules/modify_rules.h"

#include <random>

namespace {

/* A rule line taken apart by the library's own reader. */
struct Parsed {
    int32_t result;
    char    directory[MIGR_LINE_SIZE];
    char    old_name[MIGR_NAME_SIZE];
    char    new_name[MIGR_NAME_SIZE];
    char    property[MIGR_LINE_SIZE];
    int32_t version;
};

Parsed *parsed(const std::string &text, bool readd)
{
    static Parsed rule;
    rule.result = parse_modify_line(text.c_str(), rule.directory, rule.old_name, rule.new_name, rule.property, readd,
                                    &rule.version);
    return &rule;
}

bool begins_with(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/* The list as process_modify leaves it, on a file of 5.0 in the section of 5.15; false where it fails. */
bool rewrite(std::vector<std::string> *rules, bool readd)
{
    static char directory[MIGR_LINE_SIZE];
    for (size_t at = 0; at < rules->size(); at++) {
        const Parsed *rule = parsed((*rules)[at], readd);
        if (rule->result != 0)
            return false;
        if (readd && (rule->version < 0x50000 || rule->version >= 0x5000f))
            continue;
        std::string from = rule->directory;
        std::string to = std::string("<") + rule->new_name + ">";
        if (rule->old_name[0]) {
            to = from + to;
            from += std::string("<") + rule->old_name + ">";
        }
        for (size_t later = at + 1; later < rules->size(); later++) {
            if (get_maindir((*rules)[later].c_str(), directory) != 0)
                return false;
            if (begins_with(directory, from))
                (*rules)[later] = to + (*rules)[later].substr(from.size());
        }
    }
    return true;
}

class Lists {
  public:
    explicit Lists(unsigned seed) : random_(seed) {}

    std::vector<std::string> list(bool readd)
    {
        std::vector<std::string> rules;
        bool                     odd = number(4) == 0;
        for (unsigned left = 1 + number(30); left > 0; left--)
            rules.push_back(path() + ",<" + name(odd) + ">" + (readd ? version() : ""));
        if (number(20) == 0)
            rules.push_back("<a>malformed");
        return rules;
    }

    unsigned number(unsigned below)
    {
        return static_cast<unsigned>(random_() % below);
    }

  private:
    std::string version()
    {
        static constexpr const char *versions[] = {",<5.0>", ",<5.10>", ",<4.40>", ",<5.20>"};
        return versions[number(4)];
    }

    std::string name(bool odd)
    {
        static constexpr const char *odd_names[] = {"", "x,y", "c <d", "<", "a,<b", " "};
        return odd && number(8) == 0 ? odd_names[number(6)] : std::string(1, "abcd"[number(4)]);
    }

    std::string path()
    {
        static constexpr const char *tokens[] = {"<a>", "<b>", "<c>", "<d>", "<a>", "<b>", " <c>", "<a>b>", "<a<d>"};
        std::string                  text = tokens[number(6)];
        for (unsigned left = number(4); left > 0; left--)
            text += tokens[number(number(5) ? 6 : 9)];
        return text;
    }

    std::mt19937 random_;
};

class RulePaths : public RulesTest {};

} // namespace

TEST_F(RulePaths, FollowTheRenamesAheadOfThem)
{
    const char *asked = getenv("MIGR_RANDOM_CASES");
    unsigned    cases = asked ? static_cast<unsigned>(atoi(asked)) : 5000;
    unsigned    changed = 0;
    unsigned    failed = 0;
    migr_main.cfg_version = 0x50000;
    for (unsigned seed = 1; seed <= cases; seed++) {
        Lists                    lists(seed);
        bool                     readd = lists.number(4) == 0;
        std::vector<std::string> expected = lists.list(readd);
        std::string              file = "[5.15]\n[MODIFY]\n";
        for (const std::string &rule : expected)
            file += rule + "\n";
        ASSERT_EQ(0, load(file));
        migr_list               &rules = first_section().modify_list;
        std::vector<std::string> loaded = texts(rules);
        ASSERT_EQ(expected, loaded);
        bool    good = rewrite(&expected, readd);
        int32_t result = process_modify(&rules, readd, 0x5000f);
        ASSERT_EQ(good ? 0 : -1, result) << "seed " << seed << "\n" << file;
        ASSERT_TRUE(!good || expected == texts(rules)) << "seed " << seed << "\n" << file;
        changed += expected != loaded;
        failed += !good;
        free_migr_tree();
        migr_list_init(&migr_main.update_list);
    }
    EXPECT_GT(changed, cases / 2);
    EXPECT_GT(failed, cases / 50);
}
