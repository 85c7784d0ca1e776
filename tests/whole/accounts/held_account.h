/* An upgrade of a few configuration files with its account, which is held against their texts. What the account must
 * say of a certain line is for the tests to know. */
#pragma once

#include "explain/account.h"
#include "support/appliance_root.h"

#include <string>
#include <vector>

namespace accounts_test {

struct StoredText {
    std::string name; /* in /data/config */
    std::string text;
};

struct HeldRun {
    command::Account        account;
    std::vector<StoredText> before, after; /* of the files that came through, by their places in the account */
};

/* In a root folder that has the image's files: puts the files in the place of those that are there, upgrades them, and
 * takes the account. Files that did not come through are not in it. */
HeldRun upgrade_and_account(const std::vector<StoredText> &files, command::Detail detail = command::Detail::lines);

/*
 * What is wrong with an account, one line for each fault: the sums; that each line of the texts stands in one entry and
 * no other, or is layout or unread; that what is kept or moved has the same text on both sides, but for indentation;
 * and that what is not kept has a cause.
 */
std::vector<std::string> faults_of(const HeldRun &run);

/* Both, for tests: each fault is a failure. */
HeldRun expect_balance(const std::vector<StoredText> &files);

/* The same in a child that sees `root` as its root folder, with the number of files that came through. */
void expect_balance_in(const support::ApplianceRoot &root, const std::vector<StoredText> &files, size_t *accounted);

/* The configuration files of a sample, as they are stored. */
std::vector<StoredText> files_of_sample(const std::string &sample);

} // namespace accounts_test
