/*
 * Whole appliances are upgraded, and what is told of them is held against the texts: each node stands in the lines that
 * it is told to have been read from and written to, and whoever changed something has a name.
 */
#include "laid_out.h"

#include "driver/hooks.h"
#include "driver/migr.h"
#include "support/files.h"
#include "tree/stored_files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

extern "C" int __wrap_mount(const char *, const char *, const char *, unsigned long, const void *)
{
    return 0;
}

namespace {

using Lines = std::vector<std::string>; /* line 1 has place 0 */

/* What a line of a file is told to hold; "" for a closing line. */
using Covered = std::map<uint32_t, std::string>;

struct Witness {
    Lines                          text;   /* of the file that is being read */
    Lines                          rules;  /* the update file */
    std::string                    stored; /* the file of the pass */
    size_t                         read_again;
    std::map<std::string, Covered> written; /* by file */
    std::map<std::string, size_t>  changes; /* by mechanism */
    std::set<uint64_t>             left_out;
};

Witness witness;

Lines lines_of(std::istream &&in)
{
    Lines lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

/* Inside the root folder. */
std::string line_at(const Lines &lines, uint32_t number)
{
    return number == 0 || number > lines.size() ? "(no such line)" : lines[number - 1];
}

std::string with_blanks(std::string name)
{
    for (char &letter : name)
        if (letter == ',')
            letter = ' ';
    return name;
}

/* The node's line without its indentation, as far as its name. */
std::string opening_of(const migr_change &change)
{
    uint32_t    kind = change.record->kind;
    std::string name = change.record->name;
    if (kind == MIGR_TOP)
        return "config " + with_blanks(name);
    return (kind == MIGR_CONFIG ? "config " : kind == MIGR_EDIT ? "edit " : "set ") + name;
}

/* Words are parted by any number of blanks in a file that people wrote. */
std::string squeezed(const std::string &line)
{
    std::string result;
    for (char letter : line)
        if (letter != ' ' && letter != '\t')
            result += letter;
        else if (!result.empty() && result.back() != ' ')
            result += ' ';
    return result;
}

bool holds(const std::string &line, const std::string &opening)
{
    return squeezed(line).rfind(squeezed(opening), 0) == 0;
}

void expect_opening(const std::string &line, const std::string &opening)
{
    EXPECT_TRUE(holds(line, opening)) << line << " is no " << opening;
}

void expect_closing(const std::string &line)
{
    EXPECT_TRUE(holds(line, "end") || holds(line, "next")) << line;
}

/* Each line of the file behind the two header lines is told once, and holds what is told. */
void expect_covered(const std::string &file, const Covered &covered, const std::string &text)
{
    Lines lines = lines_of(std::istringstream(text));
    EXPECT_EQ(covered.size() + 2, lines.size()) << file;
    for (const auto &[number, opening] : covered) {
        std::string line = line_at(lines, number);
        if (opening.empty())
            expect_closing(line);
        else if (opening != "(continued)")
            expect_opening(line, opening);
    }
}

/* What the split has written is read by the next pass, and written anew. */
void note_opened(const char *file)
{
    witness.text = lines_of(std::ifstream(file));
    auto split = witness.written.find(witness.stored);
    if (strcmp(file, MIGR_OLD_TEXT) != 0 || split == witness.written.end())
        return;
    expect_covered(split->first, split->second, support::file_text(file));
    witness.written.erase(split);
    witness.read_again++;
}

void note_read(const migr_change &change)
{
    if (change.kind == MIGR_OPENED && change.file)
        note_opened(change.file);
    if (change.kind == MIGR_PARSED)
        expect_opening(line_at(witness.text, change.first_line), opening_of(change));
    if (change.kind == MIGR_PARSED_END)
        expect_closing(line_at(witness.text, change.last_line));
}

void note_written(const migr_change &change)
{
    Covered &covered = witness.written[change.file];
    bool     is_end = change.kind == MIGR_WRITTEN_END;
    EXPECT_EQ(witness.left_out.count(change.node), 0u) << change.record->name << " is told to be left out";
    for (uint32_t line = is_end ? change.last_line : change.first_line; line <= change.last_line; line++) {
        EXPECT_EQ(covered.count(line), 0u) << change.file << " line " << line << " is told twice";
        covered[line] = is_end ? "" : line == change.first_line ? opening_of(change) : "(continued)";
    }
}

void expect_author(const migr_change &change)
{
    static const std::set<std::string> named = {"bridges", "step",       "delete", "modify", "readd",
                                                "stage",   "signatures", "split",  "files"};
    const migr_author                 &author = *change.author;
    std::string                        mechanism = author.mechanism;
    EXPECT_NE(mechanism, "host") << change.kind;
    EXPECT_NE(author.release, 0) << mechanism;
    EXPECT_EQ(author.name[0] != '\0', named.count(mechanism) == 1) << mechanism;
    bool is_rule = mechanism == "delete" || mechanism == "modify" || mechanism == "readd";
    EXPECT_EQ(author.line != 0, is_rule) << mechanism;
    std::string rule = mechanism == "delete" ? line_at(witness.rules, author.line) : author.name;
    EXPECT_NE(rule.find(author.name), std::string::npos) << author.name;
    witness.changes[mechanism]++;
    witness.changes["kind:" + std::to_string(change.kind)]++;
}

void watch(const migr_change *change)
{
    if (change->kind == MIGR_OPENED || change->kind == MIGR_PARSED || change->kind == MIGR_PARSED_END)
        return note_read(*change);
    if (change->kind == MIGR_WRITTEN || change->kind == MIGR_WRITTEN_END)
        return note_written(*change);
    EXPECT_NE(change->kind, MIGR_INCOMPLETE);
    if (change->kind == MIGR_LEFT_OUT)
        witness.left_out.insert(change->node);
    if (change->kind != MIGR_RELEASED)
        expect_author(*change);
}

void upgrade_and_watch()
{
    witness = {};
    witness.rules = lines_of(std::ifstream("/data/etc/update_config"));
    migr_observe_changes(watch);
    migr_main_do_all();
    migr_observe_changes(nullptr);
}

} // namespace

void migr_on_file(const char *path, uint32_t)
{
    witness.stored = path;
}

TEST(ToldLines, AreThoseOfTheTexts)
{
    std::map<std::string, size_t> all;
    for (const std::string &sample : ledger_test::all_samples()) {
        SCOPED_TRACE(sample);
        support::ApplianceRoot root;
        ledger_test::lay_out_sample(sample, root);
        support::ChildResult child = support::run_in_root(root.path(), [&] {
            upgrade_and_watch();
            EXPECT_FALSE(witness.written.empty());
            for (const auto &[file, covered] : witness.written)
                expect_covered(file, covered, support::gunzip(support::file_text(file)));
            witness.changes["split-files"] = witness.read_again;
            for (const auto &[mechanism, count] : witness.changes)
                fprintf(stderr, "%s %zu\n", mechanism.c_str(), count);
            return 0;
        });
        EXPECT_EQ(child.exit_code, 0) << child.out.substr(0, 4000);
        std::istringstream counts(child.err);
        size_t             count;
        for (std::string mechanism; counts >> mechanism >> count;)
            all[mechanism] += count;
    }
    for (const char *mechanism : {"step", "delete", "modify", "readd", "stage", "signatures", "files", "split-files"})
        EXPECT_GT(all[mechanism], 0u) << mechanism;
    for (int kind = MIGR_MADE; kind < MIGR_INCOMPLETE; kind++)
        EXPECT_EQ(all["kind:" + std::to_string(kind)] > 0,
                  kind != MIGR_RELEASED && kind != MIGR_WRITTEN && kind != MIGR_WRITTEN_END)
            << kind;
}

/* No sample has any. */
TEST(ToldLines, BridgesAreHiddenByAMechanismOfTheirOwn)
{
    support::ApplianceRoot root;
    ledger_test::lay_out_image(root);
    root.write_gzip("/data/config/sys_global.conf.gz",
                    "#config-version=QA-A1X-3.30-CV-build0601-110328:opmode=0:vdom=0\n#conf_file_ver=1\n"
                    "config system bridge\n    edit b1\n    next\nend\n");
    support::ChildResult child = support::run_in_root(root.path(), [&] {
        upgrade_and_watch();
        EXPECT_EQ(witness.changes["bridges"], 1u);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.out.substr(0, 4000);
}
