/* Accounts as they are kept: what comes back, and what is taken for no account. */
#include "report/stored_account.h"

#include "driver/run_context.h"
#include "support/json_value.h"
#include "system/failure.h"
#include "system/gzip_text.h"
#include "unit/cli/report/made_up_account.h"

#include <gtest/gtest.h>

#include <functional>

using namespace command;

namespace {

using support::JsonValue;

JsonValue stored_json()
{
    return JsonValue::parse(gunzip(stored_account(support::made_up_account())).value());
}

/* The message of its failure; none when it is an account. */
std::string fault_of(const std::string &bytes)
{
    try {
        account_from(bytes);
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status, Status::unusable);
        return failure.what();
    }
    return "";
}

std::string fault_with(const std::function<void(JsonValue &)> &change)
{
    JsonValue value = stored_json();
    change(value);
    return fault_of(gzip(value.dump()));
}

constexpr char damaged[] = "The account that was kept is damaged, or of a later migr.";

} // namespace

TEST(StoredAccount, ComesBackWithoutWhatWasKept)
{
    Account before = support::made_up_account();
    before.files[0].unexplained = 91;
    before.is_incomplete = true;
    Account after = account_from(stored_account(before));
    before.files[0].entries.erase(before.files[0].entries.begin());

    EXPECT_EQ(after.authors, before.authors);
    EXPECT_TRUE(after.is_incomplete);
    ASSERT_EQ(after.files.size(), 2u);
    for (size_t at = 0; at < after.files.size(); at++) {
        const AccountFile &one = before.files[at], &other = after.files[at];
        EXPECT_EQ(other.file, one.file);
        EXPECT_EQ(other.before, one.before);
        EXPECT_EQ(other.after, one.after);
        EXPECT_EQ(other.unexplained, one.unexplained);
        auto counts = [](const LineCounts &all) {
            return std::vector<uint64_t>{all.lines,   all.kept,  all.moved,  all.rewritten,
                                         all.dropped, all.added, all.layout, all.unread};
        };
        EXPECT_EQ(counts(other.in), counts(one.in));
        EXPECT_EQ(counts(other.out), counts(one.out));
        EXPECT_EQ(other.losses.size(), losses_of(one.entries).size());
        ASSERT_EQ(other.entries.size(), one.entries.size());
        for (size_t entry = 0; entry < one.entries.size(); entry++) {
            const AccountEntry &was = one.entries[entry], &is = other.entries[entry];
            EXPECT_EQ(is.fate, was.fate);
            EXPECT_EQ(is.in, was.in);
            EXPECT_EQ(is.out, was.out);
            EXPECT_EQ(is.out_file, was.out_file);
            EXPECT_EQ(is.path, was.path);
            EXPECT_EQ(is.causes, was.causes);
            EXPECT_EQ(is.before, was.before);
            EXPECT_EQ(is.after, was.after);
            EXPECT_EQ(is.copied_from, was.copied_from);
            EXPECT_EQ(is.from_file, was.from_file);
            EXPECT_EQ(is.reason, was.reason);
            EXPECT_EQ(is.hand, was.hand);
        }
    }
    ASSERT_EQ(after.effects.size(), before.effects.size());
    for (size_t at = 0; at < after.effects.size(); at++) {
        EXPECT_EQ(after.effects[at].what, before.effects[at].what);
        EXPECT_EQ(after.effects[at].path, before.effects[at].path);
        EXPECT_EQ(after.effects[at].before, before.effects[at].before);
        EXPECT_EQ(after.effects[at].author, before.effects[at].author);
    }
    EXPECT_FALSE(account_from(stored_account({})).is_incomplete);
}

/* It lies on disks of appliances until a later version reads it. */
TEST(StoredAccount, HasThatForm)
{
    JsonValue value = stored_json();
    EXPECT_EQ(value["form"], 1);
    EXPECT_EQ(value["authors"][1], JsonValue({MIGR_RELEASE(6, 0), "modify", "<lab>,<desk>", 3}));
    EXPECT_EQ(value["effects"][0], JsonValue({"moved", "/data/new", "/data/old", 0}));
    EXPECT_EQ(value["incomplete"], false);
    EXPECT_EQ(value["files"][0]["in"], JsonValue({41, 42, 43, 44, 45, 0, 46, 0}));
    EXPECT_EQ(value["files"][0]["entries"][1], JsonValue({{"fate", 2},
                                                          {"in", {5, 6, 0}},
                                                          {"out", {8, 9, 0}},
                                                          {"out_file", ""},
                                                          {"path", {"lab desk", "passwd"}},
                                                          {"causes", {0, 1}},
                                                          {"before", "set passwd \"open\nsesame\"\n"},
                                                          {"after", "set passwd \"shut\nsesame\"\n"},
                                                          {"copied_from", {0, 0, 0}},
                                                          {"from_file", ""},
                                                          {"reason", ""},
                                                          {"hand", 2}}));
}

TEST(StoredAccount, BearsBytesThatAreNoText)
{
    Account account = support::made_up_account();
    account.files[0].entries[1].before = "set tint \xff\n";
    Account after = account_from(stored_account(account));
    EXPECT_EQ(after.files[0].entries[0].before, "set tint \xef\xbf\xbd\n");
}

TEST(StoredAccount, IsNothingElse)
{
    EXPECT_EQ(fault_with([](JsonValue &) {}), "");
    EXPECT_EQ(fault_of(""), damaged);
    EXPECT_EQ(fault_of("{}"), damaged);
    EXPECT_EQ(fault_of(gzip("{")), damaged);
    EXPECT_EQ(fault_of(gzip("{}")), damaged);
    EXPECT_EQ(fault_with([](JsonValue &value) { value["form"] = 2; }), damaged);
}

TEST(StoredAccount, HasNothingOutOfItsBounds)
{
    auto with_entry = [](const char *name, const JsonValue &other) {
        return fault_with([&](JsonValue &value) { value["files"][0]["entries"][0][name] = other; });
    };
    EXPECT_EQ(with_entry("fate", 4), "");
    EXPECT_EQ(with_entry("fate", 0), "");
    EXPECT_EQ(with_entry("fate", 5), damaged);
    EXPECT_EQ(with_entry("fate", -1), damaged);
    EXPECT_EQ(with_entry("fate", 2.0), damaged);
    EXPECT_EQ(with_entry("hand", 2), "");
    EXPECT_EQ(with_entry("hand", 0), "");
    EXPECT_EQ(with_entry("hand", 3), damaged);
    EXPECT_EQ(with_entry("hand", -1), damaged);
    EXPECT_EQ(with_entry("causes", {0, 4}), "");
    EXPECT_EQ(with_entry("causes", {0, 5}), damaged);
    EXPECT_EQ(with_entry("in", {1, 2}), damaged);
    EXPECT_EQ(fault_with([](JsonValue &value) { value["effects"][0][3] = 4; }), "");
    EXPECT_EQ(fault_with([](JsonValue &value) { value["effects"][0][3] = 5; }), damaged);
    EXPECT_EQ(fault_with([](JsonValue &value) { value["files"][1].erase("unexplained"); }), damaged);
}
