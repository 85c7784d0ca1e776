/*
 * Fills page.tpl. The template engine knows where in HTML a text goes, and escapes it for that place; nothing here puts
 * markup together. Style and script are the page's own, and the page's policy lets nothing else act.
 */
#include "report/page.h"

#include "output/printable.h"
#include "output/size_text.h"
#include "report/page_facts.h"
#include "report/page_parts.h"
#include "system/failure.h"

#include <algorithm>
#include <ctemplate/template.h>
#include <openssl/evp.h>

namespace command {

namespace {

using Dictionary = ctemplate::TemplateDictionary;

/* Of a list that leads to lines, the first so many are links; a filter of the page shows the others. */
constexpr size_t links_at_most = 100;

void set(Dictionary &dictionary, const char *name, std::string_view text)
{
    dictionary.SetValue(name, printable(text));
}

void set(Dictionary &dictionary, const char *name, uint64_t number)
{
    dictionary.SetValue(name, std::to_string(number));
}

/* A part of the template that is there only when there is a text for it. */
void set_part(Dictionary &dictionary, const char *part, const char *name, std::string_view text)
{
    if (!text.empty())
        set(*dictionary.AddSectionDictionary(part), name, text);
}

/* The lines that links lead to, by the file's short name. */
using Anchors = std::map<std::string, std::vector<std::string>>;

std::string lines_text(const PagePlace &place)
{
    return std::to_string(place.first) + (place.last > place.first ? "–" + std::to_string(place.last) : "") +
           (place.is_old ? " (old)" : "");
}

void fill_places(Dictionary &dictionary, const std::vector<PagePlace> &places, Anchors &anchors)
{
    std::string file;
    for (size_t at = 0; at < places.size(); at++) {
        const PagePlace &place = places[at];
        Dictionary      &one = *dictionary.AddSectionDictionary("PLACE");
        if (place.file != file)
            set(*one.AddSectionDictionary("IN_FILE"), "FILE", place.file);
        file = place.file;
        Dictionary &where = *one.AddSectionDictionary(at < links_at_most ? "LINKED" : "UNLINKED");
        where.SetValue("LINES", lines_text(place));
        set(where, "ADDRESS", place.file + ":" + place.anchor());
        if (at < links_at_most)
            anchors[place.file].push_back(place.anchor());
    }
}

void fill_counts(Dictionary &dictionary, const FateCounts &counts)
{
    const std::pair<const char *, uint64_t> fates[] = {
        {"dropped", counts.dropped}, {"rewritten", counts.rewritten}, {"added", counts.added}, {"moved", counts.moved}};
    for (auto [fate, count] : fates) {
        if (count == 0)
            continue;
        Dictionary &one = *dictionary.AddSectionDictionary("COUNT");
        set(one, "FATE", fate);
        set(one, "LINES", count);
    }
}

/* ---- a bar: how much of a whole had which fate ---- */

struct BarPart {
    const char *fate;
    uint64_t    lines;
};

void fill_bar(Dictionary &dictionary, const std::vector<BarPart> &parts, uint64_t whole)
{
    static constexpr uint64_t width = 1000;
    uint64_t                  before = 0; /* lines of the parts that stand there */
    for (const BarPart &part : parts) {
        if (part.lines == 0)
            continue;
        uint64_t start = before * width / whole, end = (before + part.lines) * width / whole;
        before += part.lines;
        Dictionary &one = *dictionary.AddSectionDictionary("BAR");
        set(one, "FATE", part.fate);
        set(one, "X", start);
        set(one, "WIDTH", std::max<uint64_t>(end - start, 2)); /* no part is too small to see */
    }
}

uint64_t lines_of(const std::map<std::string, uint64_t> &counts, const char *fate)
{
    auto at = counts.find(fate);
    return at == counts.end() ? 0 : at->second;
}

/* ---- the page's parts ---- */

void fill_head(Dictionary &page, const PageFacts &facts)
{
    set(page, "NAME", facts.name);
    set(page, "SUBJECT", facts.subject);
    set(page, "VERDICT", facts.verdict);
    set(page, "VERDICT_KIND", facts.is_bad ? "bad" : facts.findings.empty() ? "good" : "look");
    set(page, "SUMMARY", facts.summary);
    if (!facts.from.empty())
        page.ShowSection("WAY");
    set(page, "FROM", facts.from);
    set(page, "TO", facts.to);
    set(page, "MADE", facts.made);
    set_part(page, "SNAPSHOT", "FOLDER", facts.snapshot);
    set(page, "IMAGE", facts.image);
    for (const PageImageFile &file : facts.image_files) {
        Dictionary &one = *page.AddSectionDictionary("IMAGE_FILE");
        set(one, "FILE", file.file);
        set(one, "SIZE", size_text(file.size));
        set(one, "SUM", file.sha256);
    }
}

void fill_findings(Dictionary &page, const PageFacts &facts, Anchors &anchors)
{
    if (facts.findings.empty())
        page.ShowSection("NO_FINDING");
    for (const PageFinding &finding : facts.findings) {
        Dictionary &one = *page.AddSectionDictionary("FINDING");
        set(one, "TEXT", finding.text);
        Dictionary *causes = finding.causes.empty() ? nullptr : one.AddSectionDictionary("ITS_CAUSES");
        for (uint32_t cause : finding.causes)
            set(*causes->AddSectionDictionary("ITS_CAUSE"), "NUMBER", cause);
        if (!finding.places.empty())
            fill_places(*one.AddSectionDictionary("PLACES"), finding.places, anchors);
    }
}

void fill_files(Dictionary &page, const PageFacts &facts)
{
    for (const PageFile &file : facts.files) {
        Dictionary &one = *page.AddSectionDictionary("FILE_ROW");
        set(one, "FILE", file.file);
        set(one, "BEFORE", file.before.empty() ? "-" : file.before);
        set(one, "AFTER", file.after.empty() ? "-" : file.after);
        set(one, "RESULT", file.result);
        if (!file.has_text) {
            one.ShowSection("WITHOUT_LINES");
            continue;
        }
        Dictionary &lines = *one.AddSectionDictionary("WITH_LINES");
        for (auto [name, counts, fate] : {std::tuple("IN", &file.in, "lines"),
                                          {"KEPT", &file.in, "kept"},
                                          {"MOVED", &file.in, "moved"},
                                          {"REWRITTEN", &file.in, "rewritten"},
                                          {"DROPPED", &file.in, "dropped"},
                                          {"LAYOUT", &file.in, "layout"},
                                          {"UNREAD", &file.in, "unread"},
                                          {"ADDED", &file.out, "added"},
                                          {"OUT", &file.out, "lines"}})
            set(lines, name, lines_of(*counts, fate));
        std::vector<BarPart> parts;
        uint64_t             whole = 0;
        for (auto [fate, counts] : {std::pair("kept", &file.in),
                                    {"moved", &file.in},
                                    {"rewritten", &file.in},
                                    {"dropped", &file.in},
                                    {"added", &file.out}}) {
            parts.push_back({fate, lines_of(*counts, fate)});
            whole += parts.back().lines;
        }
        fill_bar(lines, parts, whole);
    }
}

void fill_releases(Dictionary &page, const PageFacts &facts)
{
    uint64_t most = 0;
    for (const PageRelease &release : facts.releases)
        most = std::max(most, release.counts.all());
    for (const PageRelease &release : facts.releases) {
        Dictionary       &one = *page.AddSectionDictionary("RELEASE");
        const FateCounts &counts = release.counts;
        set(one, "RELEASE", release.release.empty() ? "at no release" : release.release);
        if (counts.all() == 0)
            one.ShowSection("QUIET");
        fill_counts(one, counts);
        fill_bar(one,
                 {{"moved", counts.moved},
                  {"rewritten", counts.rewritten},
                  {"dropped", counts.dropped},
                  {"added", counts.added}},
                 most);
    }
}

void fill_causes(Dictionary &page, const PageFacts &facts, Anchors &anchors)
{
    for (const PageCause &cause : facts.causes) {
        Dictionary &one = *page.AddSectionDictionary("CAUSE");
        set(one, "NUMBER", cause.number);
        set(one, "RELEASE", cause.release);
        set(one, "MECHANISM", cause.mechanism);
        set(one, "NAME", cause.name);
        set(one, "KIND", cause.kind);
        set(one, "SENTENCE", !cause.sentence.empty() ? cause.sentence : cause.mechanism + " " + cause.name);
        fill_counts(one, cause.counts);
        if (!cause.places.empty())
            fill_places(*one.AddSectionDictionary("PLACES"), cause.places, anchors);
    }
}

void fill_effects(Dictionary &page, const PageFacts &facts)
{
    if (facts.effects.empty())
        return;
    Dictionary &part = *page.AddSectionDictionary("EFFECTS");
    for (const PageEffect &effect : facts.effects) {
        Dictionary &one = *part.AddSectionDictionary("EFFECT");
        set(one, "WHAT", effect.what);
        set(one, "PATH", effect.path);
        set_part(one, "WAS", "BEFORE", effect.before);
        set(one, "CAUSE", effect.cause);
    }
}

void fill_signatures(Dictionary &page, const PageFacts &facts, Anchors &anchors)
{
    if (facts.signatures.empty())
        return;
    Dictionary &part = *page.AddSectionDictionary("SIGNATURES");
    std::string shown_list;
    Dictionary *list = nullptr;
    for (const PageSignature &signature : facts.signatures) {
        std::string name = signature.place.file + ": " + signature.list;
        if (!list || name != shown_list) {
            list = part.AddSectionDictionary("LIST");
            set(*list, "NAME", name);
            shown_list = name;
        }
        Dictionary &one = *list->AddSectionDictionary("SIGNATURE");
        set(one, "MARK", signature.is_added ? "+" : "−");
        set(one, "NAME", signature.name);
        set(one, "REASON", signature.reason);
        fill_places(one, {signature.place}, anchors);
    }
}

void fill_texts(Dictionary &page, const PageFacts &facts, Anchors &anchors)
{
    for (const PageFile &file : facts.files) {
        if (!file.has_text)
            continue;
        Dictionary &one = *page.AddSectionDictionary("TEXT");
        set(one, "FILE", file.file);
        set(one, "ID", file.short_name);
        Dictionary *part = nullptr;
        for (const RowPiece &piece : page_rows(file.text, anchors[file.short_name])) {
            if (!part || piece.opens_part)
                part = one.AddSectionDictionary("PART");
            Dictionary &rows = *part->AddSectionDictionary("PIECE");
            set_part(rows, "ANCHOR", "ADDRESS", piece.anchor.empty() ? "" : file.short_name + ":" + piece.anchor);
            rows.SetValue("ROWS", piece.rows);
        }
    }
}

std::string filled(const Dictionary &page)
{
    static constexpr char    name[] = "page";
    ctemplate::TemplateCache cache;
    std::string              html;
    bool                     is_good =
        cache.StringToTemplateCache(name, page_template.data(), page_template.size(), ctemplate::DO_NOT_STRIP) &&
        cache.ExpandWithData(name, ctemplate::DO_NOT_STRIP, &page, nullptr, &html);
    if (!is_good)
        throw Failure(Status::failed, "The page cannot be made: its template is not right.");
    return html;
}

} // namespace

std::string policy_sum(std::string_view text)
{
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned      length = 0;
    if (EVP_Digest(text.data(), text.size(), sum, &length, EVP_sha256(), nullptr) != 1)
        throw Failure(Status::failed, "The page's sums cannot be made.");
    unsigned char base64[2 * EVP_MAX_MD_SIZE];
    int           letters = EVP_EncodeBlock(base64, sum, static_cast<int>(length));
    return "sha256-" + std::string(reinterpret_cast<char *>(base64), static_cast<size_t>(letters));
}

std::string report_page(const std::string &ledger_json)
{
    PageFacts  facts = page_facts(ledger_json);
    Anchors    anchors;
    Dictionary page("page");
    set(page, "STYLE_SUM", policy_sum(page_style));
    set(page, "SCRIPT_SUM", policy_sum(page_script));
    page.SetValue("STYLE", std::string(page_style));
    page.SetValue("SCRIPT", std::string(page_script));
    fill_head(page, facts);
    fill_findings(page, facts, anchors);
    fill_files(page, facts);
    fill_releases(page, facts);
    fill_causes(page, facts, anchors);
    fill_effects(page, facts);
    fill_signatures(page, facts, anchors);
    fill_texts(page, facts, anchors); /* the last: every link is known now */
    return filled(page);
}

} // namespace command
