/* What no case can show of names and defaults that changed: sets without a value, records that went, memory that is
 * not to be had. */
#include "chain/names_and_defaults.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class NamesAndDefaults : public TreeTest {
  protected:
    config_node *block()
    {
        return migr_main.root.top_list;
    }
};

TEST_F(NamesAndDefaults, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config user user-group\nedit g\nconfig members\nedit 1\nset name n\nnext\nend\nnext\nend\n"
                    "config system accprofile\nedit p\nnext\nend\n"
                    "config server-policy pservers\nedit f\nnext\nend\n"),
              0);
    cfg_add_conf("type", nullptr, MIGR_SET, block()->edit_list->config_list->edit_list);
    cfg_add_conf("webgrp", nullptr, MIGR_SET, block()->next->edit_list);
    cfg_add_conf("is-default-config", nullptr, MIGR_SET, block()->next->next->edit_list);
    cfg_add_conf("type", nullptr, MIGR_SET, block()->next->next->edit_list);
    migr_change_webgrp_to_wafgrp();
    migr_add_prefix_name();
    EXPECT_EQ(change_admin_usergrp_name(), 0);
    migr_del_is_default();
    migr_del_priority();
    EXPECT_EQ(migr_del_server_farm(), 0);
    EXPECT_EQ(migr_change_admin_accprofile_name(), 0);
    EXPECT_EQ(dump(migr_main.root),
              "top user,user-group\n  edit g\n    config members\n      edit 1\n        set type\n        set name=n\n"
              "top system,accprofile\n  edit p\n    set wafgrp\n"
              "top server-policy,pservers\n  edit f\n    set type\n    set is-default-config\n");
}

TEST_F(NamesAndDefaults, ARecordThatWentStaysReadable)
{
    ASSERT_EQ(parse("config a\nedit 1\nset is-default-config yes\nnext\nedit 2\nnext\nend\n"), 0);
    config_node *gone = block()->edit_list;
    migr_del_is_default();
    EXPECT_EQ(dump(*block()), "edit 2\n");
    EXPECT_STREQ(gone->name, "1");
    EXPECT_EQ(gone->next, block()->edit_list);
}

TEST_F(NamesAndDefaults, MarkedSetsCount)
{
    ASSERT_EQ(parse("config a\nedit 1\nset is-default-config yes\nconfig t\nedit 1\nset priority 1\nnext\nend\nnext\n"
                    "edit 2\nconfig t\nedit 1\nset priority 1\nnext\nend\nnext\nend\n"),
              0);
    block()->edit_list->set_list->deleted = 1;
    block()->edit_list->next->config_list->edit_list->set_list->deleted = 1;
    migr_del_is_default();
    migr_del_priority();
    EXPECT_EQ(dump(*block()), "edit 2\n  config t\n");
}

TEST_F(NamesAndDefaults, WithoutMemoryARightStays)
{
    ASSERT_EQ(parse("config system accprofile\nedit p\nset webgrp w\nset netgrp w\nnext\nend\n"), 0);
    with_failing_values(1, migr_change_webgrp_to_wafgrp);
    EXPECT_EQ(dump(*block()), "edit p\n  set wafgrp=w\n  set netgrp=rw\n");
}

} // namespace
