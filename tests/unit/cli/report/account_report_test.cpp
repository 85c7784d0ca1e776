/* What is said of an account, word by word, and what of it is left out. Where accounts come from is no matter here. */
#include "report/account_report.h"

#include "output/console.h"
#include "support/json_value.h"
#include "unit/cli/report/made_up_account.h"

#include <gtest/gtest.h>

#include <functional>

using namespace command;
using support::made_up_account;

namespace {

using support::JsonValue;

std::string said_by(const std::function<void()> &work)
{
    keep_lines(true);
    work();
    std::string text;
    for (const std::string &line : kept_lines())
        text += line + "\n";
    keep_lines(false);
    return text;
}

Causes causes()
{
    return Causes(support::made_up_update_file);
}

std::string entries_shown(const AccountView &view)
{
    return said_by([&] { show_entries(made_up_account(), causes(), view); });
}

AccountView everything()
{
    AccountView view;
    view.added = view.moved = view.kept = true;
    return view;
}

/* Of these fates alone. */
AccountView view_of(std::initializer_list<bool AccountView::*> fates)
{
    AccountView view;
    view.dropped = view.rewritten = view.new_classes = false;
    for (bool AccountView::*fate : fates)
        view.*fate = true;
    return view;
}

/* "0.1": the second entry of the first file. */
std::string places_of(const AccountView &view)
{
    JsonValue   shown = JsonValue::parse(Json(to_json(made_up_account(), causes(), view)).text());
    Account     account = made_up_account();
    std::string places;
    for (size_t file = 0; file < account.files.size(); file++)
        for (const JsonValue &entry : shown["files"][file]["entries"]) {
            const std::vector<AccountEntry> &all = account.files[file].entries;
            auto                             is_it = [&](const AccountEntry &one) {
                return word(one.fate) == entry["fate"] && JsonValue(one.path) == entry["path"];
            };
            places += (places.empty() ? "" : " ") + std::to_string(file) + "." +
                      std::to_string(std::find_if(all.begin(), all.end(), is_it) - all.begin());
        }
    return places;
}

Account account_with(uint64_t dropped, uint64_t rewritten, std::vector<Loss> losses)
{
    Account account = made_up_account();
    account.files.resize(1);
    account.files[0].in.dropped = dropped;
    account.files[0].in.rewritten = rewritten;
    account.files[0].losses = std::move(losses);
    return account;
}

std::string summary(const Account &account)
{
    return summary_of(account, causes());
}

std::string secretless(const char *config, const std::string &text)
{
    AccountEntry entry;
    entry.path = {config};
    return without_secret(entry, text);
}

} // namespace

TEST(AccountEntries, AreToldByCauseWithTheMostSeriousFirst)
{
    AccountView view;
    EXPECT_EQ(
        entries_shown(view),
        "\n"
        "2 lines rewritten\n"
        "  by 5.91 stage _made_up (housekeeping)\n"
        "  by 6.00 modify line 3 of the update file, <lab>,<desk> (protection): Nobody may do that.\n"
        "    sys_domain.shop.conf.gz:5-6  lab desk / passwd, set by hand\n"
        "      - set passwd (hidden)\n"
        "      + set passwd (hidden)\n"
        "\n"
        "4 lines dropped\n"
        "  by 6.00 delete line 6 of the update file, <lab>,<lamp> (logging): It is logged elsewhere.\n"
        "    sys_domain.shop.conf.gz:10  lab desk / height, as the firmware had it\n"
        "      - set height 70\n"
        "    sys_domain.shop.conf.gz:11-13  lab desk / note, set by hand\n"
        "      - set note \"a\n"
        "      - b\n"
        "      - c\"\n"
        "\n"
        "1 line dropped\n"
        "  by 6.21 write (housekeeping): This is how the new file is written.\n"
        "    sys_global.conf.gz:14  lab lamp\n"
        "      - config lab lamp\n"
        "\n"
        "The signature lists beside the image's signature database. What it does not have cannot be kept: the new "
        "release would not load it.\n"
        "  sys_global.conf.gz  waf signature / shop / filter_list\n"
        "    - 010000001, line 24: no longer there\n"
        "  sys_global.conf.gz  waf signature / shop / main_class_list\n"
        "    + 020000000, line 28 of the result: new there\n");
}

TEST(AccountEntries, ThatWereAddedOrMovedSayFromWhere)
{
    std::string shown = entries_shown(view_of({&AccountView::added, &AccountView::moved}));
    EXPECT_EQ(shown.substr(0, shown.find("\nThe signature lists")),
              "\n"
              "3 lines added\n"
              "  by 6.00 modify line 3 of the update file, <lab>,<desk> (protection): Nobody may do that.\n"
              "    sys_global.conf.gz:16-18  lab lamp / key, copied from line 22-23, from /data/etc/bulb\n"
              "      + set bulb \"x\n"
              "      + y\n"
              "      + z\"\n"
              "\n"
              "1 line moved\n"
              "  by 6.00 delete line 6 of the update file, <lab>,<lamp> (logging): It is logged elsewhere.\n"
              "    sys_domain.shop.conf.gz:4  lab desk / tint, now in sys_global.conf.gz\n"
              "      - set tint green\n"
              "      + set tint green\n");
}

TEST(AccountEntries, HaveTheirSecretsForWhoeverAsks)
{
    AccountView view = view_of({&AccountView::rewritten});
    view.show_secrets = true;
    std::string shown = entries_shown(view);
    EXPECT_EQ(shown.substr(shown.find("      -")), "      - set passwd \"open\n"
                                                   "      - sesame\"\n"
                                                   "      + set passwd \"shut\n"
                                                   "      + sesame\"\n");
}

/* Of what has the same causes, that which is gone comes first. */
TEST(AccountEntries, OfOneKindBeginWithWhatIsGone)
{
    AccountView view = everything();
    view.causes.by = "<lab>,<lamp>";
    std::string shown = entries_shown(view);
    EXPECT_LT(shown.find("4 lines dropped"), shown.find("1 line moved")) << shown;
    EXPECT_NE(shown.find("1 line moved"), shown.npos) << shown;
}

TEST(AccountEntries, AreShownByTheirFates)
{
    EXPECT_EQ(places_of(everything()), "0.0 0.1 0.2 0.3 0.4 1.0 1.1 1.2 1.3 1.4");
    EXPECT_EQ(places_of(view_of({})), "");
    EXPECT_EQ(places_of(view_of({&AccountView::kept})), "0.0");
    EXPECT_EQ(places_of(view_of({&AccountView::moved})), "0.1");
    EXPECT_EQ(places_of(view_of({&AccountView::rewritten})), "0.2");
    EXPECT_EQ(places_of(view_of({&AccountView::dropped})), "0.3 0.4 1.0 1.2 1.3");
    EXPECT_EQ(places_of(view_of({&AccountView::added})), "1.1 1.4");
    EXPECT_EQ(places_of(view_of({&AccountView::new_classes})), "1.4");
}

TEST(AccountEntries, AreShownByWhereTheyStandAndByTheirCauses)
{
    AccountView view = everything();
    view.path = "lab desk / *t*";
    EXPECT_EQ(places_of(view), "0.1 0.3 0.4");
    view = everything();
    view.causes.kind = "protection";
    EXPECT_EQ(places_of(view), "0.2 1.1");
    view.causes.kind.clear();
    view.causes.release = "5.91";
    EXPECT_EQ(places_of(view), "0.2") << "one of the causes is enough, and what was kept has none";
}

TEST(AccountForPrograms, HasAllOfAnEntry)
{
    JsonValue  shown = JsonValue::parse(Json(to_json(made_up_account(), causes(), everything())).text());
    JsonValue &entries = shown["files"][0]["entries"];
    JsonValue  cause = {
         {"release", "6.00"}, {"mechanism", "modify"}, {"name", "<lab>,<desk>"}, {"line", 3}, {"kind", "protection"}};
    EXPECT_EQ(entries[2], JsonValue({{"fate", "rewritten"},
                                     {"in", {5, 6}},
                                     {"in_end", nullptr},
                                     {"out", {8, 9}},
                                     {"out_end", nullptr},
                                     {"out_file", nullptr},
                                     {"path", {"lab desk", "passwd"}},
                                     {"causes",
                                      {{{"release", "5.91"},
                                        {"mechanism", "stage"},
                                        {"name", "_made_up"},
                                        {"line", nullptr},
                                        {"kind", "housekeeping"}},
                                       cause}},
                                     {"before", "set passwd (hidden)\n"},
                                     {"after", "set passwd (hidden)\n"},
                                     {"copied_from", nullptr},
                                     {"from_file", nullptr},
                                     {"reason", nullptr},
                                     {"by_hand", true}}));
    EXPECT_EQ(entries[0]["in_end"], 19);
    EXPECT_EQ(entries[0]["out_end"], 21);
    EXPECT_EQ(entries[0]["before"], nullptr);
    EXPECT_EQ(entries[1]["out_file"], "sys_global.conf.gz");
    EXPECT_EQ(entries[1]["by_hand"], nullptr);
    EXPECT_EQ(entries[3]["by_hand"], false);
    JsonValue &global = shown["files"][1]["entries"];
    EXPECT_EQ(global[1]["in"], nullptr);
    EXPECT_EQ(global[1]["copied_from"], JsonValue({22, 23}));
    EXPECT_EQ(global[1]["from_file"], "/data/etc/bulb");
    EXPECT_EQ(global[2]["reason"], "no longer there");
    AccountView open = everything();
    open.show_secrets = true;
    shown = JsonValue::parse(Json(to_json(made_up_account(), causes(), open)).text());
    EXPECT_EQ(shown["files"][0]["entries"][2]["after"], "set passwd \"shut\nsesame\"\n");
}

TEST(AccountForPrograms, HasTheNumbersOfLinesAndWhatWasDoneToFiles)
{
    Account account = made_up_account();
    account.files[1].unexplained = 81;
    account.is_incomplete = true;
    JsonValue shown = JsonValue::parse(Json(to_json(account, causes(), view_of({}))).text());
    JsonValue global = {
        {"file", "sys_global.conf.gz"},
        {"before", nullptr},
        {"after", "6.21"},
        {"in",
         {{"lines", 61},
          {"kept", 62},
          {"moved", 63},
          {"rewritten", 64},
          {"dropped", 65},
          {"layout", 66},
          {"unread", 0}}},
        {"out", {{"lines", 71}, {"kept", 72}, {"moved", 73}, {"rewritten", 74}, {"added", 75}, {"layout", 76}}},
        {"unexplained", 81}};
    EXPECT_EQ(JsonValue::parse(Json(counts_json(account)).text())[1], global);
    global.set("entries", JsonValue::array());
    EXPECT_EQ(shown["files"][1], global);
    EXPECT_EQ(shown["files"][0]["before"], "5.50");
    EXPECT_EQ(shown["incomplete"], true);
    JsonValue moved = {
        {"path", "/data/new"}, {"what", "moved"}, {"before", "/data/old"}, {"release", "5.91"}, {"name", "_made_up"}};
    JsonValue removed = {{"path", "/data/gone"},
                         {"what", "removed"},
                         {"before", nullptr},
                         {"release", "6.00"},
                         {"name", "<lab>,<desk>"}};
    EXPECT_EQ(shown["effects"], JsonValue({moved, removed}));
}

TEST(AccountTables, HaveARowForEachFile)
{
    EXPECT_EQ(said_by([] { show_counts(made_up_account()); }),
              "FILE                     BEFORE  LINES  KEPT  MOVED  REWRITTEN  DROPPED  LAYOUT  ADDED  LINES  AFTER\n"
              "sys_domain.shop.conf.gz  5.50       41    42     43         44       45      46     55     51  6.21\n"
              "sys_global.conf.gz       -          61    62     63         64       65      66     75     71  6.21\n");
}

TEST(AccountTables, TellOfFilesBesideTheConfiguration)
{
    EXPECT_EQ(said_by([] { show_effects(made_up_account(), causes()); }),
              "\n"
              "Files beside the configuration\n"
              "  moved /data/old to /data/new, by 5.91 stage _made_up (housekeeping)\n"
              "  removed /data/gone, by 6.00 modify line 3 of the update file, <lab>,<desk> (protection)\n");
    EXPECT_EQ(said_by([] { show_effects({}, causes()); }), "");
}

TEST(AccountSummary, SaysWhatHasToBeAnsweredFor)
{
    EXPECT_EQ(summary(made_up_account()), "110 lines were dropped, 3 of them set by hand, and 108 rewritten, 2 of them "
                                          "about protection or credentials");
    EXPECT_EQ(summary(account_with(1, 0, {})),
              "1 line was dropped and 0 rewritten, none of them about protection or credentials");
    EXPECT_EQ(summary(account_with(0, 7, {})),
              "0 lines were dropped and 7 rewritten, none of them about protection or credentials");
    EXPECT_EQ(summary(account_with(0, 0, {})), "No line was dropped or rewritten");
}

TEST(AccountSummary, CountsAsSetByHandWhatIsGoneAlone)
{
    std::vector<Loss> losses = {{LineFate::dropped, Hand::person, {support::by_logging}, 4},
                                {LineFate::dropped, Hand::firmware, {support::by_logging}, 8},
                                {LineFate::rewritten, Hand::person, {support::by_logging}, 16}};
    EXPECT_EQ(summary(account_with(12, 16, losses)), "12 lines were dropped, 4 of them set by hand, and 16 rewritten, "
                                                     "none of them about protection or credentials");
}

TEST(AccountSummary, TellsOfGaps)
{
    Account account = account_with(0, 0, {});
    account.files[0].in.unread = 1;
    account.files[0].unexplained = 2;
    account.is_incomplete = true;
    EXPECT_EQ(summary(account), "No line was dropped or rewritten; 1 line could not be read; 2 lines changed without a "
                                "known cause; memory ran out, so causes are missing");
}

TEST(Authors, AreNamedAtLengthAndBriefly)
{
    Account account = made_up_account();
    auto    texts = [&](uint32_t author) {
        return shown(account.authors[author]) + " | " + briefly(account.authors[author]);
    };
    EXPECT_EQ(texts(support::by_stage), "5.91 stage _made_up | 5.91 _made_up");
    EXPECT_EQ(texts(support::by_protection),
              "6.00 modify line 3 of the update file, <lab>,<desk> | 6.00 modify, line 3");
    EXPECT_EQ(texts(support::by_writer), "6.21 write | 6.21 write");
}

TEST(KindsOfCauses, HaveAnOrderWithUnknownOnesLast)
{
    const char *kinds[] = {"protection", "credentials", "network",      "logging",
                           "appearance", "rule",        "housekeeping", "?"};
    for (size_t rank = 0; rank < std::size(kinds); rank++)
        EXPECT_EQ(rank_of_kind(kinds[rank]), rank) << kinds[rank];
}

TEST(HiddenSecrets, LeaveALineWithTheirNameAlone)
{
    EXPECT_EQ(secretless("lab desk", "set passwd \"a\nb\"\n"), "set passwd (hidden)\n");
    EXPECT_EQ(secretless("lab desk", "Set \"passwd\"   open  \n"), "set \"passwd\" (hidden)\n");
    EXPECT_EQ(secretless("lab desk", "set passwd enable \n"), "set passwd enable \n") << "a switch";
    EXPECT_EQ(secretless("lab desk", "set name public\n"), "set name public\n");
    EXPECT_EQ(secretless("system snmp community", "set name public\n"), "set name (hidden)\n");
    EXPECT_EQ(secretless("lab desk", "edit passwd\n"), "edit passwd\n");
    EXPECT_EQ(without_secret({}, "set passwd open\n"), "set passwd (hidden)\n");
}
