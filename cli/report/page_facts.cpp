/* One walk over the ledger's entries counts for all lists. Sentences are made here, texts are made safe elsewhere. */
#include "report/page_facts.h"

#include "language/lines.h"
#include "report/account_report.h"
#include "system/failure.h"
#include "system/whole_numbers.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

namespace command {

namespace {

using json = nlohmann::json;

/* No file that an appliance could load has more. A ledger may be anybody's, and its numbers are made room for. */
constexpr uint32_t most_lines = 1U << 26;

/* Null is an empty text. */
std::string text_of(const json &value)
{
    return value.is_null() ? "" : value.get<std::string>();
}

std::string counted(uint64_t count, const char *one, const char *many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string line_count(uint64_t count)
{
    return counted(count, "line", "lines");
}

/* ---- files ---- */

/* "shop" of sys_domain.shop.conf.gz, "global" of the global file; letters, digits, and nothing that an address or a
 * margin could stumble over. */
std::string short_name(std::string file)
{
    for (const char *suffix : {".gz", ".conf"})
        if (file.ends_with(suffix))
            file.resize(file.size() - std::string_view(suffix).size());
    for (const char *prefix : {"sys_domain.", "sys_"})
        if (file.starts_with(prefix)) {
            file.erase(0, std::string_view(prefix).size());
            break;
        }
    for (char &c : file)
        if (!(c >= '0' && c <= '9') && !(c >= 'a' && c <= 'z') && !(c >= 'A' && c <= 'Z') && c != '-' && c != '_')
            c = '_';
    return file.empty() ? "file" : file;
}

using ShortNames = std::map<std::string, std::string>; /* by file */

/* No two are the same. */
ShortNames short_names(const json &files)
{
    ShortNames            names;
    std::set<std::string> taken;
    for (const json &file : files) {
        std::string whole = file.at("file").get<std::string>();
        std::string name = short_name(whole);
        for (unsigned number = 2; !taken.insert(name).second; number++)
            name = short_name(whole) + "-" + std::to_string(number);
        names[whole] = name;
    }
    return names;
}

PageFile file_of(const json &file, const ShortNames &names)
{
    PageFile page;
    page.file = file.at("file").get<std::string>();
    page.short_name = names.at(page.file);
    page.before = text_of(file.at("before"));
    page.after = text_of(file.at("after"));
    page.result = file.at("result").get<std::string>();
    page.reasons = file.at("reasons").get<std::vector<std::string>>();
    page.warnings = file.at("warnings").get<std::vector<std::string>>();
    const json &account = file.at("account");
    page.has_text = !account.is_null();
    if (!page.has_text)
        return page;
    page.in = account.at("in").get<std::map<std::string, uint64_t>>();
    page.out = account.at("out").get<std::map<std::string, uint64_t>>();
    page.unexplained = account.at("unexplained").get<uint64_t>();
    page.text.text = account.at("text").get<std::string>();
    page.text.unchanged = account.at("unchanged").get<std::vector<std::vector<uint32_t>>>();
    page.text.continued = account.at("continued").get<std::vector<std::pair<uint32_t, uint32_t>>>();
    for (const std::vector<uint32_t> &run : page.text.unchanged)
        if (run.size() != 3 || *std::max_element(run.begin(), run.end()) > most_lines)
            throw std::runtime_error("a run of lines is no run");
    for (auto [first, last] : page.text.continued)
        if (last > most_lines)
            throw std::runtime_error("a value goes on beyond all lines");
    return page;
}

/* ---- changes ---- */

struct Gathering {
    PageFacts                        &facts;
    std::vector<PageCause>            causes;  /* as the ledger has them */
    std::vector<uint32_t>             numbers; /* on the page, by place in the ledger */
    std::map<std::string, PageFile *> files;   /* by name */
    std::map<std::string, FateCounts> releases;
};

char mark_of(const std::string &fate)
{
    return fate == "dropped" ? '-' : fate == "rewritten" ? '~' : fate == "added" ? '+' : '>';
}

uint64_t &count_of(FateCounts &counts, char mark)
{
    switch (mark) {
    case '-':
        return counts.dropped;
    case '~':
        return counts.rewritten;
    case '+':
        return counts.added;
    default:
        return counts.moved;
    }
}

std::string span_text(const json &span)
{
    uint32_t first = span.at(0).get<uint32_t>(), last = span.at(1).get<uint32_t>();
    return std::to_string(first) + (last > first ? "-" + std::to_string(last) : "");
}

/* What stands in an entry of a signature list comes and goes with it, and needs no reason of its own. */
bool opens_entry(const json &entry)
{
    const json &lines = entry.at("before").is_null() ? entry.at("after") : entry.at("before");
    return is_word(keyword_of_line(text_of(lines)).word, "edit");
}

std::string note_of(const json &entry)
{
    std::vector<std::string> notes;
    if (const json &hand = entry.at("by_hand"); !hand.is_null())
        notes.emplace_back(hand.get<bool>() ? "set by hand" : "as the firmware had it");
    if (const json &copied = entry.at("copied_from"); !copied.is_null())
        notes.push_back("copied from line " + span_text(copied));
    if (const json &file = entry.at("from_file"); !file.is_null())
        notes.push_back("from " + file.get<std::string>());
    if (const json &reason = entry.at("reason"); !reason.is_null() && opens_entry(entry))
        notes.push_back(reason.get<std::string>());
    std::string text;
    for (const std::string &note : notes)
        text += (text.empty() ? "" : ", ") + note;
    return text;
}

void take_span(const json &span, const json &end, uint32_t &first, uint32_t &last, uint32_t &closing)
{
    first = span.is_null() ? 0 : span.at(0).get<uint32_t>();
    last = span.is_null() ? 0 : span.at(1).get<uint32_t>();
    closing = end.is_null() ? 0 : end.get<uint32_t>();
    if (last < first)
        throw std::runtime_error("lines end ahead of their beginning");
    if (last > most_lines || closing > most_lines)
        throw std::runtime_error("a line has a number beyond all lines");
}

PageChange change_of(const json &entry, const std::vector<uint32_t> &numbers)
{
    PageChange change;
    change.mark = mark_of(entry.at("fate").get<std::string>());
    take_span(entry.at("in"), entry.at("in_end"), change.in, change.in_last, change.in_end);
    take_span(entry.at("out"), entry.at("out_end"), change.out, change.out_last, change.out_end);
    change.path = entry.at("path").get<std::vector<std::string>>();
    change.before = text_of(entry.at("before"));
    change.note = note_of(entry);
    change.by_hand = entry.at("by_hand") == true;
    for (uint32_t cause : entry.at("causes").get<std::vector<uint32_t>>())
        change.causes.push_back(numbers.at(cause));
    return change;
}

/* Lines that follow each other are one place. */
void add_place(std::vector<PagePlace> &places, const PagePlace &place)
{
    bool follows = !places.empty() && places.back().file == place.file && places.back().is_old == place.is_old &&
                   places.back().last + 1 == place.first;
    if (follows)
        places.back().last = place.last;
    else
        places.push_back(place);
}

void count_change(Gathering &gathering, const PageChange &change, const PagePlace &place)
{
    uint64_t              lines = place.last - place.first + 1;
    std::set<std::string> releases;
    for (uint32_t number : change.causes) {
        PageCause &cause = gathering.causes.at(number);
        count_of(cause.counts, change.mark) += lines;
        add_place(cause.places, place);
        releases.insert(cause.release);
        if (change.by_hand && change.mark == '-') {
            cause.by_hand += lines;
            add_place(cause.places_by_hand, place);
        }
    }
    for (const std::string &release : releases)
        count_of(gathering.releases[release], change.mark) += lines;
}

void note_signature(PageFacts &facts, const json &entry, const PageChange &change, const PagePlace &place)
{
    if (entry.at("reason").is_null() || !opens_entry(entry) || change.path.empty())
        return;
    std::string list;
    for (size_t at = 0; at + 1 < change.path.size(); at++)
        list += (at == 0 ? "" : " / ") + change.path[at];
    facts.signatures.push_back(
        {place, list, change.path.back(), entry.at("reason").get<std::string>(), change.mark == '+'});
}

/* A change stands in the file that it came from, and when it is in another one's result, in that too. */
void take_entry(Gathering &gathering, const json &entry, PageFile &file)
{
    PageChange change = change_of(entry, gathering.numbers);
    PageFile  *result = &file;
    if (const json &out_file = entry.at("out_file"); !out_file.is_null())
        result = gathering.files.at(out_file.get<std::string>());
    bool      is_gone = change.mark == '-';
    PagePlace place = {result->short_name, is_gone, is_gone ? change.in : change.out,
                       is_gone ? change.in_last : change.out_last};
    count_change(gathering, change, place);
    note_signature(gathering.facts, entry, change, place);
    if (result != &file) {
        PageChange there = change;
        there.from = file.short_name;
        result->text.changes.push_back(std::move(there));
        change.is_away = true;
    }
    file.text.changes.push_back(std::move(change));
}

/* ---- causes and releases ---- */

std::vector<PageCause> causes_of(const json &list)
{
    std::vector<PageCause> causes;
    for (const json &one : list) {
        PageCause cause;
        cause.release = text_of(one.at("release"));
        cause.mechanism = one.at("mechanism").get<std::string>();
        cause.name = one.at("name").get<std::string>();
        if (const json &line = one.at("line"); !line.is_null())
            cause.name = "line " + std::to_string(line.get<uint32_t>()) + " of the update file: " + cause.name;
        cause.kind = one.at("kind").get<std::string>();
        cause.sentence = text_of(one.at("sentence"));
        causes.push_back(std::move(cause));
    }
    return causes;
}

/* Numbers them, what somebody has to answer for first, by place in the ledger. */
std::vector<uint32_t> number_causes(std::vector<PageCause> &causes)
{
    std::vector<uint32_t> order(causes.size());
    for (uint32_t at = 0; at < order.size(); at++)
        order[at] = at;
    std::stable_sort(order.begin(), order.end(), [&](uint32_t one, uint32_t other) {
        return rank_of_kind(causes[one].kind) < rank_of_kind(causes[other].kind);
    });
    std::vector<uint32_t>  numbers(causes.size());
    std::vector<PageCause> sorted(1); /* so that a cause's number is its place */
    for (uint32_t at : order) {
        numbers[at] = static_cast<uint32_t>(sorted.size());
        causes[at].number = numbers[at];
        sorted.push_back(std::move(causes[at]));
    }
    causes = std::move(sorted);
    return numbers;
}

void take_releases(PageFacts &facts, const json &passed, const std::map<std::string, FateCounts> &counts)
{
    for (const json &one : passed) {
        std::string release = one.get<std::string>();
        auto        at = counts.find(release);
        facts.releases.push_back({release, at == counts.end() ? FateCounts() : at->second});
    }
    if (auto at = counts.find(""); at != counts.end())
        facts.releases.push_back({"", at->second});
}

/* ---- what needs a look ---- */

/* "line 12: ..." is about a line of the result, "line 12 of the old file: ..." of that. */
std::vector<PagePlace> place_of_warning(const PageFile &file, const std::string &warning)
{
    unsigned line = 0;
    int      length = 0;
    if (!file.has_text || sscanf(warning.c_str(), "line %9u%n", &line, &length) != 1 || line == 0)
        return {};
    bool is_old = warning.compare(static_cast<size_t>(length), 12, " of the old ") == 0;
    return {{file.short_name, is_old, line, line}};
}

void find_in_file(PageFacts &facts, const PageFile &file)
{
    for (const std::string &reason : file.reasons)
        facts.findings.push_back({file.file + " was not upgraded: " + reason, {}, {}});
    for (const std::string &warning : file.warnings)
        facts.findings.push_back({file.file + ", " + warning, {}, place_of_warning(file, warning)});
    if (auto unread = file.in.find("unread"); unread != file.in.end() && unread->second != 0)
        facts.findings.push_back({file.file + ": " + line_count(unread->second) + " could not be read.", {}, {}});
    if (file.unexplained != 0)
        facts.findings.push_back(
            {file.file + ": " + line_count(file.unexplained) + " changed without a known cause.", {}, {}});
}

void find_by_hand(PageFacts &facts)
{
    for (const PageCause &cause : facts.causes)
        if (cause.by_hand != 0)
            facts.findings.push_back(
                {counted(cause.by_hand, "line that was", "lines that were") + " set by hand dropped: " + cause.sentence,
                 {cause.number},
                 cause.places_by_hand});
}

/* One for all of them: each stands first below the changes anyway. */
void find_serious_losses(PageFacts &facts)
{
    PageFinding finding;
    for (const PageCause &cause : facts.causes)
        if (rank_of_kind(cause.kind) < 2 && cause.counts.dropped != 0)
            finding.causes.push_back(cause.number);
    finding.text = "Settings of protection or credentials were dropped.";
    if (!finding.causes.empty())
        facts.findings.push_back(std::move(finding));
}

void find_findings(PageFacts &facts, bool is_incomplete)
{
    for (const PageFile &file : facts.files)
        find_in_file(facts, file);
    find_by_hand(facts);
    find_serious_losses(facts);
    if (is_incomplete)
        facts.findings.push_back({"Memory ran out while changes were taken down, so causes are missing.", {}, {}});
}

std::string verdict_of(const PageFacts &facts, bool is_done)
{
    auto is_refused = [](const PageFile &file) { return !file.reasons.empty(); };
    auto refused = static_cast<uint64_t>(std::count_if(facts.files.begin(), facts.files.end(), is_refused));
    auto carried = static_cast<uint64_t>(
        std::count_if(facts.files.begin(), facts.files.end(), [](const PageFile &file) { return file.has_text; }));
    std::string look = facts.findings.empty()
                           ? " Nothing needs a look."
                           : " " + counted(facts.findings.size(), "thing needs", "things need") + " a look.";
    std::string files = counted(carried, "file", "files");
    if (refused != 0)
        return counted(refused, "file", "files") + " of " + std::to_string(facts.files.size()) + " cannot be upgraded" +
               (refused == facts.files.size() ? "."
                : is_done                     ? "; the others were, so the appliance is on mixed releases."
                                              : ", which holds back the others.") +
               look;
    if (carried == 0)
        return "There was nothing to upgrade." + look;
    std::string way = " from " + facts.from + " to " + facts.to;
    return (is_done ? files + (carried == 1 ? " was" : " were") + " upgraded" + way + "."
                    : "An upgrade" + way + " would go through; nothing was changed yet.") +
           look;
}

/* ---- all of it ---- */

void take_head(PageFacts &facts, const json &ledger)
{
    facts.subject = ledger.at("subject").get<std::string>();
    size_t slash = facts.subject.find_last_not_of('/');
    facts.name = facts.subject.substr(0, slash == facts.subject.npos ? 0 : slash + 1);
    facts.name.erase(0, facts.name.rfind('/') + 1);
    if (facts.name.empty())
        facts.name = "This appliance";
    facts.made = ledger.at("made").get<std::string>();
    facts.snapshot = text_of(ledger.at("snapshot"));
    facts.image = ledger.at("image").at("folder").get<std::string>();
    facts.to = text_of(ledger.at("image").at("release"));
    for (const json &file : ledger.at("image").at("files"))
        facts.image_files.push_back({file.at("file").get<std::string>(), file.at("sha256").get<std::string>(),
                                     file.at("size").get<uint64_t>()});
}

void take_files(Gathering &gathering, const json &files)
{
    PageFacts &facts = gathering.facts;
    ShortNames names = short_names(files);
    for (const json &file : files)
        facts.files.push_back(file_of(file, names));
    for (PageFile &file : facts.files) {
        gathering.files[file.file] = &file;
        if (file.has_text && !file.before.empty() && (facts.from.empty() || file.short_name == "global"))
            facts.from = file.before;
    }
    for (size_t at = 0; at < facts.files.size(); at++)
        if (facts.files[at].has_text)
            for (const json &entry : files.at(at).at("account").at("entries"))
                take_entry(gathering, entry, facts.files[at]);
}

PageFacts facts_of(const json &ledger)
{
    PageFacts facts;
    take_head(facts, ledger);
    Gathering gathering = {facts, causes_of(ledger.at("causes")), {}, {}, {}};
    gathering.numbers = number_causes(gathering.causes);
    take_files(gathering, ledger.at("files"));
    take_releases(facts, ledger.at("releases"), gathering.releases);
    std::set<uint32_t> needed;
    for (const json &effect : ledger.at("effects")) {
        uint32_t cause = gathering.numbers.at(effect.at("cause").get<uint32_t>());
        facts.effects.push_back({effect.at("what").get<std::string>(), effect.at("path").get<std::string>(),
                                 text_of(effect.at("before")), cause});
        needed.insert(cause);
    }
    for (PageCause &cause : gathering.causes)
        if (cause.counts.all() != 0 || needed.count(cause.number) != 0)
            facts.causes.push_back(std::move(cause));
    find_findings(facts, ledger.at("incomplete").get<bool>());
    facts.is_bad =
        std::any_of(facts.files.begin(), facts.files.end(), [](const PageFile &file) { return !file.reasons.empty(); });
    facts.summary = ledger.at("summary").get<std::string>();
    facts.verdict = verdict_of(facts, ledger.at("done").get<bool>());
    return facts;
}

} // namespace

PageFacts page_facts(const std::string &ledger_json)
{
    std::string why;
    try {
        return facts_of(json_of_whole_numbers(ledger_json));
    } catch (const json::exception &error) {
        why = error.what();
    } catch (const std::logic_error &) { /* of at() */
        why = "it names what it does not hold";
    } catch (const std::runtime_error &error) {
        why = error.what();
    }
    throw Failure(Status::unusable, "This is no ledger of an upgrade, or one of another migr: " + why);
}

} // namespace command
