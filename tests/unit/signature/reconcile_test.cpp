/* What the reconciliation asks, and which nodes it marks for each answer, good or broken. */
#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "platform/platform.h"
#include "query_log.h"
#include "signature/reconcile.h"
#include "support/appliance_root.h"
#include "support/failing_memory.h"
#include "support/image_line.h"
#include "support/trees.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>
#include <functional>

using support::ApplianceRoot;
using support::ChildResult;

namespace {

const std::string tables = "CREATE TABLE class_map(main_class_id TEXT, sub_class_id TEXT, discard INTEGER);"
                           "CREATE TABLE signature_rule(signature_id TEXT, FP_mitigation INTEGER, score INTEGER);";

const std::string some_rows = tables + "INSERT INTO class_map VALUES ('010000000', '010000001', 0);"
                                       "INSERT INTO class_map VALUES ('020000000', '020000001', 0);"
                                       "INSERT INTO class_map VALUES ('110000000', '110000001', 0);"
                                       "INSERT INTO signature_rule VALUES ('010000005', 1, 8341);";

/* A profile with one list of bare entries. */
std::string profile(const std::string &name, const std::string &list, const std::vector<std::string> &ids)
{
    std::string text = "edit " + name + "\nconfig " + list + "\n";
    for (const std::string &id : ids)
        text += "edit " + id + "\nnext\n";
    return text + "end\nnext\n";
}

std::string signature_config(const std::string &profiles)
{
    return "config waf signature\n" + profiles + "end\n";
}

config_node *list_of_profile(const char *profile, const char *list)
{
    config_node *signature = support::named(migr_main.root.top_list, "waf,signature");
    config_node *found = signature ? support::named(signature->edit_list, profile) : nullptr;
    return found ? support::named(found->config_list, list) : nullptr;
}

/* The entries of a list, one a line, with their delete marks. */
std::string entries_of(const config_node *list)
{
    std::string text;
    for (const config_node *entry = list->edit_list; entry; entry = entry->next)
        text += std::string(entry->name) + (entry->deleted ? " deleted\n" : "\n");
    return text;
}

class Reconcile : public testing::Test {
  protected:
    ApplianceRoot root;

    /* Runs `work` with the database open. Gives what it printed; the folder is as it was. */
    std::string run(const std::function<void()> &work, const std::string &sql = some_rows)
    {
        if (!sql.empty())
            root.database(sql);
        support::Listing before = root.listing();
        ChildResult      child = support::run_in_root(root.path(), [&] {
            migr_main.root.kind = MIGR_ROOT;
            db_open(&sig_db);
            work();
            EXPECT_EQ(0, query_log.open);
            global_sig_db_close();
            free_sigid_list();
            release_pass_nodes();
            return 0;
        });
        EXPECT_EQ(0, child.exit_code) << child.out << child.err;
        EXPECT_EQ(before, root.listing());
        return child.out;
    }
};

} // namespace

TEST_F(Reconcile, AsksEachTypeItsOwnQuestion)
{
    run([] {
        for (int32_t type = 1; type <= 8; type++)
            check_sigdb_by_id(type, "\"010000005\"");
        EXPECT_EQ((std::vector<std::string>{
                      "select count(*) from class_map where main_class_id='010000005' and discard=0;",
                      "select count(*) from class_map where sub_class_id='010000005' and discard=0;",
                      "select count(*) from signature_rule where signature_id='010000005';",
                      "select count(*) from signature_rule where signature_id='010000005';",
                      "select count(*) from signature_rule where signature_id='010000005';",
                      "select count(*) from signature_rule where signature_id='010000005' and FP_mitigation!=0;",
                      "select count(*) from signature_rule where signature_id='010000005' and score=8341;",
                      "select count(*) from signature_rule where signature_id='010000005';",
                  }),
                  query_log.queries);
        EXPECT_EQ(std::vector<std::string>(8, "101/0"), query_log.fields);
    });
}

TEST_F(Reconcile, TellsStaleFromKnown)
{
    std::string printed = run([] {
        EXPECT_EQ(0, check_sigdb_by_id(1, "010000000"));
        EXPECT_EQ(1, check_sigdb_by_id(1, "010000001"));
        EXPECT_EQ(0, check_sigdb_by_id(2, "010000001"));
        EXPECT_EQ(1, check_sigdb_by_id(2, "010000000"));
        for (int32_t type : {3, 4, 5, 6, 7, 8}) {
            EXPECT_EQ(0, check_sigdb_by_id(type, "010000005")) << type;
            EXPECT_EQ(1, check_sigdb_by_id(type, "010000006")) << type;
        }
        EXPECT_EQ(1, check_sigdb_by_id(3, ""));
        EXPECT_EQ(1, check_sigdb_by_id(3, "\""));
        EXPECT_EQ(1, check_sigdb_by_id(3, "\"\""));
    });
    EXPECT_EQ("", printed);
}

TEST_F(Reconcile, RefusesOtherTypes)
{
    std::string printed = run([] {
        for (int32_t type : {0, 9, -1, INT32_MAX, INT32_MIN})
            EXPECT_EQ(-1, check_sigdb_by_id(type, "010000005")) << type;
        EXPECT_TRUE(query_log.queries.empty());
        EXPECT_EQ(5u, query_log.fields.size());
    });
    EXPECT_EQ(support::times(5, "migr_hardcode: Got wrong table type.\n"), printed);
}

TEST_F(Reconcile, NamesAMissingIdentifierBeforeAMissingDatabase)
{
    std::string printed = run(
        [] {
            EXPECT_EQ(nullptr, sig_db);
            EXPECT_EQ(-1, check_sigdb_by_id(3, nullptr));
            EXPECT_EQ(-1, check_sigdb_by_id(3, "010000005"));
            EXPECT_EQ(-1, check_sigdb_by_id(99, "010000005"));
            EXPECT_EQ(-1, check_reverse_main_id());
        },
        "");
    EXPECT_EQ("migr_hardcode: format id is NULL.\n" + support::times(3, "migr_hardcode: db is NULL \n"), printed);
}

/* What breaks, and what the query for an identifier and the one for main classes then print and give. */
struct Break {
    Breaks      what;
    const char *prints;
    int32_t     by_id;
    int32_t     reverse;
};

class BrokenDatabase : public Reconcile, public testing::WithParamInterface<Break> {};

TEST_P(BrokenDatabase, IsNoReasonToMarkAnything)
{
    std::string printed = run([] {
        query_log.breaks = GetParam().what;
        EXPECT_EQ(GetParam().by_id, check_sigdb_by_id(3, "010000009"));
        EXPECT_EQ(GetParam().reverse, check_reverse_main_id());
        ASSERT_EQ(0, support::parse(signature_config(profile("\"Alert Only\"", "main_class_list", {"030000000"}))));
        std::string before = support::dump(migr_main.root);
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(before, support::dump(migr_main.root));
        EXPECT_EQ(nullptr, predefined_disable_sig_head);
        EXPECT_EQ(1, done_sigid_check);
    });
    EXPECT_EQ(support::times(4, std::string("migr_hardcode: ") + GetParam().prints + "\n"), printed);
}

INSTANTIATE_TEST_SUITE_P(Ways, BrokenDatabase,
                         testing::Values(Break{Breaks::init, "initial database failed", -1, -1},
                                         Break{Breaks::field, "add field error", -1, 0},
                                         Break{Breaks::run, "DB query error", -1, 0},
                                         Break{Breaks::status, "DB query error", -1, 0},
                                         Break{Breaks::no_rows, "No reocord found in database", -1, 0},
                                         Break{Breaks::row_count_only, "No reocord found in database", -1, 0},
                                         Break{Breaks::null_data, "Invalid data pointer.", -1, 0},
                                         Break{Breaks::last_null_data, "Invalid data pointer.", -1, 0}));

TEST_F(Reconcile, LeavesAllWithoutADatabaseFile)
{
    std::string printed = run(
        [] {
            ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", {"030000000"}))));
            std::string before = support::dump(migr_main.root);
            EXPECT_EQ(0, sync_cli_with_sig_db());
            EXPECT_EQ(before, support::dump(migr_main.root));
        },
        "");
    EXPECT_EQ(support::times(2, "migr_hardcode: db is NULL \n"), printed);
}

/* The search for the profiles is the last one. */
TEST_F(Reconcile, LeavesWhatItFoundInTheSlots)
{
    run([] {
        ASSERT_EQ(0, support::parse("config waf signature\nend\nconfig waf staged_signature_list\nend\n"));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(1, is_found);
        EXPECT_EQ(migr_main.root.top_list, found_node);
        strcpy(migr_main.root.top_list->name, "waf,other");
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(0, is_found);
        EXPECT_EQ(nullptr, found_node);
    });
}

TEST_F(Reconcile, LeavesAllWhenTheDatabaseFileIsNone)
{
    for (const char *content : {"", "no database at all, only some text that is long enough to be looked at"}) {
        root.write("/data/etc/signature.db", content);
        run(
            [] {
                ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", {"030000000"}))));
                std::string before = support::dump(migr_main.root);
                EXPECT_EQ(0, sync_cli_with_sig_db());
                EXPECT_EQ(before, support::dump(migr_main.root));
            },
            "");
    }
}

TEST_F(Reconcile, SaysWhenAConfigIsAbsent)
{
    std::string printed = run([] {
        EXPECT_EQ(-1, signature_disable_check_with_db());
        EXPECT_EQ(-1, signature_staged_check_with_db());
        EXPECT_EQ(-1, signature_check_with_db());
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(0, done_sigid_check);
        ASSERT_EQ(0, support::parse("config waf signature\nend\nconfig waf base-signature-disable\nend\n"));
        EXPECT_EQ(0, signature_disable_check_with_db());
        EXPECT_EQ(-1, signature_staged_check_with_db());
        EXPECT_EQ(0, done_sigid_check);
        EXPECT_EQ(0, signature_check_with_db());
        EXPECT_EQ(1, done_sigid_check);
    });
    EXPECT_EQ("", printed);
}

TEST_F(Reconcile, MarksAndUnlinksNothing)
{
    run([] {
        ASSERT_EQ(0, support::parse(signature_config(profile("mine", "alert_only_list", {"1", "010000005", "2"}))));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ("1 deleted\n010000005\n2 deleted\n", entries_of(list_of_profile("mine", "alert_only_list")));
    });
}

TEST_F(Reconcile, TreatsAnEntryThatARuleHasMarkedLikeAnyOther)
{
    run([] {
        ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", {"020000000"}))));
        list_of_profile("mine", "main_class_list")->edit_list->deleted = 1;
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ("\"010000000\"\n020000000 deleted\n", entries_of(list_of_profile("mine", "main_class_list")));
    });
}

TEST_F(Reconcile, PassesOverAFilterWithoutAValue)
{
    std::string printed = run([] {
        ASSERT_EQ(0, support::parse(signature_config(profile("mine", "filter_list", {"1"}) +
                                                     profile("Drupal", "filter_list", {"1"}))));
        for (const char *name : {"mine", "Drupal"})
            cfg_add_conf("signature_id", nullptr, MIGR_SET, list_of_profile(name, "filter_list")->edit_list);
        std::string before = support::dump(migr_main.root);
        EXPECT_EQ(0, sync_cli_with_sig_db()); /* both ask the database */
        EXPECT_EQ(0, sync_cli_with_sig_db()); /* the predefined one looks into the list */
        EXPECT_EQ(before, support::dump(migr_main.root));
    });
    EXPECT_EQ(support::times(3, "migr_hardcode: format id is NULL.\n"), printed);
}

TEST_F(Reconcile, StopsAskingAtAFiltersFirstStaleSignature)
{
    run([] {
        ASSERT_EQ(0, support::parse(signature_config("edit mine\nconfig filter_list\nedit 1\nset signature_id 1\n"
                                                     "set signature_id 2\nnext\nend\nnext\n")));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(1u, query_log.queries.size());
    });
}

TEST_F(Reconcile, AsksForPredefinedProfilesInTheFirstFileOnly)
{
    run([] {
        std::string predefined = profile("Drupal", "alert_only_list", {"1", "010000005"});
        /* The flag rises behind the last profile, so a second profile of the first file asks again. */
        ASSERT_EQ(0, support::parse(signature_config(predefined + profile("WordPress", "alert_only_list", {"1"}))));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(3u, query_log.queries.size());
        query_log.queries.clear();
        ASSERT_EQ(0, support::parse(signature_config(predefined)));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_TRUE(query_log.queries.empty());
        EXPECT_EQ("1 deleted\n010000005\n", entries_of(list_of_profile("Drupal", "alert_only_list")));
        ASSERT_EQ(0, support::parse(signature_config(profile("mine", "alert_only_list", {"1", "010000005"}))));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(2u, query_log.queries.size());
        query_log.queries.clear();
        ASSERT_EQ(0, support::parse(signature_config(profile("Drupal", "main_class_list", {"1", "010000000"}))));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        std::vector<std::string> reverse = {
            "select main_class_id from class_map where discard=0 group by main_class_id;"};
        EXPECT_EQ(reverse, query_log.queries);
    });
}

TEST_F(Reconcile, KeepsAHundredEntriesOfAListInMind)
{
    std::string sql = tables;
    for (int id = 100; id < 203; id++)
        sql += "INSERT INTO class_map VALUES ('0" + std::to_string(id) + "', '', 0);";
    run(
        [] {
            std::vector<std::string> ids;
            for (int id = 100; id < 203; id++)
                ids.push_back((id % 2 ? "\"0" : "0") + std::to_string(id) + (id % 2 ? "\"" : ""));
            ids.push_back("0999");
            ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", ids))));
            EXPECT_EQ(0, sync_cli_with_sig_db());
            EXPECT_EQ(100, id_count);
            /* Of the database's classes as well no more than a hundred are kept, so that none is missed here. */
            EXPECT_EQ(0, new_id_count);
            config_node *list = list_of_profile("mine", "main_class_list");
            EXPECT_EQ(104u, support::length_of(list->edit_list));
            EXPECT_TRUE(support::named(list->edit_list, "0999")->deleted);
        },
        sql);
}

TEST_F(Reconcile, AddsClassesASecondTimeThatStandBehindTheHundredthEntry)
{
    run([] {
        std::vector<std::string> ids;
        for (int i = 0; i < 99; i++)
            ids.push_back("own" + std::to_string(i));
        ids.push_back("010000000");
        ids.push_back("020000000");
        ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", ids))));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        config_node *list = list_of_profile("mine", "main_class_list");
        EXPECT_STREQ("\"020000000\"", list->edit_list->name);
        EXPECT_STREQ("own0", list->edit_list->next->name);
        EXPECT_FALSE(support::named(list->edit_list, "020000000")->deleted);
    });
}

TEST_F(Reconcile, AddsNoMoreThanAHundredClasses)
{
    std::string sql = tables + "INSERT INTO class_map VALUES ('110000000', '', 0);";
    for (int id = 100; id < 220; id++)
        sql += "INSERT INTO class_map VALUES ('0" + std::to_string(id) + "', '', 0);";
    run(
        [] {
            ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", {}))));
            EXPECT_EQ(0, sync_cli_with_sig_db());
            config_node *list = list_of_profile("mine", "main_class_list");
            EXPECT_EQ(100u, support::length_of(list->edit_list));
            EXPECT_STREQ("\"0199\"", list->edit_list->name);
            EXPECT_EQ(100, new_id_count);
            EXPECT_STREQ("\"0100\"", new_id_array[0]);
            EXPECT_EQ(std::vector<std::string>{"102/17"}, query_log.fields);
        },
        sql);
}

/* Twelve digits with quotes are 14 characters; longer ones lose their closing quote, and are bare without one more. */
TEST_F(Reconcile, CutsLongClasses)
{
    run(
        [] {
            EXPECT_EQ(3, check_reverse_main_id());
            EXPECT_STREQ("\"1234567890123\"", new_id_array[0]);
            EXPECT_STREQ("\"22345678901234", new_id_array[1]);
            EXPECT_STREQ("\"32345678901234", new_id_array[2]);
            id_count = 3;
            strcpy(id_array[0], "1234567890123");
            strcpy(id_array[1], "22345678901234");
            strcpy(id_array[2], "3234567890123");
            EXPECT_EQ(1, check_reverse_main_id());
            EXPECT_STREQ("\"22345678901234", new_id_array[0]);
        },
        tables + "INSERT INTO class_map VALUES ('1234567890123', '', 0), ('22345678901234', '', 0),"
                 "('32345678901234567890', '', 0);");
}

TEST_F(Reconcile, ComparesClassesExactly)
{
    run([] {
        id_count = 4;
        strcpy(id_array[0], "01000000");
        strcpy(id_array[1], "010000000 ");
        strcpy(id_array[2], "\"010000000");
        strcpy(id_array[3], "020000000");
        EXPECT_EQ(1, check_reverse_main_id());
        EXPECT_STREQ("\"010000000\"", new_id_array[0]);
    });
}

TEST_F(Reconcile, StartsEachProfileAnew)
{
    run([] {
        ASSERT_EQ(0, support::parse(signature_config(profile("one", "main_class_list", {"010000000"}) +
                                                     profile("two", "alert_only_list", {}))));
        EXPECT_EQ(0, sync_cli_with_sig_db());
        EXPECT_EQ(0, id_count);
        EXPECT_EQ(0, new_id_count);
    });
}

TEST_F(Reconcile, ListsStaleIdentifiersNewestFirst)
{
    run([] {
        add_sigid_list(nullptr);
        add_sigid_list("");
        EXPECT_EQ(nullptr, predefined_disable_sig_head);
        add_sigid_list("\"010000001\"");
        add_sigid_list("010000002");
        add_sigid_list("12345678901234567");
        add_sigid_list("\"1234567890123456\"");
        add_sigid_list("\"\"");
        const stale_signature *entry = predefined_disable_sig_head;
        for (const char *id : {"", "12345678901234", "123456789012345", "010000002", "010000001"}) {
            ASSERT_NE(nullptr, entry);
            EXPECT_STREQ(id, entry->id);
            entry = entry->next;
        }
        EXPECT_EQ(nullptr, entry);
        for (const char *listed : {"010000001", "\"010000001\"", "\"010000002\"", "123456789012345xyz", "\"\"", "\""})
            EXPECT_EQ(1, check_sigid_list(listed)) << listed;
        for (const char *other : {"01000000", "0100000011", "", "123456789012"})
            EXPECT_EQ(0, check_sigid_list(other)) << other;
        EXPECT_EQ(0, check_sigid_list(nullptr));
        free_sigid_list();
        EXPECT_EQ(nullptr, predefined_disable_sig_head);
        EXPECT_EQ(0, check_sigid_list("010000001"));
        free_sigid_list();
    });
}

TEST_F(Reconcile, ForgetsAStaleIdentifierWhenMemoryRunsOut)
{
    run([] {
        add_sigid_list("1");
        support::fail_allocation(1);
        add_sigid_list("2");
        support::fail_allocation(0);
        EXPECT_EQ(1, check_sigid_list("1"));
        EXPECT_EQ(0, check_sigid_list("2"));
    });
}

/* Each class takes five allocations: three nodes and two values. */
TEST_F(Reconcile, StopsAddingWhenMemoryRunsOut)
{
    std::string printed = run([] {
        for (size_t failing = 1; failing <= 10; failing++) {
            ASSERT_EQ(0, support::parse(signature_config(profile("mine", "main_class_list", {}))));
            support::fail_allocation(0);
            EXPECT_EQ(2, check_reverse_main_id());
            size_t by_the_query = support::allocations();
            support::fail_allocation(by_the_query + failing);
            EXPECT_EQ(0, signature_check_with_db());
            support::fail_allocation(0);
            EXPECT_EQ(failing <= 5 ? "" : "\"010000000\"\n", entries_of(list_of_profile("mine", "main_class_list")));
            puts("next");
        }
    });
    EXPECT_EQ(support::times(10, "migr_hardcode: malloc() failed.\nnext\n"), printed);
}

/* Wherever memory runs out, and for however long, only what the database was asked about for sure is marked. */
TEST_F(Reconcile, OutlivesMemoryRunningOutAnywhere)
{
    run([] {
        std::string text = signature_config(profile("Drupal", "main_class_list", {"1", "020000000"}) +
                                            profile("mine", "alert_only_list", {"1", "010000005"}));
        size_t      calls = 0;
        for (bool lasting : {false, true}) {
            for (size_t failing = 1; failing == 1 || failing <= calls; failing++) {
                ASSERT_EQ(0, support::parse(text));
                support::fail_allocation(failing, lasting);
                EXPECT_EQ(0, sync_cli_with_sig_db());
                calls = std::max(calls, support::allocations());
                support::fail_allocation(0);
                EXPECT_EQ(0, query_log.open);
                std::string tree = support::dump(migr_main.root);
                EXPECT_EQ(std::string::npos, tree.find("edit 020000000 deleted")) << tree;
                EXPECT_EQ(std::string::npos, tree.find("edit 010000005 deleted")) << tree;
                EXPECT_NE(std::string::npos, tree.find("edit 020000000")) << tree;
                done_sigid_check = 0;
                free_sigid_list();
                release_pass_nodes();
            }
        }
        EXPECT_GT(calls, 15u);
    });
}

/* Domain files of one run share the list of stale identifiers; the next run in the process starts from nothing. */
TEST_F(Reconcile, BeginsAnewInEachRun)
{
    static const std::string header = "#config-version=QA-A1X-6.20-CV-build0100-180101:opmode=0\n#conf_file_ver=1\n";
    static const std::string upgraded = "#config-version=QA-A1X-" IMAGE_VERSION ":opmode=0\n#conf_file_ver=1\n";
    root.write("/data/etc/update_config", "");
    root.write_gzip("/data/config/sys_global.conf.gz", header + "config system global\nend\n");
    root.write_gzip("/data/config/sys_domain.root.conf.gz",
                    header + signature_config(profile("Drupal", "alert_only_list", {"1", "010000005"})));
    root.database(some_rows);
    ChildResult child = support::run_in_root(root.path(), [] {
        migr_main_do_all();
        EXPECT_EQ(nullptr, predefined_disable_sig_head);
        EXPECT_EQ(nullptr, sig_db);
        EXPECT_EQ(1, done_sigid_check);
        EXPECT_EQ(2u, query_log.queries.size());
        migr_main_do_all(); /* nothing is old any more */
        EXPECT_EQ(0, done_sigid_check);
        EXPECT_EQ(2u, query_log.queries.size());
        return 0;
    });
    EXPECT_EQ(0, child.exit_code) << child.out << child.err;
    EXPECT_EQ("", child.out);
    EXPECT_EQ(upgraded + "config waf signature\n    edit Drupal\n        config alert_only_list\n"
                         "            edit 010000005\n            next\n        end\n    next\nend\n",
              root.read_gzip("/data/config/sys_domain.root.conf.gz"));
    EXPECT_EQ(upgraded + "config system global\nend\n", root.read_gzip("/data/config/sys_global.conf.gz"));
}
