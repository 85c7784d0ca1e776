/* Whose values are lost and why signature lists change, with small files in the image's place. */
#include "explain/remarks.h"

#include "driver/run_context.h"
#include "explain/signature_reasons.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

using namespace command;

namespace {

constexpr char predefined[] = "config waf web-robot\n"
                              "    edit \"High Level Security1\"\n"
                              "        set bad-robot enable\n"
                              "        config list\n"
                              "            edit 1\n"
                              "                set name crawler\n"
                              "            next\n"
                              "        end\n"
                              "    next\n"
                              "    edit \"Plain\"\n"
                              "        config list2\n"
                              "            set depth 2\n"
                              "        end\n"
                              "    next\n"
                              "    edit bare3\n"
                              "        set depth 3\n"
                              "    next\n"
                              "end\n"
                              "config waf parameter7\n"
                              "    set depth 7\n"
                              "end\n";

constexpr char rows[] = R"(
create table class_map (main_class_id text, sub_class_id text, discard integer);
insert into class_map values ('010000000', '010010000', 0), ('020000000', '020010000', 1);
create table signature_rule (signature_id text, FP_mitigation integer, score integer);
insert into signature_rule values ('010010001', 1, 8341), ('010010002', 0, 5);
create table replacement_page (name text, code integer, text text);
insert into replacement_page values ('login', 200, '<a href="/">
in</a>');
)";

std::string database()
{
    sqlite3 *connection = nullptr;
    sqlite3_open(":memory:", &connection);
    EXPECT_EQ(sqlite3_exec(connection, rows, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(connection);
    sqlite3_int64  size = 0;
    unsigned char *bytes = sqlite3_serialize(connection, "main", &size, 0);
    std::string    result(reinterpret_cast<char *>(bytes), static_cast<size_t>(size));
    sqlite3_free(bytes);
    sqlite3_close(connection);
    return result;
}

std::string image_text(const char *name)
{
    return std::string(name) == "signature.db" ? database() : predefined;
}

using Path = std::vector<std::string>;

/* By the signature database, or by a stage. */
AccountEntry entry_of(const Path &path, const std::string &before, bool by_signatures)
{
    AccountEntry entry;
    entry.fate = LineFate::dropped;
    entry.path = path;
    entry.before = before;
    entry.causes = {by_signatures ? 1u : 0u};
    return entry;
}

AccountFile with_remarks(std::vector<AccountEntry> entries, int32_t release = MIGR_RELEASE(4, 20))
{
    Account account;
    account.authors = {{MIGR_RELEASE(5, 0), "stage", "_some"}, {MIGR_RELEASE(6, 21), "signatures", "check"}};
    account.files = {{"sys_global.conf.gz", release, MIGR_RELEASE(6, 21), {}, {}, 0, std::move(entries), {}}};
    add_hands(account, image_text);
    add_signature_reasons(account, image_text);
    return account.files[0];
}

Hand hand_of(const Path &path, const std::string &before, int32_t release = MIGR_RELEASE(4, 20))
{
    return with_remarks({entry_of(path, before, false)}, release).entries[0].hand;
}

std::string reason_in(const std::string &list, const std::string &id)
{
    return with_remarks({entry_of({"waf signature", "shop", list, id}, "edit \"" + id + "\"\n", true)})
        .entries[0]
        .reason;
}

} // namespace

TEST(KnownValues, OfThePredefinedConfigurationAreTheFirmwares)
{
    Path path = {"waf web-robot", "High Level Security", "bad-robot"};
    EXPECT_EQ(hand_of(path, "    set bad-robot enable\n"), Hand::firmware);
    EXPECT_EQ(hand_of(path, "    set bad-robot disable\n"), Hand::person);
    EXPECT_EQ(hand_of({"waf web-robot", "Low Level Security", "bad-robot"}, "set bad-robot enable\n"), Hand::unknown);
    EXPECT_EQ(hand_of({"waf parameter7", "depth"}, "set depth \"7\"\n"), Hand::firmware);
}

TEST(KnownValues, GoByNamesWithoutTheDigitInTheirQuotes)
{
    EXPECT_EQ(hand_of({"waf web-robot", "Plain", "list2", "depth"}, "set depth 2\n"), Hand::firmware);
    EXPECT_EQ(hand_of({"waf web-robot", "bare3", "depth"}, "set depth 3\n"), Hand::firmware);
    EXPECT_EQ(hand_of({"waf web-robot", "bare", "depth"}, "set depth 3\n"), Hand::unknown);
}

TEST(KnownValues, AreThoseOfTheirOwnReleases)
{
    Path path = {"waf web-robot", "High Level Security", "bad-robot"};
    EXPECT_EQ(hand_of(path, "set bad-robot disable\n", MIGR_RELEASE(4, 49)), Hand::person);
    EXPECT_EQ(hand_of(path, "set bad-robot disable\n", MIGR_RELEASE(5, 0)), Hand::unknown);
}

TEST(KnownValues, AreNotThoseOfNumberedEntries)
{
    Path path = {"waf web-robot", "High Level Security", "list", "1", "name"};
    EXPECT_EQ(hand_of(path, "set name spider\n"), Hand::unknown);
}

TEST(KnownValues, OfPagesAreTheImages)
{
    int32_t release = MIGR_RELEASE(5, 50);
    Path    text = {"system replacemsg", "login", "buffer"};
    Path    code = {"system replacemsg", "login", "code"};
    EXPECT_EQ(hand_of(text, "set buffer \"<a href=\\\"/\\\">\nin</a>\"\n", release), Hand::firmware);
    EXPECT_EQ(hand_of(text, "set buffer \"<a>\nin</a>\"\n", release), Hand::person);
    EXPECT_EQ(hand_of(code, "set code 200\n", release), Hand::firmware);
    EXPECT_EQ(hand_of(code, "set code 403\n", release), Hand::person);
    EXPECT_EQ(hand_of({"system replacemsg", "login", "group"}, "set group alert\n", release), Hand::unknown);
    EXPECT_EQ(hand_of({"system replacemsg", "own", "buffer"}, "set buffer x\n", release), Hand::unknown);
}

TEST(KnownValues, AreNoBlocks)
{
    EXPECT_EQ(hand_of({"waf web-robot", "High Level Security"}, "edit \"High Level Security\"\n"), Hand::unknown);
}

TEST(SignatureReasons, SayWhatTheDatabaseHas)
{
    EXPECT_EQ(reason_in("main_class_list", "020000000"), "out of use in the image's database");
    EXPECT_EQ(reason_in("main_class_list", "090000000"), "no longer in the image's database");
    EXPECT_EQ(reason_in("sub_class_disable_list", "020010000"), "out of use in the image's database");
    EXPECT_EQ(reason_in("signature_disable_list", "990010001"), "no longer in the image's database");
    EXPECT_EQ(reason_in("fpm_disable_list", "010010002"),
              "without a second look against false positives in the image's database, so there is none to switch off");
    EXPECT_EQ(reason_in("scoring_override_disable_list", "010010002"),
              "without a score of its own in the image's database, so there is none to switch off");
    EXPECT_EQ(reason_in("fpm_disable_list", "990010001"), "no longer in the image's database");
}

/* An identifier that is out of date in one list goes from all lists of the predefined profiles in later files. */
TEST(SignatureReasons, AreNoneForAListThatNobodyKnows)
{
    EXPECT_EQ(SignatureReasons(database()).of_loss("odd_list", "1"), "");
}

/* That it has no such signature is not what it says. */
TEST(SignatureReasons, AreNoneOfADatabaseThatCannotAnswer)
{
    std::string cut = database().substr(0, 4096);
    for (const std::string &bytes : {std::string("no database, but long enough to be taken for one"), cut}) {
        EXPECT_EQ(SignatureReasons(bytes).of_loss("signature_disable_list", "990010001"), "");
        EXPECT_EQ(SignatureReasons(bytes).of_loss("fpm_disable_list", "990010001"), "");
    }
}

TEST(SignatureReasons, NameTheOtherListWhenTheDatabaseHasIt)
{
    for (const char *list : {"score_grade_list", "fpm_disable_list", "scoring_override_disable_list"})
        EXPECT_EQ(reason_in(list, "010010001"), "found out of date in another list of a predefined profile") << list;
}

TEST(SignatureReasons, AreThoseOfTheListsOutsideTheProfilesToo)
{
    AccountFile file =
        with_remarks({entry_of({"waf staged_signature_list", "990010001"}, "edit \"990010001\"\n", true)});
    EXPECT_EQ(file.entries[0].reason, "no longer in the image's database");
}

TEST(SignatureReasons, OfAFilterAreThoseOfItsSignature)
{
    Path        filter = {"waf signature", "shop", "filter_list", "2"};
    Path        set = {"waf signature", "shop", "filter_list", "2", "signature_id"};
    AccountFile file =
        with_remarks({entry_of(filter, "edit 2\n", true), entry_of(set, "set signature_id \"990010001\"\n", true)});
    for (const AccountEntry &entry : file.entries)
        EXPECT_EQ(entry.reason, "its signature 990010001 is no longer in the image's database");
}

TEST(SignatureReasons, OfWhatIsAddedAreThatItIsNew)
{
    AccountEntry entry = entry_of({"waf signature", "shop", "main_class_list", "010000000"}, "", true);
    entry.fate = LineFate::added;
    EXPECT_EQ(with_remarks({entry}).entries[0].reason, reason_of_new_class);
}

TEST(SignatureReasons, AreThereForWhatTheDatabaseDidAlone)
{
    Path path = {"waf signature", "shop", "signature_disable_list", "990010001"};
    EXPECT_EQ(with_remarks({entry_of(path, "edit \"990010001\"\n", false)}).entries[0].reason, "");
    EXPECT_EQ(reason_in("other_list", "990010001"), "");
}
