/*
 * Whole upgrades of whole appliances: an input is a document (document.h) whose files are laid out, and which is
 * upgraded, and upgraded again. What is held: every change is told; whoever has read the account of the lines finds
 * each of them explained, and the sums right; two upgrades from the same files end in the same bytes; what is stored
 * is whole and is what will be read; a second upgrade changes nothing.
 */
#include "appliance/inspect.h"
#include "driver/migr.h"
#include "driver/upgrade_run.h"
#include "driver/version_lines.h"
#include "explain/account.h"
#include "explain/journal.h"
#include "fuzz/afresh.h"
#include "fuzz/fuzzing.h"
#include "fuzz/held_world.h"
#include "fuzz/root_folder.h"
#include "fuzz/tree_text.h"
#include "run/library_child.h"
#include "run/read_back.h"
#include "support/failing_memory.h"
#include "system/gzip_text.h"
#include "tree/stored_files.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

using namespace fuzzing;
using Files = std::map<std::string, std::string>;

/* Files whose tree was known to be misread, by those who look ahead of the writing; the split has two of them. */
bool has_misreading;

[[noreturn]] void fail(const std::string &what)
{
    tell(what.c_str());
    abort();
}

void look_at_part(int32_t, const char *phase)
{
    check_book();
    if (std::string_view(phase) == "signatures")
        has_misreading = has_misreading || !command::misreadings_of(migr_main.root, 1).empty();
}

/* An upgrade that waits for ever leaves the pass as it is; the next begins a new one. */
bool upgrade()
{
    bool came_back = comes_back(migr_main_do_all);
    if (came_back)
        return true;
    migr_release_nodes();
    free_tmp_tree();
    global_sig_db_close();
    vdom_update_flag = 0;
    return false;
}

bool upgrade_by_the_book()
{
    begin();
    has_misreading = false;
    command::watch_sections(look_at_part);
    bool came_back = upgrade();
    command::watch_sections({});
    migr_observe_changes(nullptr);
    return came_back;
}

/* ---- what is stored ---- */

Files configurations(const Files &files)
{
    Files texts;
    for (const auto &[path, content] : files)
        if (path.starts_with("/data/config/"))
            if (std::optional<std::string> text = command::gunzip(content))
                texts[path.substr(sizeof "/data/config/" - 1)] = *text;
    return texts;
}

/* The release of a stored file, as the library reads it. */
int32_t release_of_file(const std::string &name)
{
    return get_config_version((MIGR_CONFIG_FOLDER "/" + name).c_str());
}

/* The text behind the header lines, which are one where a NUL has cut the first of them short. */
std::string body_of(const std::string &text)
{
    size_t second = text.find("#conf_file_ver="), body = second == std::string::npos ? second : text.find('\n', second);
    return body == std::string::npos ? "" : text.substr(body + 1);
}

/* White space between words is layout, and the writer leaves what values and names begin or end with. */
std::string squeezed(const std::string &text)
{
    std::string result;
    for (char c : text) {
        while ((c == '\n' || c == ' ') && !result.empty() && result.back() == ' ')
            result.pop_back();
        result += c;
    }
    return result;
}

/* A text that was written is read and written as it is. */
void expect_normal(const std::string &name, const std::string &text)
{
    begin();
    migr_observe_changes(nullptr);
    std::string body = body_of(text);
    bool        is_read = plant(body) == 0;
    std::string again = written(&migr_main.root);
    release_pass_nodes();
    if (!is_read)
        fail(name + " cannot be read:\n" + body);
    if (squeezed(again) != squeezed(body))
        fail(name + " is not read as it was written:\n" + body + "\n---- but\n" + again);
}

/* Whether the command would leave one of the files alone for its version line, in which the library finds numbers all
 * the same. The line that it makes then need not be one. */
bool names_no_release(const Files &files)
{
    return std::any_of(files.begin(), files.end(), [](const auto &file) {
        return !command::inspect_text(file.second, command::Depth::headers).no_release.empty();
    });
}

void look_at_results(const Files &before, const Files &after)
{
    if (names_no_release(before))
        return;
    for (const auto &[name, text] : after) {
        auto old = before.find(name);
        if (old != before.end() && old->second == text)
            continue;
        if (release_of_file(name) != MIGR_RELEASE_IMAGE && release_of_file(name) != MIGR_RELEASE(5, 10))
            fail(name + " was changed and is of another release than the image:\n" + text.substr(0, 200));
        if (!has_misreading)
            expect_normal(name, text);
    }
    for (const auto &[name, text] : before)
        if (!after.contains(name) && name != "sys_domain.root.conf.gz")
            fail(name + " is gone");
}

void expect_same(const Files &one, const Files &other, const char *what)
{
    for (const auto &[path, content] : one) {
        auto found = other.find(path);
        if (found == other.end() || found->second != content)
            fail(std::string(what) + ": " + path + (found == other.end() ? " is gone" : " has changed"));
    }
    for (const auto &[path, content] : other)
        if (!one.contains(path))
            fail(std::string(what) + ": " + path + " is new");
}

/* ---- the account ---- */

void expect_sums(const command::AccountFile &file)
{
    const command::LineCounts &in = file.in, &out = file.out;
    if (in.lines != in.kept + in.moved + in.rewritten + in.dropped + in.layout + in.unread ||
        out.lines != out.kept + out.moved + out.rewritten + out.added + out.layout)
        fail("the sums of " + file.file + " do not balance");
    if (file.unexplained != 0)
        fail(std::to_string(file.unexplained) + " lines of " + file.file + " are unexplained");
}

/* Of the files that came through to the image's release. */
std::vector<command::AccountedText> accounted_texts(const Files &before, const Files &after)
{
    std::vector<command::AccountedText> texts;
    bool                                is_split = false, is_whole = true;
    for (const auto &[name, text] : after) {
        auto old = before.find(name);
        is_split = is_split || old == before.end();
        if (release_of_file(name) != MIGR_RELEASE_IMAGE) {
            is_whole = false;
            continue;
        }
        command::AccountedText accounted;
        accounted.file = name;
        accounted.before = old == before.end() ? -1 : MIGR_RELEASE(5, 0);
        accounted.after = MIGR_RELEASE_IMAGE;
        accounted.old_text = old == before.end() ? "" : old->second;
        accounted.new_text = text;
        texts.push_back(std::move(accounted));
    }
    std::stable_sort(texts.begin(), texts.end(), [](const auto &one, const auto &other) {
        return (one.file == MIGR_GLOBAL_FILE) > (other.file == MIGR_GLOBAL_FILE);
    });
    if (is_split && !is_whole)
        texts.clear(); /* a file that was split is whole as two, or not at all */
    return texts;
}

void upgrade_with_account(const Files &before)
{
    command::Journal journal = command::take_down([] { upgrade(); });
    Files            after = configurations(listing());
    command::Account account =
        command::account_of(std::move(journal), accounted_texts(before, after), command::Detail::lines);
    if (account.is_incomplete)
        fail("the account is incomplete");
    for (const command::AccountFile &file : account.files)
        expect_sums(file);
}

/* ---- all of it ---- */

/* A domain from before 5.10 splits as well, and leaves a global file of 5.10 that the next upgrade goes on with. */
bool all_current(const Files &files)
{
    return std::all_of(files.begin(), files.end(),
                       [](const auto &file) { return release_of_file(file.first) == MIGR_RELEASE_IMAGE; });
}

std::string listing_as_text(const Files &files)
{
    std::string text;
    for (const auto &[path, content] : files)
        text += path + "=" + content + "\n";
    return text;
}

/* What the first upgrade has left, and ahead of it whether that came back. */
std::string upgrade_twice(const Document &document)
{
    lay_out(document);
    Files before = configurations(listing());
    bool  came_back = upgrade_by_the_book();
    Files once = listing();
    look_at_results(before, configurations(once));
    if (came_back && !has_misreading && all_current(configurations(once))) {
        upgrade_by_the_book();
        expect_same(once, listing(), "A second upgrade");
    }
    return (came_back ? '1' : '0') + listing_as_text(once);
}

std::string upgrade_for_account(const Document &document, bool comes_back)
{
    lay_out(document);
    Files before = configurations(listing());
    if (comes_back)
        upgrade_with_account(before);
    else
        upgrade();
    return (comes_back ? '1' : '0') + listing_as_text(listing());
}

/* What comes of it is anybody's guess, but nothing must break. */
int upgrade_without_memory(const Document &document)
{
    afresh([&] {
        lay_out(document);
        migr_observe_changes(nullptr);
        support::fail_allocation(document.refused);
        upgrade();
        support::fail_allocation(0);
        return std::string();
    });
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Inside inside;
    take_chance_away();
    Document document = document_of({reinterpret_cast<const char *>(data), size});
    if (document.refused != 0)
        return upgrade_without_memory(document);
    std::string once = afresh([&] { return upgrade_twice(document); });
    std::string again = afresh([&] { return upgrade_for_account(document, once[0] == '1'); });
    if (once == again)
        return 0;
    auto at = std::mismatch(once.begin(), once.end(), again.begin(), again.end()).first - once.begin();
    fail("Two upgrades of the same files differ, behind " + once.substr(std::max<std::ptrdiff_t>(at, 400) - 400, 600));
}
