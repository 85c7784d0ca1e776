/* The ledger of an upgrade: all of a made-up account in its form, and what the page that is made of it says of that. */
#include "report/upgrade_ledger.h"

#include "driver/run_context.h"
#include "output/release_text.h"
#include "report/page.h"
#include "support/image_line.h"
#include "support/json_value.h"
#include "support/patterns.h"
#include "system/digest.h"
#include "unit/cli/report/made_up_account.h"
#include "unit/cli/small_image.h"
#include "walk/stages.h"

#include <gtest/gtest.h>

#include <set>

using namespace command;

namespace {

using support::JsonValue;

/* Made of the made-up account. */
class UpgradeLedger : public testing::Test {
  protected:
    UpgradeLedger()
    {
        folder_.write("/update_config",
                      std::string(support::made_up_update_file) + "[6.05]\n[5.50]\n[9.90]\n6.04]\n[6.06\n");
        folder_.write("/syntax_v510.txt", "syntax");
        folder_.write("/system.conf.predefine", "predefined");
        folder_.write("/signature.db", "signatures");
        for (const char *name : {"sys_domain.shop.conf.gz", "sys_global.conf.gz", "sys_domain.bad.conf.gz"}) {
            FileOutcome outcome;
            outcome.name = name;
            outcome.after = MIGR_RELEASE(6, 21);
            files.push_back(outcome);
        }
        files[0].before = MIGR_RELEASE(5, 50);
        files[0].result = Result::upgraded;
        files[0].warnings = {{"line 2: it is odd."}};
        files[1].result = Result::added;
        files[2].result = Result::refused;
        files[2].reasons = {{"It is damaged."}};
        files[2].after = -1;
        results["sys_domain.shop.conf.gz"] = "#a\n#b\n#c\nconfig lab desk\n";
        results["sys_global.conf.gz"] = "#a\n#b\n#c\n#d\n#e\n#f\n    set tint green\n    set passwd \"shut\nsesame\"\n";
        account.authors.push_back({MIGR_RELEASE(6, 3), "stage", "_idle", 0});
        account.files[1].unexplained = 3;
        account.files[0].in.unread = 2;
        AccountEntry &away = account.files[0].entries[2];
        away.out_file = "sys_global.conf.gz";
    }
    JsonValue ledger(bool show_secrets = false) const
    {
        Image         image = open_image(folder_.path().string());
        LedgerRequest request = {"/srv/saved/box/", files, account, results, done, snapshot, show_secrets};
        return JsonValue::parse(Json(upgrade_ledger(request, image)).text());
    }
    std::string image_folder() const
    {
        return folder_.path().string();
    }

    Account                  account = support::made_up_account();
    std::vector<FileOutcome> files;
    ResultTexts              results;
    bool                     done = false;
    std::string              snapshot;

  private:
    support::ApplianceRoot folder_;
};

/* What of a page's part can be read, and where its links lead and how long its bars are. */
std::string words_of(const std::string &page, const std::string &start, const std::string &end)
{
    size_t from = page.find(start), to = page.find(end, from);
    EXPECT_NE(from, page.npos) << start;
    EXPECT_NE(to, page.npos) << end;
    std::string text = page.substr(from, to - from);
    text = support::replaced(text, "<a href=\"#([^\"]*)\">", "[$1]");
    text = support::replaced(text, "<rect class=\"(\\w+)\" x=\"(\\d+)\"[^>]* width=\"(\\d+)\"[^>]*>", "($1 $2 $3)");
    text = support::replaced(text, "</t[dh]>|</dt>", " ");
    text = support::replaced(text, "<[^>]*>", "");
    return support::replaced(text, " *\n[ \n]*", "\n");
}

} // namespace

TEST_F(UpgradeLedger, HasEachChangeOfAFile)
{
    JsonValue entry = ledger()["files"][0]["account"]["entries"][1];
    EXPECT_EQ(entry,
              JsonValue::parse(R"({"fate": "rewritten", "in": [5, 6], "in_end": null, "out": [8, 9], "out_end": null,
        "out_file": "sys_global.conf.gz", "path": ["lab desk", "passwd"], "causes": [0, 1],
        "before": "set passwd (hidden)\n", "after": "set passwd (hidden)\n", "copied_from": null, "from_file": null,
        "reason": null, "by_hand": true})"));
    EXPECT_EQ(ledger(true)["files"][0]["account"]["entries"][1]["after"], "set passwd \"shut\nsesame\"\n");
    EXPECT_EQ(ledger()["files"][0]["account"]["entries"].size(), 4u) << "what was kept has none";
    EXPECT_EQ(ledger()["files"][1]["account"]["entries"].size(), 5u);
}

TEST_F(UpgradeLedger, HasTheTextsAndWhatOfThemIsAsItWas)
{
    AccountEntry next = account.files[0].entries[0];
    next.in = {20, 21, 22};
    next.out = {22, 23, 0};
    account.files[0].entries.push_back(next);
    next.in = {24, 24, 0};
    next.out = {24, 24, 0};
    account.files[0].entries.push_back(next);
    JsonValue lines = ledger()["files"][0]["account"], global = ledger()["files"][1]["account"];
    EXPECT_EQ(lines["unchanged"], JsonValue({{3, 4, 1}, {19, 21, 3}, {24, 24, 1}}));
    EXPECT_EQ(lines["continued"], JsonValue({{23, 23}}));
    EXPECT_EQ(lines["text"], "#a\n#b\n#c\nconfig lab desk\n");
    EXPECT_EQ(global["unchanged"], JsonValue::array());
    EXPECT_EQ(global["continued"], JsonValue({{9, 9}, {17, 18}}));
    EXPECT_EQ(global["text"], "#a\n#b\n#c\n#d\n#e\n#f\n    set tint green\n    set passwd (hidden)\n(hidden)\n");
    EXPECT_EQ(ledger(true)["files"][1]["account"]["text"], results["sys_global.conf.gz"]);
}

TEST_F(UpgradeLedger, HasWhatCameOfEachFile)
{
    JsonValue shop = ledger()["files"][0], bad = ledger()["files"][2];
    shop.erase("account");
    EXPECT_EQ(shop, JsonValue::parse(R"({"file": "sys_domain.shop.conf.gz", "before": "5.50", "after": "6.21",
        "result": "upgraded", "reasons": [], "warnings": ["line 2: it is odd."]})"));
    EXPECT_EQ(bad, JsonValue::parse(R"({"file": "sys_domain.bad.conf.gz", "before": null, "after": null,
        "result": "not upgraded", "reasons": ["It is damaged."], "warnings": [], "account": null})"));
}

TEST_F(UpgradeLedger, SaysWhoAndWhatIsBehindIt)
{
    JsonValue all = ledger();
    EXPECT_EQ(all["causes"][0], JsonValue::parse(R"({"release": "5.91", "mechanism": "stage", "name": "_made_up",
        "line": null, "kind": "housekeeping", "sentence": null})"));
    EXPECT_EQ(all["causes"][1], JsonValue::parse(R"({"release": "6.00", "mechanism": "modify", "name": "<lab>,<desk>",
        "line": 3, "kind": "protection", "sentence": "Nobody may do that."})"));
    EXPECT_EQ(all["effects"], JsonValue::parse(R"([
        {"path": "/data/new", "what": "moved", "before": "/data/old", "cause": 0},
        {"path": "/data/gone", "what": "removed", "before": null, "cause": 1}])"));
    EXPECT_EQ(all["image"]["folder"], image_folder());
    EXPECT_EQ(all["image"]["release"], MIGR_IMAGE_RELEASE);
    EXPECT_EQ(all["image"]["files"][2],
              JsonValue({{"file", "system.conf.predefine"}, {"size", 10}, {"sha256", sha256("predefined")}}));
    EXPECT_EQ(all["subject"], "/srv/saved/box/");
    EXPECT_EQ(all["done"], false);
    EXPECT_EQ(all["snapshot"], nullptr);
    EXPECT_EQ(all["incomplete"], false);
    EXPECT_TRUE(support::matches(all["made"].text(), "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ"));
    done = account.is_incomplete = true;
    snapshot = "/srv/before";
    all = ledger();
    EXPECT_EQ(all["done"], true);
    EXPECT_EQ(all["snapshot"], "/srv/before");
    EXPECT_EQ(all["incomplete"], true);
}

TEST_F(UpgradeLedger, NamesTheReleasesOnTheWay)
{
    std::set<int32_t> releases = {MIGR_RELEASE(6, 3), MIGR_RELEASE(6, 5)};
    for (const stage_table *const *stage = all_stages; *stage; stage++)
        releases.insert((*stage)->version);
    std::vector<std::string> expected;
    for (int32_t release : releases)
        if (release > MIGR_RELEASE(5, 50) && release <= image_release())
            expected.push_back(release_text(release));
    expected.push_back("6.21");
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
    EXPECT_EQ(ledger()["releases"], expected);
    account.files[0].before = MIGR_RELEASE(6, 4);
    EXPECT_EQ(ledger()["releases"][0], "6.05") << "the other file is none from before";
}

/* The page leaves out nothing of it. */
TEST_F(UpgradeLedger, IsAllOnItsPage)
{
    JsonValue all = ledger();
    all["releases"] = {"5.91", "6.00", "6.10", "6.21"};
    std::string page = report_page(all.dump());
    EXPECT_EQ(words_of(page, "<h1>", "<nav"),
              "box 5.50 → 6.21\n"
              "1 file of 3 cannot be upgraded, which holds back the others. 5 things need a look.\n"
              "110 lines were dropped, 3 of them set by hand, and 108 rewritten, 2 of them about protection or "
              "credentials; 2 lines could not be read; 3 lines changed without a known cause.\n");
    EXPECT_EQ(words_of(page, "<h2 id=\"look", "</section"),
              "What needs a look\n"
              "sys_domain.shop.conf.gz, line 2: it is odd. shop [shop:2]2\n"
              "sys_domain.shop.conf.gz: 2 lines could not be read.\n"
              "sys_global.conf.gz: 3 lines changed without a known cause.\n"
              "sys_domain.bad.conf.gz was not upgraded: It is damaged.\n"
              "3 lines that were set by hand dropped: It is logged elsewhere. cause [cause-2]2 shop [shop:was-11]11–13 "
              "(old)\n");
    EXPECT_EQ(
        words_of(page, "<h2 id=\"files", "<p class=\"key"),
        "Files\n"
        "File Before After Result Lines Bar Kept Moved Rewritten Dropped Layout Unread Added Lines now\n"
        "sys_domain.shop.conf.gz 5.50 6.21 upgraded 41 (kept 0 183)(moved 183 188)(rewritten 371 192)(dropped 563 "
        "196)(added 759 241) 42 43 44 45 46 2 55 51\n"
        "sys_global.conf.gz - 6.21 new 61 (kept 0 188)(moved 188 191)(rewritten 379 195)(dropped 574 198)(added "
        "772 228) 62 63 64 65 66 0 75 71\n"
        "sys_domain.bad.conf.gz - - not upgraded\n");
    EXPECT_EQ(words_of(page, "<h2 id=\"releases", "</section"),
              "Releases on the way\n"
              "5.91 (rewritten 0 200) 2 rewritten\n"
              "6.00 (moved 0 100)(rewritten 100 200)(dropped 300 400)(added 700 300) 4 dropped 2 rewritten 3 added 1 "
              "moved\n"
              "6.10  no line\n"
              "6.21 (dropped 0 300)(added 300 100) 3 dropped 1 added\n");
    EXPECT_EQ(words_of(page, "<details", "</section"),
              "\n"
              "1 Nobody may do that. 6.00 · modify line 3 of the update file: &lt;lab&gt;,&lt;desk&gt; · protection 2 "
              "rewritten 3 added\n"
              "global [global:8]8–9 [global:16]16–18\n"
              "2 It is logged elsewhere. 6.00 · delete line 6 of the update file: &lt;lab&gt;,&lt;lamp&gt; · logging 4 "
              "dropped 1 moved\n"
              "global [global:7]7 shop [shop:was-10]10–13 (old)\n"
              "3 stage _made_up 5.91 · stage _made_up · housekeeping 2 rewritten\n"
              "global [global:8]8–9\n"
              "4 This is how the new file is written. 6.21 · write  · housekeeping 1 dropped\n"
              "global [global:was-14]14 (old)\n"
              "5 signatures migr_hardcode 6.21 · signatures migr_hardcode · housekeeping 2 dropped 1 added\n"
              "global [global:was-24]24–25 (old) [global:28]28\n");
    EXPECT_EQ(words_of(page, "<ul class=\"effects", "<section id=\"text"),
              "\n"
              "moved /data/old to /data/new, [cause-3]cause 3\n"
              "removed /data/gone, [cause-1]cause 1\n"
              "Signature lists\n"
              "What the image’s signature database does not have cannot be kept: the new release would not load it.\n"
              "global: waf signature / shop / filter_list\n"
              "− 010000001, no longer there [global:was-24]24 (old)\n"
              "global: waf signature / shop / main_class_list\n"
              "+ 020000000, new there [global:28]28\n");
    EXPECT_EQ(words_of(page, "<h3 id=\"text-", "<section id=\"made"),
              "sys_domain.shop.conf.gz\n"
              "	1		#a\n"
              "	2		#b\n"
              "	3		#c\n"
              "3	4		config lab desk\n"
              "- 10		2	    set height 70	as the firmware had it\n"
              "- 11		2	    set note &quot;a	set by hand\n"
              "- 12		&quot;	  b\n"
              "- 13		&quot;	c&quot;\n"
              "sys_global.conf.gz\n"
              "- 14		4	config lab lamp\n"
              "- 15		4	end\n"
              "- 24		5	            edit 010000001	no longer there, was at waf signature / shop / "
              "filter_list / "
              "010000001\n"
              "- 25		5	                set status enable	was at waf signature / shop / "
              "filter_list / 010000001 / "
              "status\n"
              "- 26		5	            next\n"
              "	1		#a\n"
              "	2		#b\n"
              "	3		#c\n"
              "	4		#d\n"
              "	5		#e\n"
              "	6		#f\n"
              "&gt; shop:4	7	2	    set tint green	was at lab desk / tint\n"
              "~ shop:5		3,1	    set passwd (hidden)\n"
              "~ shop:5	8	3,1	    set passwd (hidden)	set by hand, was at lab desk / passwd\n"
              "~ shop:6	9	&quot;	(hidden)\n");
    EXPECT_EQ(words_of(page, "<dt>Of", "<div"), "Of /srv/saved/box/\nWhen " + all["made"].text() +
                                                    "\nBy the image in " + image_folder() + ", release 6.21\n");
    EXPECT_NE(words_of(page, "<tbody>\n<tr><th scope=\"row\">update_config", "</tbody>")
                  .find("\nsystem.conf.predefine 10 B " + sha256("predefined") + "\n"),
              page.npos);
}
