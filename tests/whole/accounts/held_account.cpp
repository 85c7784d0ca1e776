/* Upgrades an appliance with its account, and holds each entry against both texts. It trusts nothing of the account
 * but its form. */
#include "held_account.h"

#include "appliance/old_forms.h"
#include "appliance/stored_text.h"
#include "driver/migr.h"
#include "explain/ledger_run.h"
#include "language/items.h"
#include "support/files.h"
#include "support/places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <utility>

namespace fs = std::filesystem;
using namespace command;

namespace accounts_test {

namespace {

constexpr int most_files = 60; /* that a child's exit code can tell apart from what else it says */

/* ---- the run ---- */

void lay_out(const std::vector<StoredText> &files)
{
    for (const char *folder : {"/data/config", "/before"})
        fs::remove_all(folder);
    fs::create_directories("/data/config");
    make_old_forms();
    for (const StoredText &file : files) {
        store_text(file.name, file.text);
        keep_old_form(file.name);
    }
}

/* A file that was split is whole as two, or not at all. */
void keep_whole(std::vector<AccountFile> &files)
{
    auto is_made = [](const AccountFile &file) { return file.before < 0; };
    bool is_split = std::any_of(files.begin(), files.end(), is_made);
    bool failed = std::erase_if(files, [](const AccountFile &file) { return file.after != MIGR_RELEASE_IMAGE; }) > 0;
    if (is_split && failed)
        files.clear();
}

std::string old_text_of(const std::vector<StoredText> &files, const std::string &name)
{
    auto at = std::find_if(files.begin(), files.end(), [&](const StoredText &file) { return file.name == name; });
    return at == files.end() ? "" : at->text;
}

/* ---- the texts ---- */

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines = {""}; /* they count from 1 */
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

std::string without_indent(const std::string &line)
{
    size_t start = line.find_first_not_of(" \t\v\f\r");
    return start == std::string::npos ? "" : line.substr(start);
}

/* ---- the comparison ---- */

using Lines = std::vector<std::string>;

struct Side {
    Lines            lines;
    std::vector<int> taken; /* by how many entries */
};

class Holding {
  public:
    explicit Holding(const HeldRun &run) : run_(run)
    {
        for (size_t at = 0; at < run.account.files.size(); at++) {
            Lines before = lines_of(run.before[at].text), after = lines_of(run.after[at].text);
            before_.push_back({before, std::vector<int>(before.size())});
            after_.push_back({after, std::vector<int>(after.size())});
        }
    }

    std::vector<std::string> faults()
    {
        if (run_.account.is_incomplete)
            say("the account is incomplete");
        for (size_t at = 0; at < run_.account.files.size(); at++)
            for (const AccountEntry &entry : run_.account.files[at].entries)
                look_at(at, entry);
        for (size_t at = 0; at < run_.account.files.size(); at++) {
            look_at_sums(at);
            look_at_order(at);
        }
        return std::move(faults_);
    }

  private:
    template <typename... Parts> void say(const Parts &...parts)
    {
        std::ostringstream text;
        (text << ... << parts);
        faults_.push_back(text.str());
    }

    size_t place_of(const std::string &name) const
    {
        const std::vector<AccountFile> &files = run_.account.files;
        return static_cast<size_t>(
            std::find_if(files.begin(), files.end(), [&](const AccountFile &file) { return file.file == name; }) -
            files.begin());
    }

    void take(const std::string &what, Side &side, const Span &span)
    {
        if (span.first == 0)
            return;
        if (span.last < span.first || span.last >= side.lines.size())
            return say(what, ": no lines ", span.first, " to ", span.last);
        for (uint32_t line = span.first; line <= span.last; line++)
            if (++side.taken[line] > 1)
                say(what, " ", line, " stands in two entries: ", side.lines[line]);
    }

    void look_at(size_t at, const AccountEntry &entry)
    {
        const std::string &name = run_.account.files[at].file;
        size_t             out = entry.out_file.empty() ? at : place_of(entry.out_file);
        if (out == run_.account.files.size())
            return say(name, " ", entry.in.first, ": it went to ", entry.out_file, ", which is not in the account");
        take(name + " before", before_[at], entry.in);
        take(run_.account.files[out].file + " after", after_[out], entry.out);
        bool is_kept = entry.fate == LineFate::kept;
        if (is_kept != entry.causes.empty())
            say(name, " ", entry.in.first, " to ", entry.out.first, ": ", word(entry.fate), " with ",
                entry.causes.size(), " causes: ", entry.before, entry.after);
        if (is_kept || entry.fate == LineFate::moved)
            expect_same(name, entry, before_[at].lines, after_[out].lines);
        bool has_in = entry.in.first != 0, has_out = entry.out.first != 0;
        if (has_in != (entry.fate != LineFate::added) || has_out != (entry.fate != LineFate::dropped))
            say(name, " ", entry.in.first, " to ", entry.out.first, ": ", word(entry.fate));
    }

    void expect_same(const std::string &name, const AccountEntry &entry, const Lines &before, const Lines &after)
    {
        uint32_t count = entry.in.last - entry.in.first;
        if (entry.in.last >= before.size() || entry.out.last >= after.size())
            return;
        bool same = entry.out.last - entry.out.first == count &&
                    without_indent(before[entry.in.first]) == without_indent(after[entry.out.first]);
        for (uint32_t line = 1; same && line <= count; line++)
            same = before[entry.in.first + line] == after[entry.out.first + line];
        if (!same)
            say(name, " ", entry.in.first, " is told as ", word(entry.fate), " to ", entry.out.first,
                ", and is another text: ", before[entry.in.first], " | ", after[entry.out.first]);
    }

    uint64_t untaken(const Side &side) const
    {
        return static_cast<uint64_t>(std::count(side.taken.begin() + 1, side.taken.end(), 0));
    }

    void look_at_sums(size_t at)
    {
        const AccountFile &file = run_.account.files[at];
        const LineCounts  &in = file.in, &out = file.out;
        if (in.lines != before_[at].lines.size() - 1 || out.lines != after_[at].lines.size() - 1)
            say(file.file, ": the lines are not counted right");
        if (in.lines != in.kept + in.moved + in.rewritten + in.dropped + in.layout + in.unread)
            say(file.file, ": the sum of lines before is wrong");
        if (out.lines != out.kept + out.moved + out.rewritten + out.added + out.layout)
            say(file.file, ": the sum of lines behind is wrong");
        if (in.layout + in.unread != untaken(before_[at]) || out.layout != untaken(after_[at]))
            say(file.file, ": what stands in no entry is not what is counted so");
        if (file.unexplained != 0)
            say(file.file, ": ", file.unexplained, " lines are unexplained");
        expect_layout(file.file, after_[at]);
    }

    /* The writer writes nothing that it does not know: header lines, and lines that close a block. */
    void expect_layout(const std::string &name, const Side &side)
    {
        for (size_t line = 3; line < side.lines.size(); line++) {
            std::string text = without_indent(side.lines[line]);
            if (side.taken[line] == 0 && text != "end" && text != "next")
                say(name, " after ", line, " stands in no entry: ", side.lines[line]);
        }
    }

    /* What is kept stands behind what stood ahead of it in the same list. */
    void look_at_order(size_t at)
    {
        using List = std::pair<size_t, ItemKind>;
        std::map<uint32_t, List> lists;
        for (const ConfigItem &item : items_of(run_.before[at].text))
            lists[static_cast<uint32_t>(item.line)] = {item.parent, item.kind};
        std::map<List, uint32_t> last;
        for (const AccountEntry &entry : run_.account.files[at].entries)
            if (entry.fate == LineFate::kept) {
                uint32_t before = std::exchange(last[lists[entry.in.first]], entry.out.first);
                if (before > entry.out.first)
                    say(run_.account.files[at].file, " ", entry.in.first, " is kept in ", entry.out.first,
                        " ahead of another that it stood behind");
            }
    }

    const HeldRun           &run_;
    std::vector<Side>        before_, after_;
    std::vector<std::string> faults_;
};

} // namespace

HeldRun upgrade_and_account(const std::vector<StoredText> &files, Detail detail)
{
    lay_out(files);
    HeldRun run;
    run.account = account_of_run(detail);
    keep_whole(run.account.files);
    for (const AccountFile &file : run.account.files) {
        run.before.push_back({file.file, old_text_of(files, file.file)});
        run.after.push_back({file.file, stored_text(file.file)});
    }
    return run;
}

std::vector<std::string> faults_of(const HeldRun &run)
{
    return Holding(run).faults();
}

HeldRun expect_balance(const std::vector<StoredText> &files)
{
    constexpr size_t         most = 5; /* one fault has many others behind it */
    HeldRun                  run = upgrade_and_account(files);
    std::vector<std::string> faults = faults_of(run);
    for (size_t at = 0; at < std::min(faults.size(), most); at++)
        ADD_FAILURE() << faults[at];
    return run;
}

void expect_balance_in(const support::ApplianceRoot &root, const std::vector<StoredText> &files, size_t *accounted)
{
    auto work = [&] {
        HeldRun run = expect_balance(files);
        return static_cast<int>(std::min<size_t>(run.account.files.size(), most_files));
    };
    support::ChildResult child = support::run_in_root(root.path(), work);
    EXPECT_LE(child.exit_code, most_files) << child.out << child.err;
    EXPECT_EQ(child.signal, 0);
    *accounted = static_cast<size_t>(child.exit_code);
}

std::vector<StoredText> files_of_sample(const std::string &sample)
{
    std::vector<StoredText> files;
    for (const auto &entry : fs::directory_iterator(support::source_path("/samples/" + sample + "/data/config")))
        if (entry.path().extension() == ".conf")
            files.push_back({entry.path().filename().string() + ".gz", support::file_text(entry.path())});
    std::sort(files.begin(), files.end(),
              [](const StoredText &one, const StoredText &other) { return one.name < other.name; });
    return files;
}

} // namespace accounts_test
