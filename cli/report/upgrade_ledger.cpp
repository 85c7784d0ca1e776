/* How an account and its texts become lists and numbers. What of it a page shows is told by page.cpp. */
#include "report/upgrade_ledger.h"

#include "explain/causes.h"
#include "language/lines.h"
#include "output/release_text.h"
#include "report/account_report.h"
#include "report/report.h"
#include "report/result_lines.h"
#include "system/digest.h"
#include "walk/stages.h"

#include <algorithm>
#include <ctime>
#include <set>

namespace command {

namespace {

/* Lines of the result that stand in the old file under another number, and are the same there. */
struct KeptRun {
    uint64_t in, out, count;
};

/* ---- what the image is, and when ---- */

std::string time_text()
{
    char   text[sizeof "2026-01-01T00:00:00Z"];
    time_t now = time(nullptr);
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime(&now));
    return text;
}

Json image_json(const Image &image)
{
    Json::List files;
    for (const ImageFile &file : image_file_table) {
        std::string bytes = image_text(image, file.name);
        files.push_back(
            Json::Members{{"file", file.name}, {"size", uint64_t{bytes.size()}}, {"sha256", sha256(bytes)}});
    }
    return Json::Members{
        {"folder", image.folder}, {"release", Json::release(image_release())}, {"files", std::move(files)}};
}

/* The release of a section's first line, "[6.10]"; -1 for any other line. */
int32_t section_release(std::string_view line)
{
    size_t end = line.find(']');
    return line.starts_with('[') && end != line.npos ? release_code(line.substr(1, end - 1)) : -1;
}

/* Those of the update file's sections and of the stages that lie behind the oldest file's release. */
Json::List releases_passed(const LedgerRequest &request, const std::string &update_file)
{
    int32_t           oldest = image_release();
    std::set<int32_t> releases;
    for (const AccountFile &file : request.account.files)
        if (file.before >= 0)
            oldest = std::min(oldest, file.before);
    ConfigLines lines(update_file);
    for (ConfigLine line; lines.next(line);)
        releases.insert(section_release(line.text));
    for (const stage_table *const *stage = all_stages; *stage; stage++)
        releases.insert((*stage)->version);
    for (const Author &author : request.account.authors)
        releases.insert(author.release);
    Json::List passed;
    for (int32_t release : releases)
        if (release > oldest && release <= image_release())
            passed.push_back(Json::release(release));
    return passed;
}

/* ---- a file ---- */

std::vector<KeptRun> kept_runs(const AccountFile &file)
{
    std::vector<KeptRun> lines;
    for (const AccountEntry &entry : file.entries) {
        if (entry.fate != LineFate::kept)
            continue;
        lines.push_back({entry.in.first, entry.out.first, uint64_t{entry.out.last} - entry.out.first + 1});
        if (entry.in.end != 0 && entry.out.end != 0)
            lines.push_back({entry.in.end, entry.out.end, 1});
    }
    std::sort(lines.begin(), lines.end(), [](const KeptRun &one, const KeptRun &other) { return one.out < other.out; });
    std::vector<KeptRun> runs;
    for (const KeptRun &line : lines) {
        KeptRun *last = runs.empty() ? nullptr : &runs.back();
        if (last && last->out + last->count == line.out && last->in + last->count == line.in)
            last->count += line.count;
        else
            runs.push_back(line);
    }
    return runs;
}

Json::List kept_json(const AccountFile &file)
{
    Json::List list;
    for (const KeptRun &run : kept_runs(file))
        list.push_back(Json::List{run.in, run.out, run.count});
    return list;
}

/* The lines of values behind the one that the value begins in. */
Json::List continued_json(const std::vector<LineSource> &sources)
{
    Json::List list;
    for (uint32_t line = 1; line < sources.size(); line++) {
        const AccountEntry *entry = sources[line].entry;
        if (entry && entry->out.first == line && entry->out.last > line)
            list.push_back(Json::List{uint64_t{line} + 1, uint64_t{entry->out.last}});
    }
    return list;
}

Json::List changes_json(const AccountFile &file, bool show_secrets)
{
    Json::List list;
    for (const AccountEntry &entry : file.entries) {
        if (entry.fate == LineFate::kept)
            continue;
        Json::List causes;
        for (uint32_t cause : entry.causes)
            causes.push_back(uint64_t{cause});
        list.push_back(entry_json(entry, std::move(causes), show_secrets));
    }
    return list;
}

Json text_json(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return Json::lines(text);
}

Json lines_json(const LedgerRequest &request, const AccountFile &file)
{
    std::vector<LineSource>  sources = sources_of(request.account, file);
    std::vector<std::string> lines = shown_lines(sources, request.results.at(file.file), request.show_secrets);
    Json::Members            members = file_counts_json(file);
    members.emplace_back("entries", changes_json(file, request.show_secrets));
    members.emplace_back("unchanged", kept_json(file));
    members.emplace_back("continued", continued_json(sources));
    members.emplace_back("text", text_json(lines));
    return members;
}

Json file_json(const LedgerRequest &request, const FileOutcome &outcome)
{
    auto accounted = std::find_if(request.account.files.begin(), request.account.files.end(),
                                  [&](const AccountFile &file) { return file.file == outcome.name; });
    bool has_lines = accounted != request.account.files.end();
    return Json::Members{{"file", outcome.name},
                         {"before", Json::release(outcome.before)},
                         {"after", Json::release(outcome.after)},
                         {"result", word(outcome.result)},
                         {"reasons", Json::list(texts_of(outcome.reasons))},
                         {"warnings", Json::list(texts_of(outcome.warnings))},
                         {"account", has_lines ? lines_json(request, *accounted) : Json()}};
}

/* ---- causes ---- */

Json told_cause_json(const Author &author, const CauseText &text)
{
    return Json::Members{{"release", Json::release(author.release)},
                         {"mechanism", author.mechanism},
                         {"name", author.name},
                         {"line", author.line == 0 ? Json() : Json(uint64_t{author.line})},
                         {"kind", text.kind},
                         {"sentence", Json::text_or_null(text.sentence)}};
}

Json effect_json(const FileEffect &effect)
{
    return Json::Members{{"path", effect.path},
                         {"what", effect.what},
                         {"before", Json::text_or_null(effect.before)},
                         {"cause", uint64_t{effect.author}}};
}

} // namespace

Json::Members upgrade_ledger(const LedgerRequest &request, const Image &image)
{
    std::string update_file = image_text(image, "update_config");
    Causes      causes(update_file);
    Json::List  files, authors, effects;
    for (const FileOutcome &outcome : request.files)
        files.push_back(file_json(request, outcome));
    for (const Author &author : request.account.authors)
        authors.push_back(told_cause_json(author, causes.of(author.mechanism, author.name, author.line)));
    for (const FileEffect &effect : request.account.effects)
        effects.push_back(effect_json(effect));
    return {{"subject", request.subject},
            {"made", time_text()},
            {"done", request.done},
            {"snapshot", Json::text_or_null(request.snapshot)},
            {"image", image_json(image)},
            {"releases", releases_passed(request, update_file)},
            {"summary", summary_of(request.account, causes) + "."},
            {"files", std::move(files)},
            {"causes", std::move(authors)},
            {"effects", std::move(effects)},
            {"incomplete", request.account.is_incomplete}};
}

} // namespace command
