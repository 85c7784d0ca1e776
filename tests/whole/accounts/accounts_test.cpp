/*
 * Accounts of all sample appliances, held against the texts: each line of the old files and of the results stands in
 * exactly one entry or is layout, the sums are right, what is kept is the same on both sides, and nothing that changed
 * is without a cause.
 */
#include "support/appliance_root.h"
#include "support/files.h"
#include "support/json_value.h"
#include "support/places.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <set>
#include <sstream>

namespace fs = std::filesystem;
using support::JsonValue;
using namespace support;

namespace {

struct Ran {
    int         status;
    std::string out;
};

/* Paths are the tests' own, without blanks or quotes. */
Ran run(const std::string &line)
{
    FILE                   *pipe = popen((line + " 2>/dev/null").c_str(), "r");
    std::array<char, 65536> part;
    Ran                     ran = {-1, ""};
    for (size_t got; pipe && (got = fread(part.data(), 1, part.size(), pipe)) > 0;)
        ran.out.append(part.data(), got);
    ran.status = pipe ? WEXITSTATUS(pclose(pipe)) : -1;
    return ran;
}

std::string migr(const std::string &arguments)
{
    return program_path("/migr") + " " + arguments;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines = {""}; /* they count from 1 */
    std::istringstream       stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string without_indent(const std::string &line)
{
    size_t start = line.find_first_not_of(" \t");
    return start == line.npos ? "" : line.substr(start);
}

bool is_layout(const std::string &line)
{
    std::string text = without_indent(line);
    return text.empty() || text[0] == '#' || text.starts_with("end") || text.starts_with("next");
}

using Texts = std::map<std::string, std::vector<std::string>>;

Texts texts_in(const fs::path &root)
{
    Texts texts;
    for (const fs::directory_entry &entry : fs::directory_iterator(root / "data/config"))
        texts[entry.path().filename()] = lines_of(gunzip(support::file_text(entry.path())));
    return texts;
}

class Accounted : public testing::TestWithParam<std::string> {
  protected:
    Accounted()
    {
        root = (folder.path() / "box").string();
        EXPECT_EQ(run(source_path("/samples/lay_out ") + GetParam() + " " + root).status, 0);
    }
    ApplianceRoot folder;
    std::string   root;
};

std::vector<std::string> all_samples()
{
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(source_path("/samples")))
        if (fs::exists(entry.path() / "data/config"))
            names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    if (is_sanitized()) /* one that is split, and one that is not */
        names = {"ferry-cloud-6.02", "ferry-line-4.0"};
    return names;
}

/* Each of those lines is in no other entry. */
void take(std::vector<int> &taken, const JsonValue &span)
{
    for (size_t line = span[0].number(); line <= span[1].number(); line++)
        EXPECT_EQ(taken.at(line)++, 0) << "line " << line << " stands in two entries";
}

void expect_kept_text(const JsonValue &entry, const std::vector<std::string> &before,
                      const std::vector<std::string> &after)
{
    size_t in = entry["in"][0].number(), out = entry["out"][0].number(), count = entry["in"][1].number() - in + 1;
    ASSERT_EQ(entry["out"][1].number() - out + 1, count);
    EXPECT_EQ(without_indent(before.at(in)), without_indent(after.at(out)));
    for (size_t line = 1; line < count; line++)
        EXPECT_EQ(before.at(in + line), after.at(out + line));
}

uint64_t sum(const JsonValue &counts, std::initializer_list<const char *> names)
{
    uint64_t all = 0;
    for (const char *name : names)
        all += counts[name].number();
    return all;
}

void expect_sums(const JsonValue &file)
{
    EXPECT_EQ(file["in"]["lines"], sum(file["in"], {"kept", "moved", "rewritten", "dropped", "layout", "unread"}));
    EXPECT_EQ(file["out"]["lines"], sum(file["out"], {"kept", "moved", "rewritten", "added", "layout"}));
    EXPECT_EQ(file["unexplained"], 0);
    EXPECT_EQ(file["in"]["unread"], 0);
}

void expect_causes(const JsonValue &entry)
{
    EXPECT_EQ(entry["causes"].empty(), entry["fate"] == "kept") << entry;
    for (const JsonValue &cause : entry["causes"])
        EXPECT_NE(cause["mechanism"], "") << entry;
}

} // namespace

TEST_P(Accounted, EachLineStandsInOneEntry)
{
    Ran       told = run(migr("account --json --all " + root));
    JsonValue answer = JsonValue::parse(told.out);
    ASSERT_FALSE(answer["files"].empty());
    Texts before = texts_in(root);
    EXPECT_EQ(run(migr("upgrade " + root)).status, 0);
    Texts                                   after = texts_in(root);
    std::map<std::string, std::vector<int>> taken_before, taken_after;
    for (auto &[name, lines] : before)
        taken_before[name].resize(lines.size());
    for (auto &[name, lines] : after)
        taken_after[name].resize(lines.size());
    for (const JsonValue &file : answer["files"]) {
        SCOPED_TRACE(file["file"]);
        expect_sums(file);
        std::string name = file["file"].text();
        EXPECT_EQ(file["out"]["lines"], after.at(name).size() - 1);
        for (const JsonValue &entry : file["entries"]) {
            std::string out_file = entry["out_file"].is_null() ? name : entry["out_file"].text();
            if (!entry["in"].is_null())
                take(taken_before[name], entry["in"]);
            if (!entry["out"].is_null())
                take(taken_after[out_file], entry["out"]);
            expect_causes(entry);
            if (entry["fate"] == "kept" || entry["fate"] == "moved")
                expect_kept_text(entry, before[name], after[out_file]);
        }
    }
    for (auto &[name, lines] : before)
        for (size_t line = 1; line < lines.size(); line++)
            EXPECT_TRUE(taken_before[name][line] || is_layout(lines[line])) << name << " " << line << lines[line];
    for (auto &[name, lines] : after)
        for (size_t line = 1; line < lines.size(); line++)
            EXPECT_TRUE(taken_after[name][line] || is_layout(lines[line])) << name << " " << line << lines[line];
}

/* What is kept with the snapshot says the same, and the result of blame is the result. */
TEST_P(Accounted, TheSameIsToldAfterwards)
{
    JsonValue ahead = JsonValue::parse(run(migr("account --json --dropped " + root)).out);
    JsonValue blamed = JsonValue::parse(run(migr("blame --json --show-secrets " + root)).out);
    EXPECT_EQ(run(migr("upgrade " + root)).status, 0);
    JsonValue behind = JsonValue::parse(run(migr("account --json --dropped --last " + root)).out);
    EXPECT_EQ(behind["files"], ahead["files"]);
    Texts after = texts_in(root);
    for (const JsonValue &file : blamed["files"])
        EXPECT_EQ(file["lines"].size(), after.at(file["file"].text()).size() - 1);
}

namespace {

/* Files but for the configuration and its plain copies, and what the command keeps. Of folders, which the platform
 * makes as well, nothing is asked. */
Listing files_beside(const ApplianceRoot &folder)
{
    Listing beside;
    for (const auto &[path, entry] : folder.listing()) {
        std::string name = path.starts_with("box/") ? path.substr(strlen("box")) : "";
        bool        is_configuration = name.starts_with("/data/config/") || name.ends_with(".conf.gz") ||
                                (name.starts_with("/var/log/sys_") && name.ends_with(".conf"));
        if (!name.empty() && entry.type != 'd' && !is_configuration && !name.starts_with("/var/lib"))
            beside[name] = entry;
    }
    return beside;
}

bool is_below(const std::string &path, const std::string &folder)
{
    return path == folder || path.starts_with(folder + "/");
}

/* Whether an effect of those kinds tells of the path, or of a folder that it lies in. */
bool is_told(const JsonValue &effects, const std::string &path, const std::set<std::string> &kinds)
{
    return std::any_of(effects.begin(), effects.end(), [&](const JsonValue &effect) {
        bool went = effect["what"] == "moved" && kinds.count("removed") == 1 && is_below(path, effect["before"].text());
        return went || (kinds.count(effect["what"].text()) == 1 && is_below(path, effect["path"].text()));
    });
}

} // namespace

/* Each file that came, went or has become another is told of, and so is each that was written anew. */
TEST_P(Accounted, WhatBecameOfFilesIsTold)
{
    JsonValue effects = JsonValue::parse(run(migr("account --json " + root)).out)["effects"];
    Listing   before = files_beside(folder);
    EXPECT_EQ(run(migr("upgrade " + root)).status, 0);
    Listing after = files_beside(folder);
    for (const auto &[path, entry] : before) {
        if (after.contains(path) && after[path] == entry)
            continue;
        bool went = !after.contains(path);
        auto kinds = went ? std::set<std::string>{"removed"} : std::set<std::string>{"rewritten", "copied", "moved"};
        EXPECT_TRUE(is_told(effects, path, kinds)) << path << (went ? " went" : " is another");
    }
    for (const auto &[path, entry] : after) {
        EXPECT_TRUE(before.contains(path) || is_told(effects, path, {"made", "copied", "moved"})) << path << " came";
    }
    for (const JsonValue &effect : effects) {
        bool changed =
            before.contains(effect["path"].text()) && !(before[effect["path"].text()] == after[effect["path"].text()]);
        EXPECT_TRUE(effect["what"] != "rewritten" || changed) << effect;
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, Accounted, testing::ValuesIn(all_samples()), [](const auto &one) {
    std::string name = one.param;
    for (char &c : name)
        c = isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

/* ---- Read line by line ---- */

namespace {

constexpr char few_lines[] = R"(#config-version=QA-A1X-5.50-CV-build0601-170328:opmode=0:vdom=1
#conf_file_ver=1
config system snmp community
    edit 1
        set name public
        config hosts
            edit 1
                set ip 10.0.0.1
                set interface port1
            next
        end
    next
end

# a comment
config system menu-theme
    set theme-name green
end
config server-policy  policy
    edit "shop"
        set comment "two
lines"
        set waf-autolearning-profile learn
    next
end
)";

/* fate, lines, lines of the result, last name of the path, last cause */
constexpr const char *few_entries[] = {
    "kept 3-3 5-5 system snmp community ",
    "kept 4-4 6-6 1 ",
    "kept 5-5 7-7 name ",
    "kept 6-6 8-8 hosts ",
    "kept 7-7 9-9 1 ",
    "kept 8-8 10-10 ip ",
    "dropped 9-9 - interface 5.51 stage _migr_del_snmp_community_interface network",
    "dropped 16-16 - system menu-theme 6.20 delete <system menu-theme> appearance",
    "dropped 17-17 - theme-name 6.20 delete <system menu-theme> appearance",
    "rewritten 19-19 15-15 server-policy policy 6.21 write  housekeeping",
    "kept 20-20 16-16 shop ",
    "kept 21-22 17-18 comment ",
    "dropped 23-23 - waf-autolearning-profile 6.10 stage _remove_all_autolearn protection",
    "added - 3-3 server-policy setting 5.85 stage _add_server_policy_setting network",
};

/* line, what it was, cause and text of the result, but for its header lines */
constexpr const char *few_blamed[] = {
    "3 new 5.85 _add_server_policy_setting|config server-policy setting",
    "4  |end",
    "5 3 |config system snmp community",
    "6 4 |    edit 1",
    "7 5 |        set name (hidden)",
    "8 6 |        config hosts",
    "9 7 |            edit 1",
    "10 8 |                set ip 10.0.0.1",
    "11  |            next",
    "12  |        end",
    "13  |    next",
    "14  |end",
    "15 19 6.21 write|config server-policy policy",
    "16 20 |    edit \"shop\"",
    "17 21 |        set comment \"two",
    "18 22 |lines\"",
    "19  |    next",
    "20  |end",
};

std::string text_or_nothing(const JsonValue &value)
{
    return value.is_null() ? "" : value.text();
}

std::string span_text(const JsonValue &span)
{
    return span.is_null() ? "-" : span[0].dump() + "-" + span[1].dump();
}

std::string entry_text(const JsonValue &entry)
{
    std::string text = entry["fate"].text() + " " + span_text(entry["in"]) + " " + span_text(entry["out"]) + " " +
                       entry["path"].back().text() + " ";
    if (entry["causes"].empty())
        return text;
    const JsonValue &cause = entry["causes"].back();
    for (const char *field : {"release", "mechanism", "name"})
        text += cause[field].text() + " ";
    return text + cause["kind"].text();
}

JsonValue answer_for(const std::string &command, const std::string &name, const std::string &text)
{
    ApplianceRoot folder;
    folder.write("/" + name, text);
    return JsonValue::parse(run(migr(command + " --json " + folder.path().string() + "/" + name)).out);
}

/* But for the header lines: line, what it was, cause and text. */
std::vector<std::string> blamed_lines(const JsonValue &answer)
{
    std::vector<std::string> lines;
    for (const JsonValue &line : answer["files"][0]["lines"])
        if (line["line"].number() > 2)
            lines.push_back(line["line"].dump() + " " + text_or_nothing(line["was"]) + " " +
                            text_or_nothing(line["cause"]) + "|" + line["text"].text());
    return lines;
}

} // namespace

TEST(FewLines, HaveTheseFates)
{
    JsonValue                answer = answer_for("account --all", "sys_global.conf", few_lines);
    std::vector<std::string> entries;
    for (const JsonValue &entry : answer["files"][0]["entries"])
        entries.push_back(entry_text(entry));
    EXPECT_EQ(entries, std::vector<std::string>(std::begin(few_entries), std::end(few_entries)));
    EXPECT_EQ(answer["files"][0]["in"]["layout"], 11);
}

TEST(FewLines, ComeFromThere)
{
    EXPECT_EQ(blamed_lines(answer_for("blame", "sys_global.conf", few_lines)),
              std::vector<std::string>(std::begin(few_blamed), std::end(few_blamed)));
}

namespace {

/* What 6.10, 6.11, 6.20 and 6.21 each change something of. */
constexpr char four_releases[] = R"(#config-version=QA-A1X-6.02-CV-build0100-190301:opmode=0:vdom=1
#conf_file_ver=1
config system corvobox
    set server collector.example
    set ssl enable
end
config system hsm info
    set action register
    set ip 10.62.9.70
end
config system menu-theme
    set theme-name green-tone
end
config log event-relay
    edit "to_cloud"
        config relays
            edit 1
                set event-format short long
            next
        end
    next
end
config waf client-limit
    edit "visitors"
        config limits
            edit 1
                set counted-methods get
                set  peer-label twin
            next
        end
    next
end
config waf cookie-security
    edit "session"
        set security-mode signed
    next
end
config waf custom-access rule
    edit "bots"
        set bot-recognition captcha
        set action alert
    next
end
config waf machine-learning-policy
    edit 1
        set action-definitely alert
        set strictness-level-automatic-defnite 2
    next
end
config waf xml-validation rule
    edit "feed"
        set xml-entity-check enable
        set request-file "/feed"
    next
end
config user kerberos-user
    edit "crew"
        set server 10.62.1.50
        set realm FERRYBEND.EXAMPLE
    next
end
)";

/* As few_blamed; of a rule, its text stands in place of its line in the update file. */
constexpr const char *four_blamed[] = {
    "3 3 |config system corvobox",
    "4 4 |    set server collector.example",
    "5  |end",
    "6 7 |config system hsm info",
    "7 9 |    set ip 10.62.9.70",
    "8  |end",
    "9 14 |config log event-relay",
    "10 15 |    edit \"to_cloud\"",
    "11 16 |        config relays",
    "12 17 |            edit 1",
    "13 18 6.21 modify, line "
    "<log event-relay><relays><event-format>,<event-format>,[enum:<short,compact>,<long,verbose>]"
    "|                set event-format compact verbose",
    "14  |            next",
    "15  |        end",
    "16  |    next",
    "17  |end",
    "18 23 6.10 modify, line <waf client-limit>,<waf client-quota>|config waf client-quota",
    "19 24 |    edit \"visitors\"",
    "20 25 6.10 modify, line <waf client-limit><limits>,<quotas>|        config quotas",
    "21 26 |            edit 1",
    "22 28 6.21 write|                set peer-label twin",
    "23  |            next",
    "24  |        end",
    "25  |    next",
    "26  |end",
    "27 33 |config waf cookie-security",
    "28 34 |    edit \"session\"",
    "29 35 |        set security-mode signed",
    "30 new 6.10 _sync_cookie_security_mode|        set allow-suspicious-cookies Always",
    "31  |    next",
    "32  |end",
    "33 38 |config waf custom-access rule",
    "34 39 |    edit \"bots\"",
    "35 40 |        set bot-recognition captcha",
    "36 41 |        set action alert",
    "37 new 6.20 _add_cus_rule_switch|        set bot-confirmation enable",
    "38  |    next",
    "39  |end",
    "40 44 |config waf machine-learning-policy",
    "41 45 |    edit 1",
    "42 46 6.10 _adjust_ml_policy2|        set action-anomaly alert",
    "43  |    next",
    "44  |end",
    "45 50 |config waf xml-validation rule",
    "46 51 |    edit \"feed\"",
    "47 52 6.11 _update_xml_rule|        set xml-attributes-check enable",
    "48 53 |        set request-file \"/feed\"",
    "49  |    next",
    "50  |end",
    "51 56 |config user kerberos-user",
    "52 57 |    edit \"crew\"",
    "53 59 |        set realm FERRYBEND.EXAMPLE",
    "54 new 6.20 _adjust_kerberos_user|        config server-members ",
    "55 new 6.20 _adjust_kerberos_user|            edit 1 ",
    "56 58 6.20 _adjust_kerberos_user|                set server 10.62.1.50",
    "57  |            next",
    "58  |        end",
    "59  |    next",
    "60  |end",
};

/* The first line of the update file that holds the rule which stands behind ", line ". */
std::string with_line_of_rule(std::string blamed)
{
    size_t start = blamed.find("line <"), end = blamed.find('|');
    if (start > end)
        return blamed;
    start += strlen("line ");
    std::string              rule = blamed.substr(start, end - start);
    std::vector<std::string> lines = lines_of(support::file_text(source_path("/image/update_config")));
    auto                     found = std::find(lines.begin(), lines.end(), rule);
    EXPECT_NE(found, lines.end()) << rule;
    return blamed.replace(start, end - start, std::to_string(found - lines.begin()));
}

} // namespace

TEST(FourReleases, EachLineComesFromThere)
{
    std::vector<std::string> expected;
    for (const char *line : four_blamed)
        expected.push_back(with_line_of_rule(line));
    EXPECT_EQ(blamed_lines(answer_for("blame --show-secrets", "sys_domain.shop.conf", four_releases)), expected);
}
