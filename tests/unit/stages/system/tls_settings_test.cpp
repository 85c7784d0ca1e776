/* Lists of cipher suites as such: which go, which stay, and what becomes of blanks and of long lists. */
#include "stages/system/tls_settings.h"

#include "support/failing_memory.h"
#include "tree/operations.h"
#include "unit/stages/passes.h"
#include "walk/cursors.h"

#include <cstdlib>

namespace {

const std::string old_default = "DHE-RSA-SEED-SHA DHE-DSS-SEED-SHA SEED-SHA ECDHE-RSA-RC4-SHA ECDHE-ECDSA-RC4-SHA "
                                "ECDH-RSA-RC4-SHA ECDH-ECDSA-RC4-SHA RC4-SHA RC4-MD5";
const std::string new_default =
    "ECDHE-ECDSA-AES256-GCM-SHA384 ECDHE-RSA-AES256-GCM-SHA384 ECDHE-ECDSA-CHACHA20-POLY1305 "
    "ECDHE-RSA-CHACHA20-POLY1305 ECDHE-ECDSA-AES128-GCM-SHA256 ECDHE-RSA-AES128-GCM-SHA256 ECDHE-ECDSA-AES256-SHA384 "
    "ECDHE-RSA-AES256-SHA384 ECDHE-ECDSA-AES128-SHA256 ECDHE-RSA-AES128-SHA256 ECDHE-ECDSA-AES256-SHA "
    "ECDHE-RSA-AES256-SHA ECDHE-ECDSA-AES128-SHA ECDHE-RSA-AES128-SHA AES256-GCM-SHA384 AES128-GCM-SHA256 "
    "AES256-SHA256 AES128-SHA256";

/* All that 5.83 no longer has. */
const char *const weak[] = {"RC4-SHA",
                            "RC4-MD5",
                            "DES-CBC3-SHA",
                            "ECDH-RSA-RC4-SHA",
                            "ECDHE-RSA-RC4-SHA",
                            "ECDH-ECDSA-RC4-SHA",
                            "ECDHE-ECDSA-RC4-SHA",
                            "ECDH-RSA-AES256-SHA",
                            "ECDH-RSA-AES128-SHA",
                            "EDH-RSA-DES-CBC3-SHA",
                            "EDH-DSS-DES-CBC3-SHA",
                            "ECDH-ECDSA-AES256-SHA",
                            "ECDH-RSA-DES-CBC3-SHA",
                            "ECDH-ECDSA-AES128-SHA",
                            "ECDH-RSA-AES256-SHA384",
                            "ECDHE-RSA-DES-CBC3-SHA",
                            "ECDH-RSA-AES128-SHA256",
                            "ECDH-ECDSA-DES-CBC3-SHA",
                            "ECDH-ECDSA-AES128-SHA256",
                            "ECDH-ECDSA-AES256-SHA384",
                            "ECDHE-ECDSA-DES-CBC3-SHA",
                            "ECDH-RSA-AES256-GCM-SHA384",
                            "ECDH-RSA-AES128-GCM-SHA256",
                            "ECDH-ECDSA-AES256-GCM-SHA384",
                            "ECDH-ECDSA-AES128-GCM-SHA256"};

std::string text_of(char *owned)
{
    std::string text = owned ? owned : "(null)";
    free(owned);
    return text;
}

std::string strong_of(const std::string &list)
{
    return text_of(get_ssl_custom_cipher_value(list.c_str()));
}

std::string without_seed(const std::string &list)
{
    return text_of(get_ssl_custom_cipher_value_585(list.c_str()));
}

std::string policy(const std::string &sets)
{
    return "config server-policy policy\n    edit a\n" + sets + "    next\nend\n";
}

} // namespace

TEST(CipherList, WithoutAListThereIsNone)
{
    EXPECT_EQ(nullptr, get_ssl_custom_cipher_value(nullptr));
    EXPECT_EQ(nullptr, get_ssl_custom_cipher_value(""));
    EXPECT_EQ(nullptr, get_ssl_custom_cipher_value_585(nullptr));
    EXPECT_EQ(nullptr, get_ssl_custom_cipher_value_585(""));
}

TEST(CipherList, DefaultBecomesTheNewDefault)
{
    ASSERT_EQ(132u, old_default.size());
    ASSERT_EQ(425u, new_default.size());
    EXPECT_EQ(new_default, strong_of(old_default));
    EXPECT_EQ("DHE-RSA-SEED-SHA DHE-DSS-SEED-SHA SEED-SHA ", strong_of(old_default + " "));
    EXPECT_EQ("DHE-RSA-SEED-SHA DHE-DSS-SEED-SHA SEED-SHA ", strong_of(" " + old_default));
    EXPECT_EQ("\"DHE-RSA-SEED-SHA DHE-DSS-SEED-SHA SEED-SHA ", strong_of("\"" + old_default + "\""));
    EXPECT_EQ(new_default, strong_of(new_default));
}

TEST(CipherList, EachWeakSuiteGoes)
{
    for (const std::string name : weak) {
        EXPECT_EQ("A B", strong_of("A " + name + " B"));
        EXPECT_EQ("", strong_of(name));
        EXPECT_EQ("B", strong_of(name + " B"));
        EXPECT_EQ("A ", strong_of("A " + name));
        bool by_prefix = name.starts_with("RC4");
        EXPECT_EQ(by_prefix ? "A B" : "A " + name + "X B", strong_of("A " + name + "X B"));
        EXPECT_EQ("A X" + name + " B", strong_of("A X" + name + " B"));
        EXPECT_EQ("\"" + name + "\"", strong_of("\"" + name + "\""));
        for (size_t length = 1; length < name.size() && !by_prefix; length++)
            EXPECT_EQ("B", strong_of(name.substr(0, length) + " B"));
    }
    EXPECT_EQ("RC4-SH B", strong_of("RC4-SH B"));
}

TEST(CipherList, StrongSuitesStay)
{
    for (const char *list : {"AES128-SHA", "ECDHE-RSA-AES128-SHA", "AES256-SHA AES128-SHA", "ecdh", "ECDH-"})
        EXPECT_EQ(std::string(list) == "ECDH-" ? "" : list, strong_of(list));
}

TEST(CipherList, BlanksCollapseButForTheOneAtTheEnd)
{
    EXPECT_EQ("A B ", strong_of("  A   B  "));
    EXPECT_EQ("", strong_of("   "));
    EXPECT_EQ("A\tRC4-SHA", strong_of("A\tRC4-SHA"));
}

TEST(CipherList, SeedSuitesGoByPrefix)
{
    EXPECT_EQ("DHE-RSA-SEED-SHA", without_seed("SEED-SHA DHE-RSA-SEED-SHA"));
    EXPECT_EQ("A ", without_seed("A DHE-DSS-SEED-SHA"));
    EXPECT_EQ("A B", without_seed("A SEED-SHA256 B"));
    EXPECT_EQ("", without_seed("SEED-SHA"));
    EXPECT_EQ("  A   B  ", without_seed("  A   B  "));
    EXPECT_EQ("SEED SEED-SH DHE-DSS-SEED", without_seed("SEED SEED-SH DHE-DSS-SEED"));
    EXPECT_EQ("RC4-SHA", without_seed("RC4-SHA"));
    EXPECT_EQ(
        "DHE-RSA-SEED-SHA ECDHE-RSA-RC4-SHA ECDHE-ECDSA-RC4-SHA ECDH-RSA-RC4-SHA ECDH-ECDSA-RC4-SHA RC4-SHA RC4-MD5",
        without_seed(old_default));
}

TEST(CipherList, LongLists)
{
    std::string list = support::times(100000, "AES128-SHA RC4-MD5 ");
    EXPECT_EQ(support::times(100000, "AES128-SHA "), strong_of(list));
    EXPECT_EQ(list, without_seed(list));
}

/* What is stored has at most 4095 characters. */
TEST(CipherList, StoredListsAreCut)
{
    std::string list = support::times(1000, "AES128-SHA ") + "X";
    std::string after = after_row(policy("set ssl-custom-cipher " + list + "\n"), "_remove_policy_ssl3");
    EXPECT_EQ(policy("        set ssl-custom-cipher " + list.substr(0, 4095) + "\n"), after);
}

/* The one list that 5.83 empties goes in 5.85. */
TEST(CipherList, AnEmptiedListGoesLater)
{
    std::string before = policy("set ssl-custom-cipher RC4-SHA RC4-MD5\n");
    EXPECT_EQ(policy(""), after_pass(before, [] {
                  run_row("_remove_policy_ssl3");
                  EXPECT_STREQ("", migr_main.root.top_list->edit_list->set_list->value);
                  run_row("_change_policy_ssl_cipher");
              }));
}

TEST(CipherList, WithoutAValue)
{
    EXPECT_EQ(policy(""), after_pass(policy("set ssl-custom-cipher x\n"), [] {
                  config_node *set = migr_main.root.top_list->edit_list->set_list;
                  free(set->value);
                  set->value = nullptr;
                  run_row("_remove_policy_ssl3");
                  EXPECT_EQ(set, migr_main.root.top_list->edit_list->set_list);
                  EXPECT_EQ(nullptr, set->value);
                  run_row("_change_policy_ssl_cipher");
              }));
}

/* Without memory 5.83 leaves a list as it is, and 5.85 takes it away. */
TEST(CipherList, WithoutMemory)
{
    std::string before = policy("        set ssl-custom-cipher SEED-SHA RC4-SHA A\n");
    auto        failing_at = [&](size_t number, const std::string &callback) {
        return after_pass(before, [&] {
            support::fail_allocation(number);
            run_row(callback);
            support::fail_allocation(0);
        });
    };
    for (size_t number : {1, 2}) /* the list, its copy in the set */
        EXPECT_EQ(before, failing_at(number, "_remove_policy_ssl3"));
    EXPECT_EQ(policy("        set ssl-custom-cipher SEED-SHA A\n"), failing_at(3, "_remove_policy_ssl3"));
    EXPECT_EQ(policy(""), failing_at(1, "_change_policy_ssl_cipher"));
    EXPECT_EQ(before, failing_at(2, "_change_policy_ssl_cipher"));

    support::fail_allocation(1);
    EXPECT_EQ(nullptr, get_ssl_custom_cipher_value(old_default.c_str()));
    support::fail_allocation(0);
}

TEST(AdjustPolicySsl, SentinelsStay)
{
    for (config_node *sentinel : {&EMPTY_NODE, &EOB_NODE}) {
        _adjust_policy_ssl(sentinel);
        EXPECT_EQ(nullptr, sentinel->value);
    }
}
