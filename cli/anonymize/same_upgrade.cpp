/* Lines have the same numbers in both, so what is told of one must be told of the other. Names and values are not
 * compared. */
#include "anonymize/same_upgrade.h"

#include "explain/accounting.h"

#include <algorithm>
#include <optional>

namespace command {

namespace {

/* What comes of one of the two. */
struct Side {
    Accounting  accounting;
    std::string refused; /* why there is nothing */
};

Side side_of(const SingleRequest &request, const Image &image, Interrupts &interrupts)
{
    try {
        return {account_for(request, image, Detail::lines, Texts::left, interrupts), ""};
    } catch (const Failure &failure) {
        interrupts.stop_here("The result is there; whether an upgrade does the same to it was not seen to the end.");
        return {{}, failure.what()};
    }
}

std::vector<Author> causes_of(const AccountEntry &entry, const Account &account)
{
    std::vector<Author> causes;
    for (uint32_t cause : entry.causes)
        causes.push_back(account.authors[cause]);
    return causes;
}

bool is_same(const AccountEntry &one, const Account &one_account, const AccountEntry &other,
             const Account &other_account)
{
    return one.fate == other.fate && one.in == other.in && one.out == other.out &&
           causes_of(one, one_account) == causes_of(other, other_account);
}

std::string line_text(const AccountEntry &entry)
{
    return entry.in.first > 0 ? "line " + std::to_string(entry.in.first) + " is " + word(entry.fate)
                              : "line " + std::to_string(entry.out.first) + " of the result is " + word(entry.fate);
}

/* The first difference says enough: whatever is behind it may come of it. */
void compare_files(const AccountFile &one, const Account &one_account, const AccountFile &other,
                   const Account &other_account, UpgradeComparison &comparison)
{
    comparison.lines += one.in.lines;
    size_t common = std::min(one.entries.size(), other.entries.size());
    for (size_t at = 0; at < common; at++)
        if (!is_same(one.entries[at], one_account, other.entries[at], other_account)) {
            comparison.differences.push_back(one.file + ": " + line_text(one.entries[at]) + "; in the other, " +
                                             line_text(other.entries[at]) + ", or for other causes.");
            return;
        }
    if (one.entries.size() != other.entries.size() || one.in.unread != other.in.unread)
        comparison.differences.push_back(one.file + ": the upgrades have not as many changes.");
}

const AccountFile *file_named(const Account &account, const std::string &name)
{
    auto found = std::find_if(account.files.begin(), account.files.end(),
                              [&](const AccountFile &file) { return file.file == name; });
    return found == account.files.end() ? nullptr : &*found;
}

std::string new_name_of(const std::string &name, const std::vector<RenamedFile> &renamed)
{
    auto found =
        std::find_if(renamed.begin(), renamed.end(), [&](const RenamedFile &file) { return file.old_name == name; });
    return found == renamed.end() ? name : found->new_name;
}

/* What the upgrade says of a file as a whole. */
void compare_outcomes(const StagedRun &one, const StagedRun &other, const std::vector<RenamedFile> &renamed,
                      UpgradeComparison &comparison)
{
    for (const FileOutcome &file : one.files) {
        std::string name = new_name_of(file.name, renamed);
        auto        found = std::find_if(other.files.begin(), other.files.end(),
                                         [&](const FileOutcome &there) { return there.name == name; });
        bool is_same = found != other.files.end() && found->result == file.result && found->before == file.before &&
                       found->reasons.size() == file.reasons.size() && found->warnings.size() == file.warnings.size();
        if (!is_same)
            comparison.differences.push_back(file.name + ": the upgrades end otherwise, or warn of something else.");
    }
}

} // namespace

UpgradeComparison compare_upgrades(const SingleRequest &old_one, const SingleRequest &new_one,
                                   const std::vector<RenamedFile> &renamed, const Image &image, Interrupts &interrupts)
{
    UpgradeComparison comparison;
    Side              one = side_of(old_one, image, interrupts), other = side_of(new_one, image, interrupts);
    if (one.refused.empty() != other.refused.empty())
        comparison.differences.push_back("One of them cannot be upgraded: " + one.refused + other.refused);
    const Account &old_account = one.accounting.account, &new_account = other.accounting.account;
    for (const AccountFile &file : old_account.files) {
        const AccountFile *there = file_named(new_account, new_name_of(file.file, renamed));
        if (there)
            compare_files(file, old_account, *there, new_account, comparison);
        else
            comparison.differences.push_back(file.file + ": only one of them comes to this file.");
    }
    compare_outcomes(one.accounting.run, other.accounting.run, renamed, comparison);
    return comparison;
}

} // namespace command
