/*
 * Fills index.tpl, whose rows are written one by one: there may be ten thousand. The template engine knows where in
 * HTML a text goes, and escapes it for that place.
 */
#include "fleet/index_page.h"

#include "output/printable.h"
#include "report/page.h"
#include "report/page_parts.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "system/new_file.h"

#include <cctype>
#include <cstring>
#include <ctemplate/template.h>
#include <set>

namespace command {

namespace {

using IndexDictionary = ctemplate::TemplateDictionary;

struct IndexParts {
    std::string_view head, row, tail;
};

IndexParts index_parts()
{
    static constexpr std::string_view row = "<!-- row -->\n", end = "<!-- end -->\n";
    size_t                            from = fleet_template.find(row), to = fleet_template.find(end);
    return {fleet_template.substr(0, from), fleet_template.substr(from + row.size(), to - from - row.size()),
            fleet_template.substr(to + end.size())};
}

void put_text(IndexDictionary &dictionary, const char *name, std::string_view text)
{
    dictionary.SetValue(name, printable(text));
}

void put_number(IndexDictionary &dictionary, const char *name, uint64_t number)
{
    dictionary.SetValue(name, std::to_string(number));
}

void add_groups(IndexDictionary &page, const char *id, const char *title, const char *counted,
                const std::vector<Group> &groups)
{
    IndexDictionary &part = *page.AddSectionDictionary("GROUPS");
    put_text(part, "ID", id);
    put_text(part, "TITLE", title);
    if (groups.empty())
        return part.ShowSection("NONE");
    IndexDictionary &some = *part.AddSectionDictionary("SOME");
    put_text(some, "COUNTED", counted);
    for (const Group &group : groups) {
        IndexDictionary &one = *some.AddSectionDictionary("GROUP");
        put_text(one, "CAUSE", group.cause);
        put_number(one, "APPLIANCES", group.appliances);
        put_number(one, "COUNT", group.count);
        put_text(one, "FIRST", group.first);
        if (!group.kind.empty())
            put_text(*one.AddSectionDictionary("KIND"), "NAME", group.kind);
        if (!group.example.empty())
            put_text(*one.AddSectionDictionary("EXAMPLE"), "TEXT", group.example);
    }
}

void fill_index_head(IndexDictionary &page, const FleetIndex &index)
{
    static constexpr unsigned worst_shown = 10;
    page.SetValue("STYLE_SUM", policy_sum(page_style));
    page.SetValue("STYLE", std::string(page_style));
    put_number(page, "UPGRADED", index.count(EntryEnd::upgraded));
    put_number(page, "CURRENT", index.count(EntryEnd::current));
    put_number(page, "REFUSED", index.count(EntryEnd::refused));
    put_number(page, "FAILED", index.count(EntryEnd::failed));
    add_groups(page, "reasons", "Why not", "Times", index.findings(true));
    add_groups(page, "warnings", "What needs a look", "Times", index.findings(false));
    add_groups(page, "causes", "What dropped lines", "Lines", index.causes());
    for (const LostLines &lost : index.worst(worst_shown)) {
        IndexDictionary &one = *page.AddSectionDictionary("WORST");
        put_text(one, "ENTRY", lost.entry);
        put_number(one, "DROPPED", lost.dropped);
        put_number(one, "LINES", lost.lines);
    }
}

/* As a part of a relative address (RFC 3986, section 2). */
std::string percent_encoded(std::string_view name)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    static constexpr char plain[] = "-._~";
    std::string           encoded;
    for (char letter : name) {
        auto byte = static_cast<unsigned char>(letter);
        if ((byte < 0x80 && isalnum(byte)) || (letter && strchr(plain, letter)))
            encoded += letter;
        else
            encoded += {'%', digits[byte >> 4], digits[byte & 0xf]};
    }
    return encoded;
}

/* Of an appliance that was upgraded when nobody wanted pages. */
void make_missing_page(const std::string &entry, const std::string &out)
{
    std::string page = joined(out, "reports/" + entry + ".html"), ledger = joined(out, "ledgers/" + entry + ".json.gz");
    if (is_there(page) || !is_there(ledger))
        return;
    std::optional<std::string> text = gunzip(read_file(ledger, Links::refuse));
    if (!text)
        throw Failure(Status::unusable, ledger + " is damaged, so there is no page of it.");
    NewFile file(page);
    file.write(report_page(*text));
    file.publish();
}

void fill_index_row(IndexDictionary &row, const ListedResult &result, const std::string &out)
{
    std::string page = result.entry + ".html";
    make_missing_page(result.entry, out);
    put_text(row, "RESULT", name_of(result.end));
    put_number(row, "LINES", result.lines);
    put_number(row, "DROPPED", result.dropped);
    put_text(row, "WHY", result.why);
    bool             has_page = is_there(joined(out, "reports/" + page));
    IndexDictionary &name = *row.AddSectionDictionary(has_page ? "PAGE" : "NO_PAGE");
    put_text(name, "ENTRY", result.entry);
    if (has_page)
        name.SetValue("ADDRESS", "reports/" + percent_encoded(page));
}

/* Templates by name, each taken apart once. */
class Templates {
  public:
    std::string filled(std::string_view text, const char *name, const IndexDictionary &dictionary)
    {
        std::string html;
        if (known_.insert(name).second)
            cache_.StringToTemplateCache(name, text.data(), text.size(), ctemplate::DO_NOT_STRIP);
        if (!cache_.ExpandWithData(name, ctemplate::DO_NOT_STRIP, &dictionary, nullptr, &html))
            throw Failure(Status::failed, "The index page cannot be made: its template is not right.");
        return html;
    }

  private:
    ctemplate::TemplateCache cache_;
    std::set<std::string>    known_;
};

} // namespace

void write_index_page(const FleetIndex &index, const std::string &out)
{
    IndexParts      parts = index_parts();
    Templates       templates;
    NewFile         file(joined(out, "index.html"));
    IndexDictionary page("index");
    fill_index_head(page, index);
    file.write(templates.filled(parts.head, "head", page));
    index.for_each_result([&](const ListedResult &result) {
        IndexDictionary row("row");
        fill_index_row(row, result, out);
        file.write(templates.filled(parts.row, "row", row));
    });
    file.write(parts.tail);
    file.publish();
}

} // namespace command
