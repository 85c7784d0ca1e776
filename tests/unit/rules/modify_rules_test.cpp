/* How a modify rule is taken apart, at its limits, and what each sort does to a node. */
#include "rules/modify_rules.h"

#include "tree/node_store.h"
#include "tree/operations.h"
#include "update_texts.h"

#include <memory>

using support::times;

namespace {

/* A rule line taken apart, in one text: "directory|old|new|property", with "|version" for a re-add rule. */
std::string parts(const char *text, int32_t readd = 0)
{
    auto    directory = std::make_unique<char[]>(MIGR_LINE_SIZE);
    auto    property = std::make_unique<char[]>(MIGR_LINE_SIZE);
    char    old_name[MIGR_NAME_SIZE];
    char    new_name[MIGR_NAME_SIZE];
    int32_t version = 0;
    if (parse_modify_line(text, directory.get(), old_name, new_name, property.get(), readd, &version) != 0)
        return "-1";
    std::string all = std::string(directory.get()) + "|" + old_name + "|" + new_name + "|" + property.get();
    return readd ? all + "|" + std::to_string(version >> 16) + "." + std::to_string(version & 0xffff) : all;
}

std::string readd_parts(const char *text)
{
    return parts(text, 1);
}

std::string directory(const char *text)
{
    auto output = std::make_unique<char[]>(MIGR_LINE_SIZE);
    return get_maindir(text, output.get()) == 0 ? output.get() : "-1";
}

} // namespace

TEST(ModifyLine, TakesARuleApart)
{
    EXPECT_EQ("<a b><c>|d|e|", parts("<a b><c><d>,<e>"));
    EXPECT_EQ("<a b>|c|d|int:1,2", parts("<a b><c>,<d>,[int:1,2]"));
    EXPECT_EQ("<a b>||c d|", parts("<a b>,<c d>"));
    EXPECT_EQ("<a  b>||c|", parts("<a  b> ,<c>"));
}

TEST(ModifyLine, WhiteSpaceBetweenTokens)
{
    EXPECT_EQ("<a b> |c|d|int:1", parts("<a b> <c> , <d> , [int:1] more"));
    EXPECT_EQ(" |a b|c|", parts(" <a b>,<c>"));
}

TEST(ModifyLine, TheLastTokenAheadOfTheFirstCommaCounts)
{
    EXPECT_EQ("x <y> |a|b|", parts("x <y> <a> z,<b>"));
    EXPECT_EQ("<a|b|c|", parts("<a<b>,<c>"));
    EXPECT_EQ("<a>|b>|c|", parts("<a><b>>,<c>"));
    EXPECT_EQ("-1", parts("<a,b>,<c>"));
    EXPECT_EQ("-1", parts("<a><>,<c>"));
    EXPECT_EQ("-1", parts("><a,<c>"));
    EXPECT_EQ("-1", parts(",<c>"));
    EXPECT_EQ("-1", parts("<a><b>"));
    EXPECT_EQ("-1", parts(""));
    EXPECT_EQ("-1", parts(nullptr));
}

TEST(ModifyLine, TheRestOfTheLine)
{
    EXPECT_EQ("<a>|b||", parts("<a><b>,<>"));
    EXPECT_EQ("<a>|b|c|", parts("<a><b>,<c>,"));
    EXPECT_EQ("<a>|b|c|", parts("<a><b>,<c>,  "));
    EXPECT_EQ("<a>|b|c|", parts("<a><b>,<c>  "));
    EXPECT_EQ("<a>|b|c|", parts("<a><b>,<c>,[]"));
    EXPECT_EQ("<a>|b|c|x[y", parts("<a><b>,<c>,[x[y]z]"));
    EXPECT_EQ("-1", parts("<a><b>,<c>x"));
    EXPECT_EQ("-1", parts("<a><b>,<c>,x"));
    EXPECT_EQ("-1", parts("<a><b>,<c>[x]"));
    EXPECT_EQ("-1", parts("<a><b>,<c>,[x"));
    EXPECT_EQ("-1", parts("<a><b>,c"));
    EXPECT_EQ("-1", parts("<a><b>,<c"));
    EXPECT_EQ("-1", parts("<a><b>,"));
}

TEST(ModifyLine, AVersionInAReaddRule)
{
    EXPECT_EQ("<a>|b|c||5.10", readd_parts("<a><b>,<c>,<5.10>"));
    EXPECT_EQ("<a>|b|c|x|5.10", readd_parts("<a><b>,<c>,<5.10>,[x]"));
    EXPECT_EQ("<a>|b|c|x|5.10", readd_parts("<a><b>,<c>x <5.10> , [x]"));
    EXPECT_EQ("<a>|b|c||5.0", readd_parts("<a><b>,<c>,<5.>"));
    EXPECT_EQ("<a>|b|c||0.10", readd_parts("<a><b>,<c>,<.10>"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c>"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c>,"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c><5.10>"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c>,<510>"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c>,<5.10"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c>,<5.10>x"));
    EXPECT_EQ("-1", parts("<a><b>,<c>,<5.10>"));
}

TEST(ModifyLine, ALongVersionIsCut)
{
    EXPECT_EQ("<a>|b|c||5.1", readd_parts("<a><b>,<c>,<0000000000005.10>"));
    EXPECT_EQ("-1", readd_parts("<a><b>,<c>,<0000000000000005.10>"));
}

TEST(ModifyLine, LongPartsAreCut)
{
    std::string name(127, 'n');
    std::string line = "<a><" + name + "x>,<" + name + "y>,[" + std::string(MIGR_LINE_SIZE, 'p') + "]";
    EXPECT_EQ("<a>|" + name + "|" + name + "|" + std::string(MIGR_LINE_SIZE - 1, 'p'), parts(line.c_str()));
    line = times(30000, "<a>") + ",<b>";
    EXPECT_EQ(times(30000, "<a>").substr(0, MIGR_LINE_SIZE - 1), directory(line.c_str()));
    EXPECT_EQ(times(30000, "<a>").substr(0, MIGR_LINE_SIZE - 1) + "|a|b|", parts(line.c_str()));
}

TEST(MainDirectory, IsWhatTheRuleLineGives)
{
    EXPECT_EQ("<a b><c>", directory("<a b><c><d>,<e>"));
    EXPECT_EQ("<a b>", directory("<a b>,<c d>"));
    EXPECT_EQ("<a b>", directory("<a b>x,nothing else is looked at"));
    EXPECT_EQ("-1", directory("<a b><c>"));
    EXPECT_EQ("-1", directory("<>,<c>"));
    EXPECT_EQ("-1", directory(nullptr));
}

class ModifyNode : public RulesTest {
  protected:
    static int32_t modify(config_node *node, const char *path, const char *old_name, const char *new_name,
                          const char *property = "")
    {
        return __modify_node_info(node, path, old_name, new_name, property, 0x5000f);
    }
};

TEST_F(ModifyNode, RenamesAndClearsTheDeleteMarkAlone)
{
    plant("config a\nset b 1\nend\n");
    config_node *set = migr_main.root.top_list->set_list;
    set->deleted = 1;
    set->hidden = 1;
    EXPECT_EQ(0, modify(&migr_main.root, "<a>", "b", "c"));
    EXPECT_EQ("top a\n  set c=1 hidden\n", tree());
    EXPECT_EQ(1u, migr_main.modified);
}

TEST_F(ModifyNode, RenamesATopLevelConfig)
{
    plant("config a b\nend\n");
    migr_main.root.top_list->deleted = 1;
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, modify(&migr_main.root, "<a b><not looked at", "", "c  d"));
    EXPECT_EQ("tplain: c,d\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("top c,d\n", tree());
}

TEST_F(ModifyNode, StartsAtAnyNode)
{
    plant("config a\nedit 1\nconfig b\nset c 1\nend\nnext\nend\n");
    config_node *edit = migr_main.root.top_list->edit_list;
    EXPECT_EQ(0, modify(migr_main.root.top_list, "<b>", "c", "d"));
    EXPECT_EQ(0, modify(edit, nullptr, "b", "e"));
    EXPECT_EQ(0, modify(edit->config_list, nullptr, "d", "f"));
    EXPECT_EQ("top a\n  edit 1\n    config e\n      set f=1\n", tree());
    EXPECT_EQ(0, modify(edit->config_list->set_list, nullptr, "f", "g"));
    EXPECT_EQ(0, modify(nullptr, nullptr, "f", "g"));
    EXPECT_EQ("top a\n  edit 1\n    config e\n      set f=1\n", tree());
}

TEST_F(ModifyNode, ASetWithoutValueFails)
{
    config_node *top = new_node(MIGR_TOP);
    config_node *set = new_node(MIGR_SET);
    set_node_name(top, "a");
    set_node_name(set, "b");
    top->set_list = set;
    migr_main.root.top_list = top;
    EXPECT_EQ(-1, modify(&migr_main.root, "<a>", "b", "c"));
    EXPECT_STREQ("c", set->name);
}

TEST_F(ModifyNode, TheFirstFailingEditEndsTheRule)
{
    plant("config a\nedit 1\nset b 1\nnext\nedit 2\nset b 1\nnext\nend\n");
    EXPECT_EQ(-1, modify(&migr_main.root, "<a>", "b", "c", "int:1"));
    EXPECT_EQ("top a\n  edit 1\n    set c=1\n  edit 2\n    set b=1\n", tree());
}

TEST_F(ModifyNode, AMalformedPathIsNotReadInAnEmptyTree)
{
    EXPECT_EQ(0, modify(&migr_main.root, "a", "b", "c"));
    plant("config a\nend\n");
    EXPECT_EQ(-1, modify(&migr_main.root, "a", "b", "c"));
    EXPECT_EQ(-1, modify(&migr_main.root, nullptr, "b", "c"));
}

TEST_F(ModifyNode, TheFirstConfigOfTheNameIsTheOne)
{
    plant("config a\nset b 1\nend\nconfig a\nset c 2\nend\n");
    EXPECT_EQ(0, modify(&migr_main.root, "<a>", "c", "d"));
    EXPECT_EQ("top a\n  set b=1\ntop a\n  set c=2\n", tree());
}

TEST_F(ModifyNode, LongNewNamesAreCut)
{
    plant("config a\nset b 1\nend\n");
    std::string name(300, 'n');
    EXPECT_EQ(0, modify(&migr_main.root, "<a>", "b", name.c_str()));
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, modify(&migr_main.root, "<a>", "", name.c_str()));
    EXPECT_EQ("tplain: " + name.substr(0, 127) + "\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("top " + name.substr(0, 127) + "\n  set " + name.substr(0, 127) + "=1\n", tree());
}

class ModifyRules : public RulesTest {
  protected:
    /* Loads the rules and applies them to the tree; keeps the list, so that rewritten texts can be seen. */
    static int32_t apply(const std::string &rules)
    {
        EXPECT_EQ(0, load("[5.15]\n[MODIFY]\n" + rules));
        return process_modify(&first_section().modify_list, 0, 0x5000f);
    }

    static std::vector<std::string> rewritten()
    {
        return texts(first_section().modify_list);
    }
};

using Texts = std::vector<std::string>;

TEST_F(ModifyRules, RewritesTheLaterRulesOfItsPath)
{
    EXPECT_EQ(0, apply("<a b><c>,<d>\n<a b><c><e>,<f>,[int:1,2]\n<a b><c> <x>,<y>\n"));
    EXPECT_EQ((Texts{"<a b><c>,<d>", "<a b><d><e>,<f>,[int:1,2]", "<a b><d> <x>,<y>"}), rewritten());
}

TEST_F(ModifyRules, LeavesEqualDirectoriesAndEarlierRules)
{
    EXPECT_EQ(0, apply("<a b><c><x>,<y>\n<a b><c>,<d>\n<a b><c>,<e>\n<a b><cc><x>,<y>\n<a b><b><c><x>,<y>\n"));
    EXPECT_EQ((Texts{"<a b><c><x>,<y>", "<a b><c>,<d>", "<a b><c>,<e>", "<a b><cc><x>,<y>", "<a b><b><c><x>,<y>"}),
              rewritten());
}

TEST_F(ModifyRules, ARenamedTopLevelIsCarriedOn)
{
    EXPECT_EQ(0, apply("<a b>,<c  d>\n<a b>,<e>\n<a b>x<y>,<z>\n<a b ><y>,<z>\n<a bc><y>,<z>\n"));
    EXPECT_EQ((Texts{"<a b>,<c  d>", "<c  d>,<e>", "<e>x<y>,<z>", "<a b ><y>,<z>", "<a bc><y>,<z>"}), rewritten());
}

TEST_F(ModifyRules, WhiteSpaceAheadOfTheOldNameBelongsToTheDirectory)
{
    EXPECT_EQ(0, apply("<a> <b>,<c>\n<a> <b><x>,<y>\n<a><b><x>,<y>\n"));
    EXPECT_EQ((Texts{"<a> <b>,<c>", "<a> <c><x>,<y>", "<a><b><x>,<y>"}), rewritten());
}

TEST_F(ModifyRules, ANewNameWithACommaSpoilsLaterRules)
{
    EXPECT_EQ(-1, apply("<a><b>,<x,y>\n<a><b><c>,<d>\n"));
    EXPECT_EQ((Texts{"<a><b>,<x,y>", "<a><x,y><c>,<d>"}), rewritten());
    free_migr_tree();
    EXPECT_EQ(-1, apply("<a>,<,y>\n<a><c>,<d>\n<e>,<f>\n"));
    EXPECT_EQ((Texts{"<a>,<,y>", "<,y><c>,<d>", "<e>,<f>"}), rewritten());
}

TEST_F(ModifyRules, ASpoiledLaterRuleFailsTheNextOne)
{
    plant("config e\nend\n");
    EXPECT_EQ(-1, apply("<a>,<,y>\n<e>,<f>\n<a><c>,<d>\n"));
    EXPECT_EQ("top e\n", tree());
}

TEST_F(ModifyRules, AMalformedLaterRuleFailsBeforeAnythingIsRenamed)
{
    plant("config a\nend\n");
    EXPECT_EQ(-1, apply("<a>,<b>\n<c>\n"));
    EXPECT_EQ("top a\n", tree());
}

TEST_F(ModifyRules, ARestThatIsMalformedFailsInItsTurn)
{
    plant("config a\nend\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, apply("<a>,<b>\n<c>,\n"));
    EXPECT_EQ("tplain: b\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("top b\n", tree());
}

TEST_F(ModifyRules, AnEmptyListIsDone)
{
    EXPECT_EQ(0, apply(""));
    EXPECT_EQ(0u, migr_main.modified);
}

TEST_F(ModifyRules, LongPathsAreRewrittenWhole)
{
    std::string name(127, 'n');
    std::string path = times(16000, "<b>");
    EXPECT_EQ(0, apply("<a>,<" + name + ">\n<a>" + path + "<c>,<d>\n<" + name + ">" + path + "<c><e>,<f>\n"));
    EXPECT_EQ(
        (Texts{"<a>,<" + name + ">", "<" + name + ">" + path + "<c>,<d>", "<" + name + ">" + path + "<d><e>,<f>"}),
        rewritten());
}

TEST_F(ModifyRules, ReaddRulesAskForTheirVersion)
{
    plant("config a\nset b 1\nset c 1\nset d 1\nset e 1\nend\n");
    ASSERT_EQ(0, load("[5.16]\n[READD]\n<a><b>,<x>,<5.13>\n<a><c>,<y>,<5.14>\n<a><d>,<z>,<5.15>\n<a><e>,<w>,<5.16>\n"));
    EXPECT_EQ(0, process_modify(&first_section().readd_list, 1, 0x50010));
    EXPECT_EQ("top a\n  set b=1\n  set y=1\n  set z=1\n  set e=1\n", tree());
}
