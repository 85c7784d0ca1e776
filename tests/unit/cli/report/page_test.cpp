/* The rows of a report's page, from small accounts. A browser looks at whole pages in tests/browser. */
#include "report/page.h"
#include "report/page_rows.h"
#include "support/json_value.h"
#include "support/patterns.h"
#include "system/failure.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <functional>
#include <set>

using namespace command;

namespace {

using support::JsonValue;

size_t count_of(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        count++;
    return count;
}

bool holds(const std::string &text, const std::string &part)
{
    return count_of(text, part) != 0;
}

std::string rows_of(const PageText &text, const std::vector<std::string> &anchors = {})
{
    std::string rows;
    for (const RowPiece &piece : page_rows(text, anchors))
        rows += (piece.anchor.empty() ? "" : "[" + piece.anchor + "]") + piece.rows;
    return rows;
}

PageChange change(char mark, uint32_t in, uint32_t out, const std::string &before, std::vector<std::string> path)
{
    PageChange one;
    one.mark = mark;
    one.in = one.in_last = in;
    one.out = one.out_last = out;
    one.before = before;
    one.path = std::move(path);
    one.causes = {7};
    return one;
}

/* ---- ledgers ---- */

JsonValue lines_in(unsigned lines, unsigned kept, unsigned dropped)
{
    return {{"lines", lines},     {"kept", kept}, {"moved", 0}, {"rewritten", 0},
            {"dropped", dropped}, {"layout", 0},  {"unread", 0}};
}

JsonValue dropped_entry(const std::string &name, const std::string &before, JsonValue by_hand = nullptr)
{
    return {{"fate", "dropped"},          {"in", {3, 3}},
            {"in_end", nullptr},          {"out", nullptr},
            {"out_end", nullptr},         {"out_file", nullptr},
            {"path", {"lab desk", name}}, {"causes", {0}},
            {"before", before},           {"after", nullptr},
            {"copied_from", nullptr},     {"from_file", nullptr},
            {"reason", nullptr},          {"by_hand", std::move(by_hand)}};
}

JsonValue file_of(const std::string &name, JsonValue entries)
{
    return {{"file", name},
            {"before", "5.50"},
            {"after", "6.21"},
            {"result", "upgraded"},
            {"reasons", JsonValue::array()},
            {"warnings", JsonValue::array()},
            {"account",
             {{"file", name},
              {"before", "5.50"},
              {"after", "6.21"},
              {"in", lines_in(4, 3, 1)},
              {"out", {{"lines", 3}, {"kept", 3}, {"moved", 0}, {"rewritten", 0}, {"added", 0}, {"layout", 0}}},
              {"unexplained", 0},
              {"entries", std::move(entries)},
              {"unchanged", {{1, 1, 2}, {4, 3, 1}}},
              {"continued", JsonValue::array()},
              {"text", "config lab desk\n    set height 70\nend\n"}}}};
}

JsonValue ledger_of(JsonValue files)
{
    JsonValue cause = {{"release", "6.00"}, {"mechanism", "stage"},   {"name", "_drop_tint"},
                       {"line", nullptr},   {"kind", "housekeeping"}, {"sentence", "Desks lost their tint."}};
    return {{"subject", "/srv/saved/box"},
            {"made", "2026-11-22T10:00:00Z"},
            {"done", false},
            {"snapshot", nullptr},
            {"image", {{"folder", "/image"}, {"release", "6.21"}, {"files", JsonValue::array()}}},
            {"releases", {"6.00", "6.21"}},
            {"summary", "1 line was dropped."},
            {"files", std::move(files)},
            {"causes", JsonValue::array({cause})},
            {"effects", JsonValue::array()},
            {"incomplete", false}};
}

JsonValue shop_ledger()
{
    return ledger_of({file_of("sys_domain.shop.conf.gz", {dropped_entry("tint", "    set tint green\n")})});
}

std::string page_of(const JsonValue &ledger)
{
    return report_page(ledger.dump());
}

/* Between the two, which are there once. */
std::string between(const std::string &text, const std::string &start, const std::string &end)
{
    size_t from = text.find(start);
    EXPECT_NE(from, text.npos) << start;
    size_t to = text.find(end, from + start.size());
    EXPECT_NE(to, text.npos) << end;
    return text.substr(from + start.size(), to - from - start.size());
}

std::string policy_sum(const std::string &text)
{
    unsigned char sum[32], base64[64];
    EVP_Digest(text.data(), text.size(), sum, nullptr, EVP_sha256(), nullptr);
    EVP_EncodeBlock(base64, sum, sizeof sum);
    return "'sha256-" + std::string(reinterpret_cast<char *>(base64)) + "'";
}

std::set<std::string> all_of(const std::string &text, const std::string &pattern)
{
    std::set<std::string> found;
    for (const support::Groups &match : support::all_groups(text, pattern))
        found.insert(match[1]);
    return found;
}

/* Everything that a page has from a ledger's texts is between its tags. */
std::set<std::string> tags_of(const std::string &page)
{
    std::string body = page.substr(page.find("<body"));
    return all_of(body, "<(/?[a-zA-Z!][a-zA-Z0-9]*)");
}

} // namespace

/* ---- rows ---- */

TEST(PageRows, HaveBothNumbersAndStandInTheResultsOrder)
{
    PageText text;
    text.text = "config lab desk\n    set height 70\nend\n";
    text.unchanged = {{4, 1, 3}};
    EXPECT_EQ(rows_of(text), " 4\t1\t\tconfig lab desk\n"
                             " 5\t2\t\t    set height 70\n"
                             " 6\t3\t\tend\n");
}

TEST(PageRows, HaveTheOldLineAboveTheOneThatWasRewritten)
{
    PageText text;
    text.text = "config lab desk\n    set colour red\nend\n";
    text.unchanged = {{1, 1, 1}, {3, 3, 1}};
    text.changes = {change('~', 2, 2, "    set tint red\n", {"lab desk", "colour"})};
    EXPECT_EQ(rows_of(text), " 1\t1\t\tconfig lab desk\n"
                             "~ 2\t\t7\t    set tint red\n"
                             "~ 2\t2\t7\t    set colour red\n"
                             " 3\t3\t\tend\n");
}

TEST(PageRows, HaveWhatIsGoneWhereItWas)
{
    PageText text;
    text.text = "config lab desk\n    set height 70\nend\n";
    text.unchanged = {{1, 1, 2}, {6, 3, 1}};
    PageChange edit = change('-', 3, 0, "    edit old\n", {"lab desk", "old"});
    edit.in_end = 5;
    text.changes = {edit, change('-', 4, 0, "        set tint red\n", {"lab desk", "old", "tint"})};
    EXPECT_EQ(rows_of(text), " 1\t1\t\tconfig lab desk\n"
                             " 2\t2\t\t    set height 70\n"
                             "- 3\t\t7\t    edit old\n"
                             "- 4\t\t7\t        set tint red\n"
                             "- 5\t\t7\t    next\n"
                             " 6\t3\t\tend\n");
}

TEST(PageRows, HaveWhatIsGoneBehindTheBlockAheadOfIt)
{
    PageText text;
    text.text = "config b\nend\nconfig c\nend\n";
    PageChange renamed = change('~', 1, 1, "config a\n", {"a"});
    renamed.in_end = 2, renamed.out_end = 2;
    PageChange gone = change('-', 3, 0, "config x\n", {"x"});
    gone.in_end = 4;
    text.changes = {renamed, gone};
    EXPECT_EQ(rows_of(text), "~ 1\t\t7\tconfig a\n"
                             "~ 1\t1\t7\tconfig b\n"
                             " 2\t2\t\tend\n"
                             "- 3\t\t7\tconfig x\n"
                             "- 4\t\t7\tend\n"
                             " \t3\t\tconfig c\n"
                             " \t4\t\tend\n");
    text.changes[0].is_away = true;
    EXPECT_EQ(rows_of(text), "- 3\t\t7\tconfig x\n"
                             "- 4\t\t7\tend\n"
                             " \t1\t\tconfig b\n"
                             " \t2\t\tend\n"
                             " \t3\t\tconfig c\n"
                             " \t4\t\tend\n")
        << "it stands in another file";
}

TEST(PageRows, IndentWhatIsGoneAsItsBlockIs)
{
    PageText text;
    text.text = "config lab desk\nend\n";
    text.unchanged = {{1, 1, 1}, {5, 2, 1}};
    PageChange edit = change('-', 2, 0, "edit old\n", {"lab desk", "old"});
    edit.in_end = 4;
    text.changes = {edit, change('-', 3, 0, "set tint red\n", {"lab desk", "old", "tint"})};
    EXPECT_EQ(rows_of(text), " 1\t1\t\tconfig lab desk\n"
                             "- 2\t\t7\t    edit old\n"
                             "- 3\t\t7\t        set tint red\n"
                             "- 4\t\t7\t    next\n"
                             " 5\t2\t\tend\n");
}

TEST(PageRows, KeepWhatIsGoneInABlockThatWasMoved)
{
    PageText text;
    text.text = "config a\nend\nconfig b\n    edit 1\n    next\nend\n";
    text.unchanged = {{4, 1, 2}};
    PageChange block = change('>', 1, 3, "", {"b"});
    block.in_end = 3, block.out_end = 6;
    text.changes = {block, change('-', 2, 0, "    set tint red\n", {"b", "tint"})};
    EXPECT_EQ(rows_of(text), " 4\t1\t\tconfig a\n"
                             " 5\t2\t\tend\n"
                             "> 1\t3\t7\tconfig b\n"
                             "- 2\t\t7\t    set tint red\n"
                             " \t4\t\t    edit 1\n"
                             " \t5\t\t    next\n"
                             " 3\t6\t\tend\n");
}

TEST(PageRows, SayWhichLinesGoOnWithAValue)
{
    PageText text;
    text.text = "config page\n    set text \"one\ntwo\"\nend\n";
    text.unchanged = {{1, 1, 1}, {5, 4, 1}};
    PageChange value = change('~', 2, 2, "    set text \"one\nend\nthree\"\n", {"page", "text"});
    value.in_last = 4, value.out_last = 3;
    text.changes = {value};
    text.continued = {{3, 3}};
    EXPECT_EQ(rows_of(text), " 1\t1\t\tconfig page\n"
                             "~ 2\t\t7\t    set text \"one\n"
                             "~ 3\t\t\"\tend\n"
                             "~ 4\t\t\"\tthree\"\n"
                             "~ 2\t2\t7\t    set text \"one\n"
                             "~ 3\t3\t\"\ttwo\"\n"
                             " 5\t4\t\tend\n");
}

TEST(PageRows, SayAPathThatTheRowsAroundDoNotSay)
{
    PageText text;
    text.text = "config lab desk\n    set height 70\nend\n";
    text.unchanged = {{1, 1, 1}, {3, 3, 1}};
    text.changes = {change('>', 9, 2, "", {"lab chair", "height"})};
    EXPECT_TRUE(holds(rows_of(text), "> 9\t2\t7\t    set height 70\twas at lab chair / height\n")) << rows_of(text);
}

TEST(PageRows, MarkTheEndOfABlockThatWasAdded)
{
    PageText text;
    text.text = "config lab desk\n    set height 70\nend\n";
    PageChange block = change('+', 0, 1, "", {"lab desk"});
    block.out_end = 3;
    text.changes = {block, change('+', 0, 2, "", {"lab desk", "height"})};
    EXPECT_EQ(rows_of(text), "+\t1\t7\tconfig lab desk\n"
                             "+\t2\t7\t    set height 70\n"
                             "+\t3\t\tend\n");
}

TEST(PageRows, BreakWhereALinkLeads)
{
    PageText text;
    text.text = "config lab desk\nend\n";
    text.unchanged = {{1, 1, 1}, {3, 2, 1}};
    text.changes = {change('-', 2, 0, "    set tint red\n", {"lab desk", "tint"})};
    EXPECT_EQ(rows_of(text, {"was-2", "2", "2"}), " 1\t1\t\tconfig lab desk\n"
                                                  "[was-2]- 2\t\t7\t    set tint red\n"
                                                  "[2] 3\t2\t\tend\n");
}

TEST(PageRows, ComeInPartsThatABrowserCanLeaveForLater)
{
    PageText text;
    for (unsigned line = 0; line < 2 * rows_of_a_part; line++)
        text.text += "config a\n";
    std::vector<RowPiece> pieces = page_rows(text, {std::to_string(rows_of_a_part + 1), "7"});
    ASSERT_EQ(pieces.size(), 3U);
    EXPECT_TRUE(pieces[0].opens_part && !pieces[1].opens_part && pieces[2].opens_part);
    EXPECT_EQ(pieces[1].anchor, "7");
    EXPECT_EQ(pieces[2].anchor, std::to_string(rows_of_a_part + 1));
    EXPECT_EQ(count_of(pieces[2].rows, "\n"), rows_of_a_part);
}

/* A text of its own cannot make rows or columns. */
TEST(PageRows, WriteOutWhatWouldActInThem)
{
    PageText text;
    text.text = "config a\tb\x01\xe2\x80\xae\xff\n";
    EXPECT_EQ(rows_of(text), " \t1\t\tconfig a\\tb\\x01\\xe2\\x80\\xae\\xff\n");
}

/* ---- pages ---- */

TEST(Page, SaysWhatComesOfAnUpgrade)
{
    std::string page = page_of(shop_ledger());
    EXPECT_TRUE(holds(page, "<title>box: from 5.50 to 6.21</title>"));
    EXPECT_TRUE(
        holds(page, "An upgrade from 5.50 to 6.21 would go through; nothing was changed yet. Nothing needs a look."));
    EXPECT_TRUE(holds(page, "Desks lost their tint."));
    EXPECT_TRUE(holds(page, "<span class=\"count\" data-fate=\"dropped\">1 dropped</span>"));
    EXPECT_TRUE(holds(page, "- 3\t\t1\t    set tint green\n"));
}

TEST(Page, SaysWhatNeedsALook)
{
    JsonValue ledger =
        ledger_of({file_of("sys_domain.shop.conf.gz", {dropped_entry("tint", "    set tint green\n", true)})});
    ledger["done"] = true;
    ledger["files"][0]["warnings"] = {"line 2: lab desk / height refers to \"x\".",
                                      "line 3 of the old file: a page is gone."};
    std::string page = page_of(ledger);
    EXPECT_TRUE(holds(page, "1 file was upgraded from 5.50 to 6.21. 3 things need a look."));
    std::string look = between(page, "<ul class=\"findings\">", "</ul>");
    EXPECT_TRUE(holds(look, "1 line that was set by hand dropped: Desks lost their tint."));
    EXPECT_TRUE(holds(
        look, "refers to &quot;x&quot;. <span class=\"places\"><span class=\"file\">shop</span> <a href=\"#shop:2\">"));
    EXPECT_TRUE(holds(look, "<a href=\"#shop:was-3\">"));
}

TEST(Page, DoesNotCallALossOfProtectionNothing)
{
    JsonValue ledger = shop_ledger();
    ledger["causes"][0]["kind"] = "protection";
    std::string page = page_of(ledger);
    EXPECT_TRUE(holds(page, "<p class=\"verdict look\">"));
    EXPECT_TRUE(holds(between(page, "<ul class=\"findings\">", "</ul>"), "cause <a href=\"#cause-1\">1</a></span>"));
}

TEST(Page, CallsALossSeriousByWhatItIsAbout)
{
    for (const char *kind : {"protection", "credentials", "network", "logging", "appearance", "rule", "housekeeping"}) {
        JsonValue ledger = shop_ledger();
        ledger["causes"][0]["kind"] = kind;
        bool is_serious = kind == std::string("protection") || kind == std::string("credentials");
        EXPECT_EQ(holds(page_of(ledger), "Settings of protection or credentials were dropped."), is_serious) << kind;
        ledger["files"][0]["account"]["entries"][0]["fate"] = "moved";
        ledger["files"][0]["account"]["entries"][0]["out"] = {2, 2};
        EXPECT_FALSE(holds(page_of(ledger), "Settings of protection or credentials were dropped.")) << kind;
    }
}

TEST(Page, IsNamedForItsSubject)
{
    for (auto [subject, name] : {std::pair("/srv/saved/box", "box"),
                                 {"/srv/saved/box//", "box"},
                                 {"box", "box"},
                                 {"b", "b"},
                                 {"/", "This appliance"},
                                 {"", "This appliance"}}) {
        JsonValue ledger = shop_ledger();
        ledger["subject"] = subject;
        EXPECT_TRUE(holds(page_of(ledger), "<title>" + std::string(name) + ": from 5.50 to 6.21</title>")) << subject;
        EXPECT_TRUE(holds(page_of(ledger), "<dt>Of</dt><dd><code>" + std::string(subject) + "</code>"));
    }
}

TEST(Page, GoesByTheReleaseOfTheGlobalFile)
{
    JsonValue ledger = ledger_of({file_of("sys_domain.a.conf.gz", JsonValue::array()),
                                  file_of("sys_global.conf.gz", JsonValue::array()),
                                  file_of("sys_domain.b.conf.gz", JsonValue::array())});
    ledger["files"][1]["before"] = "5.20";
    ledger["files"][2]["before"] = "5.30";
    EXPECT_TRUE(holds(page_of(ledger), "<title>box: from 5.20 to 6.21</title>"));
    ledger["files"][1]["before"] = nullptr;
    EXPECT_TRUE(holds(page_of(ledger), "<title>box: from 5.50 to 6.21</title>"));
    ledger["files"][0]["account"] = nullptr;
    EXPECT_TRUE(holds(page_of(ledger), "<title>box: from 5.30 to 6.21</title>"));
}

TEST(Page, HasNoLinkForAWarningOfNoLine)
{
    JsonValue ledger = shop_ledger();
    ledger["files"][0]["warnings"] = {"line 0: odd.", "lines are odd.", "line 2 of the old text: odd."};
    ledger["files"].push_back(file_of("sys_domain.bad.conf.gz", JsonValue::array()));
    ledger["files"][1]["account"] = nullptr;
    ledger["files"][1]["warnings"] = {"line 1: odd."};
    std::string page = page_of(ledger);
    std::string look = between(page, "<ul class=\"findings\">", "</ul>");
    EXPECT_EQ(count_of(look, "<li>"), 4U);
    EXPECT_EQ(all_of(look, "href=\"#([^\"]*)\""), std::set<std::string>{"shop:was-2"});
}

TEST(Page, HasFilesUnderShortNames)
{
    JsonValue ledger = ledger_of({file_of("sys_domain.aZ-09_x.conf.gz", JsonValue::array()),
                                  file_of("sys_global.conf", JsonValue::array()), file_of("odd", JsonValue::array()),
                                  file_of("sys_domain..conf.gz", JsonValue::array()),
                                  file_of("sys_domain.A[`{@/:.conf.gz", JsonValue::array())});
    EXPECT_EQ(all_of(page_of(ledger), " data-file=\"([^\"]*)\""),
              (std::set<std::string>{"aZ-09_x", "global", "odd", "file", "A______"}));
}

TEST(Page, GivesTheReasonAtTheEntryOfASignatureListAlone)
{
    JsonValue entry = dropped_entry("1", "    edit 1\n");
    entry["reason"] = "out of use";
    JsonValue set = dropped_entry("status", "        set status enable\n");
    set["in"] = {4, 4}, set["reason"] = "out of use";
    std::string page = page_of(ledger_of({file_of("sys_domain.shop.conf.gz", {entry, set})}));
    EXPECT_EQ(count_of(between(page, "<ul class=\"signatures\">", "</ul>"), "out of use"), 1U);
    EXPECT_TRUE(holds(page, "    edit 1\tout of use\n"));
    EXPECT_FALSE(holds(page, "status enable\tout of use"));
}

TEST(Page, SaysWhichFilesWereNotUpgraded)
{
    JsonValue ledger = shop_ledger();
    ledger["files"].push_back({{"file", "sys_domain.bad.conf.gz"},
                               {"before", nullptr},
                               {"after", nullptr},
                               {"result", "not upgraded"},
                               {"reasons", {"It has no version line."}},
                               {"warnings", JsonValue::array()},
                               {"account", nullptr}});
    std::string page = page_of(ledger);
    EXPECT_TRUE(holds(
        page,
        "<p class=\"verdict bad\">1 file of 2 cannot be upgraded, which holds back the others. 1 thing needs a look."));
    EXPECT_TRUE(holds(page, "sys_domain.bad.conf.gz was not upgraded: It has no version line."));
    ledger["done"] = true;
    EXPECT_TRUE(holds(page_of(ledger), "cannot be upgraded; the others were, so the appliance is on mixed releases."));
    ledger["files"].erase(0);
    page = page_of(ledger);
    EXPECT_TRUE(holds(page, "1 file of 1 cannot be upgraded. 1 thing needs a look."));
    EXPECT_TRUE(holds(page, "<title>box</title>"));
}

TEST(Page, LeadsEveryLinkSomewhere)
{
    JsonValue ledger =
        ledger_of({file_of("sys_domain.shop.conf.gz", {dropped_entry("tint", "    set tint green\n", true)}),
                   file_of("sys_domain.sh?p.conf.gz", {dropped_entry("tint", "    set tint green\n")}),
                   file_of("sys_domain.sh_p.conf.gz", {dropped_entry("tint", "    set tint green\n")})});
    ledger["files"][0]["warnings"] = {"line 2: look."};
    ledger["effects"] = {{{"path", "/a"}, {"what", "moved"}, {"before", "/b"}, {"cause", 0}}};
    std::string           page = page_of(ledger);
    std::set<std::string> ids = all_of(page, " id=\"([^\"]*)\"");
    std::set<std::string> links = all_of(page, "href=\"#([^\"]*)\"");
    EXPECT_TRUE(links.count("shop:2") && links.count("sh_p:was-3") && links.count("sh_p-2:was-3") &&
                links.count("cause-1"));
    for (const std::string &link : links)
        EXPECT_TRUE(ids.count(link)) << link;
    EXPECT_EQ(all_of(page, "(?:href|src|action)=\"([^#\"][^\"]*)\""), std::set<std::string>());
}

TEST(Page, AllowsNothingButItsOwnStyleAndScript)
{
    std::string page = page_of(shop_ledger());
    std::string policy = between(page, "Content-Security-Policy\" content=\"", "\"");
    EXPECT_EQ(policy, "default-src 'none'; style-src " + policy_sum(between(page, "<style>", "</style>")) +
                          "; script-src " + policy_sum(between(page, "<script>", "</script>")) +
                          "; base-uri 'none'; form-action 'none'");
    EXPECT_FALSE(support::has_match(page.substr(page.find("<body")), "<[^>]* (?:style|on[a-z]+)="));
}

/* In each text that a ledger has. */
TEST(Page, TakesNoTextForMarkup)
{
    static const std::string hostile =
        "\"'></pre></script><script>alert(1)</script><img src=x onerror=alert(1)>&amp;{{NAME}}\x01\xe2\x80\xae";
    JsonValue             ledger = shop_ledger();
    JsonValue            &file = ledger["files"][0];
    std::set<std::string> tags = tags_of(page_of(ledger));
    JsonValue             entry = dropped_entry(hostile, "    set " + hostile + "\n");
    entry["reason"] = hostile;
    entry["from_file"] = hostile;
    file["file"] = "sys_domain." + hostile + ".conf.gz";
    file["warnings"] = {hostile};
    file["result"] = hostile;
    file["account"]["entries"] = {entry};
    file["account"]["text"] = "config " + hostile + "\nend\n";
    for (const char *name : {"subject", "made", "snapshot", "summary"})
        ledger[name] = hostile;
    for (const char *name : {"release", "mechanism", "name", "kind", "sentence"})
        ledger["causes"][0][name] = hostile;
    ledger["releases"] = {hostile};
    ledger["image"] = {
        {"folder", hostile}, {"release", hostile}, {"files", {{{"file", hostile}, {"size", 1}, {"sha256", hostile}}}}};
    ledger["effects"] = {{{"path", hostile}, {"what", hostile}, {"before", hostile}, {"cause", 0}}};
    std::string page = page_of(ledger);
    tags.insert({"ul", "/ul", "li", "/li", "code", "/code"});
    for (const std::string &tag : tags_of(page))
        EXPECT_TRUE(tags.count(tag)) << tag;
    EXPECT_EQ(count_of(page, "<script"), 1U);
    EXPECT_EQ(count_of(page, "</pre>"), 1U);
    EXPECT_TRUE(holds(page, "set &quot;&#39;&gt;&lt;/pre&gt;&lt;/script&gt;"));
    EXPECT_TRUE(holds(page, "&amp;amp;{{NAME}}\\x01\\xe2\\x80\\xae"));
    EXPECT_FALSE(holds(page, "\x01") || holds(page, "\xe2\x80\xae"));
}

TEST(Page, IsMadeOfLedgersOnly)
{
    for (const char *text : {"", "{}", "[1]", "{\"subject\": 7}"})
        EXPECT_THROW(report_page(text), Failure) << text;
    JsonValue ledger = shop_ledger();
    ledger["files"][0]["account"]["entries"][0]["causes"] = {9};
    EXPECT_THROW(page_of(ledger), Failure);
}

TEST(Page, RefusesNumbersBeyondAllLines)
{
    constexpr uint32_t huge = 4294967295;
    JsonValue          runs = shop_ledger(), continued = shop_ledger(), span = shop_ledger(), end = shop_ledger();
    runs["files"][0]["account"]["unchanged"] = {{huge, 1, 7}};
    continued["files"][0]["account"]["continued"] = {{1, huge}};
    span["files"][0]["account"]["entries"][0]["in"] = {huge, huge};
    end["files"][0]["account"]["entries"][0]["in_end"] = huge;
    for (const JsonValue &ledger : {runs, continued, span, end})
        EXPECT_THROW(page_of(ledger), Failure);
}

TEST(Page, RefusesLinesThatAreNone)
{
    constexpr uint32_t beyond = (1U << 26) + 1;
    auto               fault_of = [](const std::function<void(JsonValue &)> &change) {
        JsonValue ledger = shop_ledger();
        change(ledger["files"][0]["account"]);
        try {
            page_of(ledger);
        } catch (const Failure &failure) {
            return std::string(failure.what());
        }
        return std::string("none");
    };
    std::string ahead = "This is no ledger of an upgrade, or one of another migr: ";
    for (const JsonValue &run : {JsonValue({beyond, 1, 1}), JsonValue({1, beyond, 1}), JsonValue({1, 1, beyond}),
                                 JsonValue({1, 1}), JsonValue({1, 1, 1, 1})})
        EXPECT_EQ(fault_of([&](JsonValue &account) { account["unchanged"] = JsonValue::array({run}); }),
                  ahead + "a run of lines is no run");
    EXPECT_EQ(fault_of([&](JsonValue &account) {
                  account["continued"] = {{2, beyond}};
              }),
              ahead + "a value goes on beyond all lines");
    EXPECT_EQ(fault_of([&](JsonValue &account) { account["entries"][0]["in_end"] = beyond; }),
              ahead + "a line has a number beyond all lines");
    EXPECT_EQ(fault_of([&](JsonValue &account) {
                  account["entries"][0]["in"] = {3, beyond};
              }),
              ahead + "a line has a number beyond all lines");
    EXPECT_EQ(fault_of([](JsonValue &account) {
                  account["entries"][0]["in"] = {3, 2};
              }),
              ahead + "lines end ahead of their beginning");
    EXPECT_EQ(fault_of([](JsonValue &account) { account["entries"][0]["causes"] = {9}; }),
              ahead + "it names what it does not hold");
}

/* A ledger may be anybody's: lines that are not there lead nowhere. */
TEST(Page, BearsWrongLineNumbers)
{
    for (unsigned line : {0U, 1U, 2U, 900U}) {
        JsonValue  ledger = shop_ledger();
        JsonValue &account = ledger["files"][0]["account"];
        account["unchanged"] = {{line, line, 7}};
        account["continued"] = {{line, line}};
        account["entries"][0]["in_end"] = line;
        account["entries"][0]["out"] = {line, line};
        account["entries"][0]["out_end"] = line;
        for (const char *fate : {"dropped", "rewritten", "moved", "added"}) {
            account["entries"][0]["fate"] = fate;
            EXPECT_TRUE(holds(page_of(ledger), "config lab desk")) << line << fate;
        }
    }
}
