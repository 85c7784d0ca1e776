/* Numbers in it are all different, so that one that is taken for another shows. */
#include "unit/cli/report/made_up_account.h"

#include "driver/run_context.h"

namespace support {

using namespace command;

namespace {

AccountEntry entry_of(LineFate fate, std::vector<std::string> path, std::vector<uint32_t> causes, const Span &in,
                      const Span &out)
{
    AccountEntry entry;
    entry.fate = fate;
    entry.path = std::move(path);
    entry.causes = std::move(causes);
    entry.in = in;
    entry.out = out;
    return entry;
}

std::vector<AccountEntry> entries_of_shop()
{
    AccountEntry kept = entry_of(LineFate::kept, {"lab desk"}, {}, {3, 3, 19}, {4, 4, 21});
    AccountEntry moved = entry_of(LineFate::moved, {"lab desk", "tint"}, {by_logging}, {4, 4, 0}, {7, 7, 0});
    moved.before = moved.after = "set tint green\n";
    moved.out_file = "sys_global.conf.gz";
    AccountEntry rewritten =
        entry_of(LineFate::rewritten, {"lab desk", "passwd"}, {by_stage, by_protection}, {5, 6, 0}, {8, 9, 0});
    rewritten.before = "set passwd \"open\nsesame\"\n";
    rewritten.after = "set passwd \"shut\nsesame\"\n";
    rewritten.hand = Hand::person;
    AccountEntry dropped = entry_of(LineFate::dropped, {"lab desk", "height"}, {by_logging}, {10, 10, 0}, {});
    dropped.before = "set height 70\n";
    dropped.hand = Hand::firmware;
    AccountEntry text = entry_of(LineFate::dropped, {"lab desk", "note"}, {by_logging}, {11, 13, 0}, {});
    text.before = "set note \"a\n  b\nc\"\n";
    text.hand = Hand::person;
    return {kept, moved, rewritten, dropped, text};
}

std::vector<AccountEntry> entries_of_global()
{
    AccountEntry dropped = entry_of(LineFate::dropped, {"lab lamp"}, {by_writer}, {14, 14, 15}, {});
    dropped.before = "config lab lamp\n";
    AccountEntry added = entry_of(LineFate::added, {"lab lamp", "key"}, {by_protection}, {}, {16, 18, 0});
    added.after = "set bulb \"x\ny\nz\"\n";
    added.copied_from = {22, 23, 0};
    added.from_file = "/data/etc/bulb";
    AccountEntry gone = entry_of(LineFate::dropped, {"waf signature", "shop", "filter_list", "010000001"},
                                 {by_signatures}, {24, 24, 26}, {});
    gone.before = "edit 010000001\n";
    gone.reason = "no longer there";
    AccountEntry inside = gone;
    inside.in = {25, 25, 0};
    inside.path.emplace_back("status");
    inside.before = "set status enable\n";
    AccountEntry fresh = entry_of(LineFate::added, {"waf signature", "shop", "main_class_list", "020000000"},
                                  {by_signatures}, {}, {28, 28, 29});
    fresh.after = "edit 020000000\n";
    fresh.reason = "new there";
    return {dropped, added, gone, inside, fresh};
}

AccountFile file_of(const char *name, int32_t before, const LineCounts &in, const LineCounts &out,
                    std::vector<AccountEntry> entries)
{
    AccountFile file;
    file.file = name;
    file.before = before;
    file.after = MIGR_RELEASE(6, 21);
    file.in = in;
    file.out = out;
    file.entries = std::move(entries);
    file.losses = losses_of(file.entries);
    return file;
}

} // namespace

Account made_up_account()
{
    Account account;
    account.authors = {{MIGR_RELEASE(5, 91), "stage", "_made_up", 0},
                       {MIGR_RELEASE(6, 0), "modify", "<lab>,<desk>", 3},
                       {MIGR_RELEASE(6, 0), "delete", "<lab>,<lamp>", 6},
                       {MIGR_RELEASE(6, 21), "write", "", 0},
                       {MIGR_RELEASE(6, 21), "signatures", "migr_hardcode", 0}};
    account.files.push_back(file_of("sys_domain.shop.conf.gz", MIGR_RELEASE(5, 50), {41, 42, 43, 44, 45, 0, 46, 0},
                                    {51, 52, 53, 54, 0, 55, 56, 0}, entries_of_shop()));
    account.files.push_back(file_of("sys_global.conf.gz", -1, {61, 62, 63, 64, 65, 0, 66, 0},
                                    {71, 72, 73, 74, 0, 75, 76, 0}, entries_of_global()));
    account.effects = {{"moved", "/data/new", "/data/old", by_stage}, {"removed", "/data/gone", "", by_protection}};
    return account;
}

} // namespace support
