/* Update files and rules in tests. */
#pragma once

#include "rules/update_file.h"
#include "support/trees.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

/* Loads the sections of `text` into migr_main. What load_update_sections gives. */
inline int32_t load(std::string_view text)
{
    text_reader lines = {static_cast<char *>(malloc(text.size() + 1)), text.size(), 0, 0, 0, 0};
    memcpy(lines.text, text.data(), text.size());
    int32_t result = load_update_sections(&lines);
    close_text(&lines);
    return result;
}

/* The texts of a rule list. */
inline std::vector<std::string> texts(migr_list &rules)
{
    std::vector<std::string> all;
    for (migr_list *link = rules.next; link != &rules; link = link->next)
        all.push_back(rule_of(link)->text);
    return all;
}

/* The loaded sections, one line each: version, and the rules of each list in brackets. */
inline std::string sections()
{
    std::string out;
    for (migr_list *link = migr_main.update_list.next; link != &migr_main.update_list; link = link->next) {
        update_section *section = section_of(link);
        out += std::to_string(section->version >> 16) + "." + std::to_string(section->version & 0xffff);
        for (migr_list *list : {&section->delete_list, &section->modify_list, &section->readd_list}) {
            out += " [";
            for (const std::string &text : texts(*list))
                out += text + ";";
            out += "]";
        }
        out += "\n";
    }
    return out;
}

inline update_section &first_section()
{
    return *section_of(migr_main.update_list.next);
}

/* An empty tree and no sections, for a file of release 5.14 on its way to 6.21. */
class RulesTest : public support::TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        migr_list_init(&migr_main.update_list);
        migr_main.cfg_version = 0x5000e;
        migr_main.img_version = 0x60015;
        vdom_update_flag = 0;
    }

    void TearDown() override
    {
        free_migr_tree();
        vdom_update_flag = 0;
        TreeTest::TearDown();
    }

    static std::string tree()
    {
        return support::dump(migr_main.root);
    }

    /* Parses a tree; the context that the parser leaves alone stays. */
    static void plant(std::string_view text)
    {
        ASSERT_EQ(0, support::parse(text));
    }
};
