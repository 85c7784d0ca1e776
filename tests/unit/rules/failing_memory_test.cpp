/* Every allocation of the rules fails once, one after another: the outcome is -1, nothing leaks, nothing crashes. */
#include "rules/properties.h"
#include "rules/update_file.h"
#include "support/appliance_root.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/node_store.h"

#include <cstdlib>
#include <cstring>
#include <functional>

namespace {

constexpr char tree_text[] = "config a\n"
                             "set b 500\n"
                             "set c \"abcdef\"\n"
                             "set d a1 c1 zz\n"
                             "set f c1\n"
                             "end\n"
                             "config t\n"
                             "edit 1\nconfig e\nset b 0\nend\nnext\n"
                             "edit 2\nconfig e\nedit 1\nset b 1\nnext\nend\nnext\n"
                             "end\n";

constexpr char rules_text[] = "[5.15]\n"
                              "[DELETE]\n<t><e><b>\n<a><x>\n"
                              "[MODIFY]\n"
                              "<t><e>,<g>\n"
                              "<t><e><b>,<h>,[int:1,9]\n"
                              "<a><b>,<i>,[int:1,100]\n"
                              "<a><c>,<j>,[char:3]\n"
                              "<a><d>,<k>,[enum:<a1,b1>,<c1,>]\n"
                              "<a><f>,<l>,[enum:<c1,>]\n"
                              "<a>,<m n>\n"
                              "<a><x>,<y>\n"
                              "<p><q>,<r>\n"
                              "<p><s>,<q>\n"
                              "<p><q>,<r>\n"
                              "<p><q><b><c>,<d>\n"
                              "<p><r><b><d>,<e>\n"
                              "<p><s><b><e>,<f>\n"
                              "<p>,<x<>\n"
                              "<p><b><c>,<d>\n"
                              "[READD]\n<t><g><h>,<b>,<5.14>\n"
                              "[5.16]\n";

constexpr char result_text[] = "top m,n\n"
                               "  set i=100\n  set j=\"abc\"\n  set k=b1 zz\n  set l=c1 deleted\n"
                               "top t\n"
                               "  edit 1\n    config g\n      set b=1\n"
                               "  edit 2\n    config g\n      edit 1\n        set b=1\n";

int32_t apply_all()
{
    migr_list *sections = &migr_main.update_list;
    for (migr_list *link = sections->next; link != sections; link = link->next) {
        update_section *section = section_of(link);
        if (process_delete(&section->delete_list) != 0 ||
            process_modify(&section->modify_list, 0, section->version) != 0 ||
            process_modify(&section->readd_list, 1, section->version) != 0)
            return -1;
    }
    return 0;
}

void begin()
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_list_init(&migr_main.update_list);
    ASSERT_EQ(0, support::parse(tree_text));
    migr_main.cfg_version = 0x5000e;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
}

void end()
{
    free_migr_tree();
    free_notp_bridges();
    release_pass_nodes();
}

/* Runs `work` again and again on a fresh tree, with one further allocation failing each time, until none fails. The
 * number of failures. `work` gives what the mechanism gave. */
size_t sweep(int32_t expected, const std::function<int32_t()> &work)
{
    for (size_t nth = 1;; nth++) {
        begin();
        support::fail_allocation(nth);
        int32_t result = work();
        size_t  asked = support::allocations();
        support::fail_allocation(0);
        if (asked < nth) {
            EXPECT_EQ(0, result);
            end();
            return nth - 1;
        }
        EXPECT_EQ(expected, result) << "allocation " << nth;
        end();
    }
}

} // namespace

TEST(RulesFaults, LoadingAndApplying)
{
    support::ApplianceRoot root;
    root.write("/data/etc/update_config", rules_text);
    support::ChildResult child = support::run_in_root(root.path(), [] {
        begin();
        testing::internal::CaptureStdout();
        EXPECT_EQ(0, __build_updatefile_tree());
        EXPECT_EQ(0, apply_all());
        EXPECT_EQ(result_text, support::dump(migr_main.root));
        end();
        size_t failures = sweep(-1, [] { return __build_updatefile_tree() == 0 ? apply_all() : -1; });
        /* Two sections, nineteen rules each with a text, and what applying them takes. */
        EXPECT_LT(size_t{2 + 2 * 19 + 20}, failures);
        testing::internal::GetCapturedStdout();
        return 0;
    });
    EXPECT_EQ(0, child.exit_code) << child.err;
}

TEST(RulesFaults, ALoadThatFailsKeepsWhatItHadRead)
{
    begin();
    text_reader lines = {strdup(rules_text), strlen(rules_text), 0, 0, 0, 0};
    support::fail_allocation(5);
    EXPECT_EQ(-1, load_update_sections(&lines));
    support::fail_allocation(0);
    close_text(&lines);
    update_section *section = section_of(migr_main.update_list.next);
    EXPECT_EQ(0x5000f, section->version);
    EXPECT_STREQ("<t><e><b>", rule_of(section->delete_list.next)->text);
    EXPECT_EQ(&section->delete_list, section->delete_list.next->next);
    end();
}

TEST(RulesFaults, ListsOfProperties)
{
    migr_list pairs;
    migr_list words;
    migr_list_init(&pairs);
    migr_list_init(&words);
    EXPECT_EQ(size_t{2}, sweep(-1, [&] {
                  int32_t result = get_all_rule_list("<a,b>,<c,d>", &pairs);
                  free_rule_value_list(&pairs, &words);
                  return result;
              }));
    EXPECT_EQ(size_t{3}, sweep(-1, [&] {
                  int32_t result = get_all_node_value_list("ab cd ef", &words);
                  free_rule_value_list(&pairs, &words);
                  return result;
              }));
}

/* A value that cannot be replaced stays. */
TEST(RulesFaults, AValueStaysWithoutMemory)
{
    EXPECT_LT(size_t{0}, sweep(-1, [] {
                  config_node *set = support::named(migr_main.root.top_list->set_list, "d");
                  int32_t      result = __check_property(set, "enum:<a1,b1>,<c1,>");
                  EXPECT_STREQ(result == 0 ? "b1 zz" : "a1 c1 zz", set->value);
                  return result;
              }));
    EXPECT_EQ(size_t{1}, sweep(-1, [] {
                  config_node *set = support::named(migr_main.root.top_list->set_list, "b");
                  int32_t      result = __check_property(set, "int:1,9");
                  EXPECT_STREQ(result == 0 ? "9" : "500", set->value);
                  return result;
              }));
}

/* A bridge that cannot be noted is hidden all the same. */
TEST(RulesFaults, ABridgeThatIsNotListed)
{
    begin();
    ASSERT_EQ(0, support::parse("config system bridge\nedit b1\nnext\nedit b2\nnext\nend\n"
                                "config server-policy vserver\n"
                                "edit 1\nset interface b1\nnext\nedit 2\nset interface b2\nnext\nend\n"));
    notp_bridge_main = {};
    support::fail_allocation(1);
    find_notp_bridge_node(&migr_main.root, 0);
    support::fail_allocation(0);
    config_node *servers = migr_main.root.top_list->next;
    EXPECT_EQ(1, migr_main.root.top_list->hidden);
    EXPECT_EQ(0, servers->edit_list->hidden);
    EXPECT_EQ(1, servers->edit_list->next->hidden);
    end();
}
