/* The image's own update file, on a file that holds whatever any of its rules concerns. */
#include "image_texts.h"
#include "rules/update_file.h"
#include "support/trees.h"
#include "tree/node_store.h"

#include <cstring>

namespace {

int32_t load(const std::string &text)
{
    text_reader lines = {strndup(text.data(), text.size()), text.size(), 0, 0, 0, 0};
    int32_t     result = load_update_sections(&lines);
    close_text(&lines);
    return result;
}

/* What a pass does with the update file, without the version chain. The tree after each section, marks and all. */
std::string apply_sections(const std::string &rules, int32_t cfg_version)
{
    std::string trees;
    migr_list_init(&migr_main.update_list);
    migr_main.cfg_version = cfg_version;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    EXPECT_EQ(0, load(rules));
    migr_list *sections = &migr_main.update_list;
    for (migr_list *link = sections->next; link != sections; link = link->next) {
        update_section *section = section_of(link);
        EXPECT_EQ(0, process_delete(&section->delete_list)) << section->version;
        EXPECT_EQ(0, process_modify(&section->modify_list, 0, section->version)) << section->version;
        EXPECT_EQ(0, process_modify(&section->readd_list, 1, section->version)) << section->version;
        trees += support::dump(migr_main.root);
    }
    free_migr_tree();
    return trees;
}

struct Road {
    std::string trees; /* after each section */
    std::string at_the_split;
    std::string at_the_image;
};

/* A file of 3.30 on its two passes, to 5.10 and to the image. */
Road carry(const std::string &rules)
{
    Road road;
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, support::parse(own_file("release_3_30.conf")));
    road.trees = apply_sections(rules, 0x3001e);
    EXPECT_EQ(1, vdom_update_flag);
    vdom_update_flag = 0;
    road.at_the_split = support::written(&migr_main.root);
    release_pass_nodes();
    EXPECT_EQ(0, support::parse(road.at_the_split));
    road.trees += apply_sections(rules, MIGR_RELEASE(5, 10));
    EXPECT_EQ(0, vdom_update_flag);
    road.at_the_image = support::written(&migr_main.root);
    release_pass_nodes();
    testing::internal::GetCapturedStdout();
    return road;
}

} // namespace

class ImageRules : public support::TreeTest {};

TEST_F(ImageRules, CarryAFileFrom330)
{
    Road road = carry(image_text("update_config"));
    EXPECT_EQ(own_file("release_5_10.conf"), road.at_the_split);
    EXPECT_EQ(own_file("release_of_image.conf"), road.at_the_image);
}

/* Without any one of the rules the tree would be another at some release. */
TEST_F(ImageRules, EachDoesSomething)
{
    std::string rules = image_text("update_config");
    Road        whole = carry(rules);
    size_t      count = 0;
    for (size_t at = 0; at < rules.size(); at = rules.find('\n', at) + 1) {
        size_t end = rules.find('\n', at);
        if (rules[at] != '<')
            continue;
        count++;
        EXPECT_TRUE(carry(std::string(rules).erase(at, end + 1 - at)).trees != whole.trees)
            << rules.substr(at, end - at);
    }
    EXPECT_LE(60u, count);
}
