/* Accounts of a few lines each, of what is easily told wrong. */
#include "page.h"

#include "whole/ledger/laid_out.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace accounts_test;

namespace {

std::string headers(const std::string &release)
{
    return "#config-version=QA-A1X-" + release +
           "-CV-build0601-170328:opmode=0:vdom=1\n#conf_file_ver=1\n"; /* lines 1 and 2 */
}

/* An upgrade of a global file. */
void expect_page(const std::string &release, const std::string &text, const std::string &page,
                 Extent extent = Extent::whole)
{
    support::ApplianceRoot root;
    ledger_test::lay_out_image(root);
    support::expect_in_root(root, [&] {
        HeldRun run = expect_balance({{"sys_global.conf.gz", headers(release) + text}});
        for (const std::string &difference : differences(run, page, extent))
            ADD_FAILURE() << difference;
        if (testing::Test::HasFailure())
            printf("%s", page_of(run).c_str());
    });
}

/* Each file's counts, and its losses by the names of their causes. */
std::string counts_of(const command::Account &account)
{
    std::ostringstream text;
    for (const command::AccountFile &file : account.files) {
        for (const command::LineCounts &counts : {file.in, file.out})
            text << file.file << ' ' << counts.lines << ' ' << counts.kept << ' ' << counts.moved << ' '
                 << counts.rewritten << ' ' << counts.dropped << ' ' << counts.added << ' ' << counts.layout << ' '
                 << counts.unread << '\n';
        text << file.unexplained << " unexplained\n";
        for (const command::Loss &loss : command::losses_of(file.entries)) {
            text << loss.lines << ' ' << command::word(loss.fate);
            for (uint32_t cause : loss.causes)
                text << ' ' << account.authors[cause].name;
            text << '\n';
        }
    }
    return text.str();
}

} // namespace

TEST(SmallAccounts, LossesAreTheSameWithoutEntriesOfOtherLines)
{
    std::vector<StoredText> files = files_of_sample("joinery-5.20");
    auto                    told = [&](command::Detail detail) {
        support::ApplianceRoot root;
        ledger_test::lay_out_image(root);
        auto work = [&] {
            command::Account account = upgrade_and_account(files, detail).account;
            bool             others = false;
            for (const command::AccountFile &file : account.files)
                for (const command::AccountEntry &entry : file.entries)
                    others = others || !command::is_lost(entry.fate);
            printf("%s", counts_of(account).c_str());
            return others ? 1 : 0;
        };
        support::ChildResult child = support::run_in_root(root.path(), work);
        EXPECT_EQ(child.exit_code, detail == command::Detail::losses ? 0 : 1);
        return child.out;
    };
    std::string all = told(command::Detail::lines);
    EXPECT_NE(all.find(" dropped "), std::string::npos) << all;
    EXPECT_EQ(told(command::Detail::losses), all);
}

TEST(SmallAccounts, AnEntryRightBelowAnotherIsLeftOutByTheWriter)
{
    expect_page("6.20", R"(config system snmp community
    edit 1
        edit 2
            set name public
        next
        set status enable
    next
end
)",
                R"(== sys_global.conf.gz
3-4 kept 3-4
5-6 dropped: 6.21 write
8 kept 5
)");
}

TEST(SmallAccounts, WhatStandsOutsideOfBlocksIsLeftOut)
{
    std::string outside = "set name public\nedit 1\n    set name public\nnext\n";
    expect_page("6.20", outside, "== sys_global.conf.gz\n3-5 dropped: 6.21 write\n");
    expect_page("5.00", outside, "== sys_global.conf.gz\n3-5 dropped: 5.10 split update_to_vdom\n");
}

TEST(SmallAccounts, AWordTooMuchIsTheReaders)
{
    expect_page("6.20", R"(config system snmp community
    config hosts list
    end
end
)",
                R"(== sys_global.conf.gz
3 kept 3
4 rewritten 4: 6.20 read
)");
}

/* The logs become two blocks that share what hangs below the old one, and go to different files. */
TEST(SmallAccounts, ANodeOfBothHalvesIsFoundInBoth)
{
    expect_page("4.10", R"(config log disk filter
    set traffic enable
    set attack enable
    config more
        set mask all
    end
end
)",
                R"(== sys_global.conf.gz
3-4 rewritten 5-6: 4.11 step migr_log_process
5 rewritten sys_domain.root.conf.gz 70: 4.11 step migr_log_process, 5.10 split update_to_vdom
6-7 kept 7-8
== sys_domain.root.conf.gz
added 69 from 3: 4.11 step migr_log_process
added 72-73 from 6-7: 4.11 step migr_log_process
)",
                Extent::part);
}

/* The value gets a word behind its quote, so the next reader takes the lines behind it for the value's. */
TEST(SmallAccounts, WhatTheNextReaderSwallowsIsDroppedByIt)
{
    expect_page("4.35", R"(config system snmp community
    edit 1
        set events "waf-xss-attack"
    next
    edit 2
        set name private
    next
end
)",
                R"(== sys_global.conf.gz
3-4 kept 5-6
5 rewritten 7-13: 4.40 step migr_snmp_events, 6.02 stage _update_snmp_and_ha
7-8 dropped: 5.10 read
)",
                Extent::part);
}

/* All that the global half of the split has are certificates, which every domain takes over that has a place for them.
 */
TEST(SmallAccounts, AFileThatEndsUpEmptyHasNoLines)
{
    expect_page("5.00", R"(config system certificate ca
    edit "our own"
    next
end
)",
                R"(== sys_global.conf.gz
3-4 dropped: 5.20 step migr_move_certi_config_to_adom
)",
                Extent::part);
}
