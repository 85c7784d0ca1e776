/* Lists of groups, the largest first. Nothing is counted here that the index has not counted. */
#include "fleet/summary.h"

#include "output/console.h"
#include "output/table.h"

#include <algorithm>

namespace command {

namespace {

constexpr unsigned worst_shown = 10;
constexpr size_t   groups_shown = 8;

std::string number_text(uint64_t count, const std::string &what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/* Says whether anything was left out. */
template <typename Show> void show_groups(const char *title, const std::vector<Group> &groups, bool all, Show show)
{
    if (groups.empty())
        return;
    say("");
    say(title);
    size_t shown = all ? groups.size() : std::min(groups.size(), groups_shown);
    for (size_t at = 0; at < shown; at++)
        show(groups[at]);
    if (shown < groups.size())
        say("  and " + std::to_string(groups.size() - shown) + " more (--all)");
}

std::string without_stop(const std::string &sentence)
{
    return sentence.ends_with('.') ? sentence.substr(0, sentence.size() - 1) : sentence;
}

void show_finding(const Group &group)
{
    say("  " + without_stop(group.cause) + ": " + number_text(group.appliances, "appliance") +
        (group.count > group.appliances ? ", " + std::to_string(group.count) + " times" : "") + ", first " +
        group.first);
}

void show_cause(const Group &group)
{
    say("  " + group.cause + " (" + group.kind + "): " + number_text(group.count, "line") + " of " +
        number_text(group.appliances, "appliance") + ", first " + group.first);
}

void show_worst(const std::vector<LostLines> &losses)
{
    if (losses.empty())
        return;
    say("");
    say("Lost most");
    std::vector<Row> rows = {{"APPLIANCE", "DROPPED", "OF"}};
    for (const LostLines &loss : losses)
        rows.push_back({loss.entry, std::to_string(loss.dropped), number_text(loss.lines, "line")});
    show_table(rows, {1});
}

Json group_json(const Group &group, const char *count)
{
    return Json::Members{{"cause", group.cause},           {"kind", Json::text_or_null(group.kind)},
                         {"appliances", group.appliances}, {count, group.count},
                         {"first", group.first},           {"example", Json::text_or_null(group.example)}};
}

Json groups_json(const std::vector<Group> &groups, const char *count)
{
    Json::List list;
    for (const Group &group : groups)
        list.push_back(group_json(group, count));
    return list;
}

} // namespace

void show_summary(const FleetIndex &index, bool all)
{
    show_groups("Why not", index.findings(true), all, show_finding);
    show_groups("What needs a look", index.findings(false), all, show_finding);
    show_groups("What dropped lines", index.causes(), all, show_cause);
    show_worst(index.worst(worst_shown));
    say("");
    say(std::to_string(index.count(EntryEnd::upgraded)) + " upgraded, " +
        std::to_string(index.count(EntryEnd::current)) + " current, " + std::to_string(index.count(EntryEnd::refused)) +
        " refused, " + std::to_string(index.count(EntryEnd::failed)) + " failed.");
}

Json::Members summary_json(const FleetIndex &index)
{
    Json::List worst;
    for (const LostLines &loss : index.worst(worst_shown))
        worst.push_back(Json::Members{{"entry", loss.entry}, {"dropped", loss.dropped}, {"lines", loss.lines}});
    return {{"upgraded", index.count(EntryEnd::upgraded)},
            {"current", index.count(EntryEnd::current)},
            {"refused", index.count(EntryEnd::refused)},
            {"failed", index.count(EntryEnd::failed)},
            {"reasons", groups_json(index.findings(true), "count")},
            {"warnings", groups_json(index.findings(false), "count")},
            {"causes", groups_json(index.causes(), "lines")},
            {"worst", std::move(worst)}};
}

Status status_of(const FleetIndex &index)
{
    return index.findings(true).empty() ? Status::done : Status::left_alone;
}

} // namespace command
