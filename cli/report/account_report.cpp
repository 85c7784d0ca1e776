/* One walk over the entries for people, one for programs; both ask the same view which entries count. */
#include "report/account_report.h"

#include "explain/remarks.h"
#include "explain/secrets.h"
#include "language/lines.h"
#include "output/release_text.h"
#include "output/table.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace command {

namespace {

/* What somebody has to answer for comes first. */
constexpr const char *kinds_in_order[] = {"protection", "credentials", "network",     "logging",
                                          "appearance", "rule",        "housekeeping"};

/* By author. */
using CauseTexts = std::vector<CauseText>;

CauseTexts texts_of(const Account &account, const Causes &causes)
{
    CauseTexts texts;
    for (const Author &author : account.authors)
        texts.push_back(causes.of(author.mechanism, author.name, author.line));
    return texts;
}

std::string path_text(const std::vector<std::string> &names)
{
    std::string path;
    for (const std::string &name : names)
        path += (path.empty() ? "" : " / ") + name;
    return path;
}

bool wants_fate(const AccountView &view, LineFate fate)
{
    switch (fate) {
    case LineFate::dropped:
        return view.dropped;
    case LineFate::rewritten:
        return view.rewritten;
    case LineFate::added:
        return view.added;
    case LineFate::moved:
        return view.moved;
    default:
        return view.kept;
    }
}

bool wants(const AccountView &view, const Account &account, const CauseTexts &texts, const AccountEntry &entry)
{
    bool is_new_class = entry.fate == LineFate::added && view.new_classes && is_by_signatures(account, entry);
    if (!wants_fate(view, entry.fate) && !is_new_class)
        return false;
    if (!view.path.empty() && !is_path_like(path_text(entry.path), view.path))
        return false;
    return view.causes.takes_all() || std::any_of(entry.causes.begin(), entry.causes.end(), [&](uint32_t cause) {
               return view.causes.takes(account.authors[cause], texts[cause]);
           });
}

std::string lines_text(uint64_t count)
{
    return std::to_string(count) + (count == 1 ? " line" : " lines");
}

std::string numbers_of(const Span &span)
{
    return std::to_string(span.first) + (span.last > span.first ? "-" + std::to_string(span.last) : "");
}

void show_text(char mark, const std::string &text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        say(std::string("      ") + mark + " " + std::string(without_indent(line)));
}

/* Entries of one fate and with the same causes. */
struct Group {
    LineFate                                                          fate;
    std::vector<uint32_t>                                             causes;
    std::vector<std::pair<const AccountFile *, const AccountEntry *>> entries;
};

size_t rank_of(const Group &group, const CauseTexts &texts)
{
    size_t best = std::size(kinds_in_order);
    for (uint32_t cause : group.causes)
        best = std::min(best, rank_of_kind(texts[cause].kind));
    return best;
}

std::vector<Group> groups_of(const Account &account, const CauseTexts &texts, const AccountView &view)
{
    std::map<std::pair<LineFate, std::vector<uint32_t>>, size_t> places;
    std::vector<Group>                                           groups;
    for (const AccountFile &file : account.files)
        for (const AccountEntry &entry : file.entries) {
            if (!wants(view, account, texts, entry) || !entry.reason.empty())
                continue;
            auto [at, is_new] = places.try_emplace({entry.fate, entry.causes}, groups.size());
            if (is_new)
                groups.push_back({entry.fate, entry.causes, {}});
            groups[at->second].entries.emplace_back(&file, &entry);
        }
    std::stable_sort(groups.begin(), groups.end(), [&](const Group &one, const Group &other) {
        auto key = [&](const Group &group) {
            return std::pair(rank_of(group, texts), group.fate != LineFate::dropped);
        };
        return key(one) < key(other);
    });
    return groups;
}

uint64_t lines_of(const Group &group)
{
    uint64_t lines = 0;
    for (auto [file, entry] : group.entries) {
        const Span &span = entry->fate == LineFate::added ? entry->out : entry->in;
        lines += span.last - span.first + 1;
    }
    return lines;
}

const char *text_of(Hand hand)
{
    switch (hand) {
    case Hand::firmware:
        return ", as the firmware had it";
    case Hand::person:
        return ", set by hand";
    default:
        return "";
    }
}

void show_group(const Group &group, const Account &account, const CauseTexts &texts, const AccountView &view)
{
    say("");
    say(lines_text(lines_of(group)) + " " + word(group.fate));
    for (uint32_t cause : group.causes) {
        const CauseText &text = texts[cause];
        say("  by " + shown(account.authors[cause]) + " (" + text.kind + ")" +
            (text.sentence.empty() ? "" : ": " + text.sentence));
    }
    for (auto [file, entry] : group.entries) {
        const Span &span = entry->fate == LineFate::added ? entry->out : entry->in;
        say("    " + file->file + ":" + numbers_of(span) + "  " + path_text(entry->path) +
            (entry->out_file.empty() ? "" : ", now in " + entry->out_file) +
            (entry->copied_from.first == 0 ? "" : ", copied from line " + numbers_of(entry->copied_from)) +
            (entry->from_file.empty() ? "" : ", from " + entry->from_file) + text_of(entry->hand));
        if (!entry->before.empty())
            show_text('-', view.show_secrets ? entry->before : without_secret(*entry, entry->before));
        if (!entry->after.empty())
            show_text('+', view.show_secrets ? entry->after : without_secret(*entry, entry->after));
    }
}

/* ---- the signature lists ---- */

/* An identifier that a list has lost or gained. */
void show_identifier(const AccountEntry &entry)
{
    bool        is_new = entry.fate == LineFate::added;
    const Span &span = is_new ? entry.out : entry.in;
    say(std::string("    ") + (is_new ? "+ " : "- ") + entry.path.back() + ", line " + numbers_of(span) +
        (is_new ? " of the result: " : ": ") + entry.reason);
}

/* What stands in an entry comes and goes with it, and has no reason of its own. */
void show_signature_lists(const Account &account, const CauseTexts &texts, const AccountView &view)
{
    std::string shown_list;
    for (const AccountFile &file : account.files)
        for (const AccountEntry &entry : file.entries) {
            bool opens = is_word(keyword_of_line(entry.before + entry.after).word, "edit");
            if (entry.reason.empty() || !opens || !wants(view, account, texts, entry))
                continue;
            if (shown_list.empty()) {
                say("");
                say("The signature lists beside the image's signature database. What it does not have cannot be kept: "
                    "the new release would not load it.");
            }
            std::string list = file.file + "  " + path_text({entry.path.begin(), entry.path.end() - 1});
            if (list != shown_list)
                say("  " + list);
            shown_list = list;
            show_identifier(entry);
        }
}

/* ---- for programs ---- */

Json hand_json(Hand hand)
{
    return hand == Hand::unknown ? Json() : Json(hand == Hand::person);
}

Json span_json(const Span &span)
{
    return span.first == 0 ? Json() : Json(Json::List{uint64_t{span.first}, uint64_t{span.last}});
}

Json end_json(const Span &span)
{
    return span.end == 0 ? Json() : Json(uint64_t{span.end});
}

Json cause_json(const Author &author, const CauseText &text)
{
    return Json::Members{{"release", Json::release(author.release)},
                         {"mechanism", author.mechanism},
                         {"name", author.name},
                         {"line", author.line == 0 ? Json() : Json(uint64_t{author.line})},
                         {"kind", text.kind}};
}

Json text_json(const AccountEntry &entry, const std::string &text, bool show_secrets)
{
    return text.empty() ? Json() : Json::lines(show_secrets ? text : without_secret(entry, text));
}

Json causes_json(const Account &account, const AccountEntry &entry, const CauseTexts &texts)
{
    Json::List list;
    for (uint32_t cause : entry.causes)
        list.push_back(cause_json(account.authors[cause], texts[cause]));
    return list;
}

Json line_counts_json(const LineCounts &counts, bool of_input)
{
    Json::Members members = {
        {"lines", counts.lines}, {"kept", counts.kept}, {"moved", counts.moved}, {"rewritten", counts.rewritten}};
    members.emplace_back(of_input ? "dropped" : "added", of_input ? counts.dropped : counts.added);
    members.emplace_back("layout", counts.layout);
    if (of_input)
        members.emplace_back("unread", counts.unread);
    return members;
}

} // namespace

size_t rank_of_kind(const std::string &kind)
{
    auto at = std::find(std::begin(kinds_in_order), std::end(kinds_in_order), kind);
    return static_cast<size_t>(at - std::begin(kinds_in_order));
}

std::string shown(const Author &author)
{
    std::string name =
        author.line == 0 ? author.name : "line " + std::to_string(author.line) + " of the update file, " + author.name;
    return release_text(author.release) + " " + author.mechanism + (name.empty() ? "" : " " + name);
}

std::string briefly(const Author &author)
{
    std::string release = release_text(author.release) + " ";
    if (author.line != 0)
        return release + author.mechanism + ", line " + std::to_string(author.line);
    return release + (author.name.empty() ? author.mechanism : author.name);
}

std::string without_secret(const AccountEntry &entry, const std::string &text)
{
    ConfigKeyword first = keyword_of_line(text);
    if (!is_word(first.word, "set"))
        return text;
    ConfigName       name = config_name(first.rest);
    std::string_view value = without_white_end(without_indent(name.rest));
    if (!is_secret_set(entry.path.empty() ? "" : entry.path.front(), std::string(name.kept), std::string(value)))
        return text;
    return "set " + std::string(name.kept) + " (hidden)\n";
}

void show_counts(const Account &account, Print print)
{
    std::vector<Row> rows = {
        {"FILE", "BEFORE", "LINES", "KEPT", "MOVED", "REWRITTEN", "DROPPED", "LAYOUT", "ADDED", "LINES", "AFTER"}};
    for (const AccountFile &file : account.files)
        rows.push_back({file.file, release_text(file.before), std::to_string(file.in.lines),
                        std::to_string(file.in.kept), std::to_string(file.in.moved), std::to_string(file.in.rewritten),
                        std::to_string(file.in.dropped), std::to_string(file.in.layout), std::to_string(file.out.added),
                        std::to_string(file.out.lines), release_text(file.after)});
    show_table(rows, {2, 3, 4, 5, 6, 7, 8, 9}, print);
}

void show_entries(const Account &account, const Causes &causes, const AccountView &view)
{
    CauseTexts texts = texts_of(account, causes);
    for (const Group &group : groups_of(account, texts, view))
        show_group(group, account, texts, view);
    show_signature_lists(account, texts, view);
}

void show_effects(const Account &account, const Causes &causes)
{
    if (account.effects.empty())
        return;
    CauseTexts texts = texts_of(account, causes);
    say("");
    say("Files beside the configuration");
    for (const FileEffect &effect : account.effects) {
        const Author &author = account.authors[effect.author];
        say("  " + effect.what + " " + (effect.before.empty() ? "" : effect.before + " to ") + effect.path + ", by " +
            shown(author) + " (" + texts[effect.author].kind + ")");
    }
}

std::string summary_of(const Account &account, const Causes &causes)
{
    CauseTexts texts = texts_of(account, causes);
    uint64_t   dropped = 0, rewritten = 0, by_hand = 0, serious = 0, unread = 0, unexplained = 0;
    for (const AccountFile &file : account.files) {
        unread += file.in.unread;
        unexplained += file.unexplained;
        dropped += file.in.dropped;
        rewritten += file.in.rewritten;
        for (const Loss &loss : file.losses) {
            bool was_set_by_hand = loss.fate == LineFate::dropped && loss.hand == Hand::person;
            by_hand += was_set_by_hand ? loss.lines : 0;
            bool counts = std::any_of(loss.causes.begin(), loss.causes.end(),
                                      [&](uint32_t cause) { return rank_of_kind(texts[cause].kind) < 2; });
            serious += counts ? loss.lines : 0;
        }
    }
    std::string gaps = (unread == 0 ? "" : "; " + lines_text(unread) + " could not be read") +
                       (unexplained == 0 ? "" : "; " + lines_text(unexplained) + " changed without a known cause") +
                       (account.is_incomplete ? "; memory ran out, so causes are missing" : "");
    if (dropped == 0 && rewritten == 0)
        return "No line was dropped or rewritten" + gaps;
    return lines_text(dropped) + (dropped == 1 ? " was" : " were") + " dropped" +
           (by_hand == 0 ? "" : ", " + std::to_string(by_hand) + " of them set by hand,") + " and " +
           std::to_string(rewritten) + " rewritten, " + (serious == 0 ? "none" : std::to_string(serious)) +
           " of them about protection or credentials" + gaps;
}

Json::Members entry_json(const AccountEntry &entry, Json causes, bool show_secrets)
{
    return {{"fate", word(entry.fate)},
            {"in", span_json(entry.in)},
            {"in_end", end_json(entry.in)},
            {"out", span_json(entry.out)},
            {"out_end", end_json(entry.out)},
            {"out_file", Json::text_or_null(entry.out_file)},
            {"path", Json::list(entry.path)},
            {"causes", std::move(causes)},
            {"before", text_json(entry, entry.before, show_secrets)},
            {"after", text_json(entry, entry.after, show_secrets)},
            {"copied_from", span_json(entry.copied_from)},
            {"from_file", Json::text_or_null(entry.from_file)},
            {"reason", Json::text_or_null(entry.reason)},
            {"by_hand", hand_json(entry.hand)}};
}

Json::Members file_counts_json(const AccountFile &file)
{
    return {{"file", file.file},
            {"before", Json::release(file.before)},
            {"after", Json::release(file.after)},
            {"in", line_counts_json(file.in, true)},
            {"out", line_counts_json(file.out, false)},
            {"unexplained", file.unexplained}};
}

Json::List counts_json(const Account &account)
{
    Json::List files;
    for (const AccountFile &file : account.files)
        files.push_back(file_counts_json(file));
    return files;
}

Json::Members to_json(const Account &account, const Causes &causes, const AccountView &view)
{
    CauseTexts texts = texts_of(account, causes);
    Json::List files, effects;
    for (const AccountFile &file : account.files) {
        Json::List entries;
        for (const AccountEntry &entry : file.entries)
            if (wants(view, account, texts, entry))
                entries.push_back(entry_json(entry, causes_json(account, entry, texts), view.show_secrets));
        Json::Members members = file_counts_json(file);
        members.emplace_back("entries", std::move(entries));
        files.push_back(std::move(members));
    }
    for (const FileEffect &effect : account.effects) {
        const Author &author = account.authors[effect.author];
        effects.push_back(Json::Members{{"path", effect.path},
                                        {"what", effect.what},
                                        {"before", Json::text_or_null(effect.before)},
                                        {"release", Json::release(author.release)},
                                        {"name", author.name}});
    }
    return {{"files", std::move(files)}, {"effects", std::move(effects)}, {"incomplete", account.is_incomplete}};
}

} // namespace command
