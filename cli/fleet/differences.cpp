/* Of each appliance, two ledgers side by side; of all, a table of what was not in both. */
#include "fleet/differences.h"

#include "fleet/results_folder.h"
#include "fleet/temporary_database.h"
#include "output/json.h"
#include "run/output_file.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "system/whole_numbers.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <tuple>

namespace command {

namespace {

using Parsed = nlohmann::json;

constexpr char differences_schema[] =
    "CREATE TABLE one(is_new INTEGER, what TEXT, cause TEXT, path TEXT, entry TEXT, example TEXT);"
    "CREATE TABLE line(is_new INTEGER, entry TEXT, line TEXT, PRIMARY KEY(entry, is_new)) WITHOUT ROWID;";

/* A thing that was done to an appliance. */
struct Deed {
    std::string what, cause, path, example;
};

/* By what has to be the same on both sides for it to be the same deed. */
using Deeds = std::multimap<std::string, Deed>;

std::string text_in(const Parsed &object, const char *name)
{
    const Parsed &value = object.at(name);
    return value.is_string() ? value.get<std::string>() : "";
}

std::string joined_path(const std::vector<std::string> &names)
{
    std::string path;
    for (const std::string &name : names)
        path += (path.empty() ? "" : " / ") + name;
    return path;
}

/* Entries' names differ from appliance to appliance. Below a top-level config entries and what is in them take turns.
 */
std::string general_path(std::vector<std::string> names, const std::string &line)
{
    bool is_entry = line.starts_with("edit ");
    for (size_t at = 1; at < names.size(); at += 2)
        if (at + 1 < names.size() || is_entry)
            names[at] = "*";
    return joined_path(names);
}

std::string cause_text(const Parsed &ledger, const Parsed &entry)
{
    if (entry.at("causes").empty())
        return "";
    const Parsed &cause = ledger.at("causes").at(entry.at("causes").back().get<size_t>());
    return text_in(cause, "release") + " " + text_in(cause, "mechanism") + " " + text_in(cause, "name");
}

void take_entry(const Parsed &ledger, const std::string &file, const Parsed &entry, Deeds &deeds)
{
    std::vector<std::string> names = entry.at("path").get<std::vector<std::string>>();
    std::string              before = text_in(entry, "before"), after = text_in(entry, "after");
    std::string              line = after.empty() ? before : after, fate = text_in(entry, "fate");
    Parsed                   key = {file, entry.at("in"), fate, names, after, entry.at("out_file")};
    deeds.insert({key.dump(),
                  {fate, cause_text(ledger, entry), general_path(names, line),
                   file + ": " + joined_path(names) + ": " + line.substr(0, line.find('\n'))}});
}

void take_ledger(const Parsed &ledger, Deeds &deeds)
{
    for (const Parsed &file : ledger.at("files")) {
        std::string name = text_in(file, "file");
        deeds.insert({"file " + name + " " + text_in(file, "result"),
                      {"result", "", text_in(file, "result"), name + " is " + text_in(file, "result")}});
        if (!file.at("account").is_null())
            for (const Parsed &entry : file.at("account").at("entries"))
                take_entry(ledger, name, entry, deeds);
    }
    for (const Parsed &effect : ledger.at("effects")) {
        std::string what = text_in(effect, "what") + " " + text_in(effect, "path");
        deeds.insert({"effect " + what + " " + text_in(effect, "before"), {"effect", "", what, what}});
    }
}

/* Findings are compared by their causes: lines move. */
void take_result(const EntryResult &result, Deeds &deeds)
{
    std::string end = name_of(result.end);
    deeds.insert({"end " + end, {"result", "", end, end}});
    for (const CountedFinding &finding : result.findings) {
        std::string what = finding.is_reason ? "reason" : "warning";
        deeds.insert({what + finding.cause, {what, finding.cause, "", finding.text}});
    }
}

Deeds deeds_of(const std::string &results, const std::string &line)
{
    Deeds       deeds;
    EntryResult result = result_from(line);
    take_result(result, deeds);
    std::string path = joined(results, "ledgers/" + result.entry + ".json.gz");
    if (!is_there(path))
        return deeds;
    std::optional<std::string> text = gunzip(read_file(path, Links::refuse));
    Failure damaged(Status::unusable, path + " is damaged. Compare again with another folder for the results.");
    if (!text)
        throw damaged;
    try {
        take_ledger(json_of_whole_numbers(*text), deeds);
    } catch (const nlohmann::json::exception &) {
        throw damaged;
    } catch (const std::runtime_error &) {
        throw damaged;
    }
    return deeds;
}

/* Takes away what both have, as often as both have it. */
void take_away_common(Deeds &one, Deeds &other)
{
    for (auto at = one.begin(); at != one.end();) {
        auto same = other.find(at->first);
        if (same == other.end()) {
            ++at;
            continue;
        }
        other.erase(same);
        at = one.erase(at);
    }
}

void take_deeds(const Connection &connection, bool is_new, const std::string &entry, const Deeds &deeds)
{
    for (const auto &[key, deed] : deeds)
        execute(connection, "INSERT INTO one VALUES(?, ?, ?, ?, ?, ?)", is_new, deed.what, deed.cause, deed.path, entry,
                deed.example);
}

/* The last line of each appliance counts. */
void take_lines(const Connection &connection, bool is_new, const std::string &results)
{
    std::string path = joined(results, "fleet.jsonl");
    for_each_line(path, [&](const std::string &line, size_t number) {
        std::string entry = result_in_line(path, line, number).entry;
        execute(connection, "INSERT OR REPLACE INTO line VALUES(?, ?, ?)", is_new, entry, line);
    });
}

auto order_of(const Difference &difference)
{
    return std::tie(difference.is_new, difference.what, difference.cause, difference.path);
}

} // namespace

bool Difference::is_like(const Difference &other) const
{
    return order_of(*this) == order_of(other);
}

std::vector<Difference> differences_of(const std::string &old_results, const std::string &new_results,
                                       Interrupts &interrupts)
{
    Connection connection = temporary_database(differences_schema);
    execute(connection, "BEGIN");
    take_lines(connection, false, old_results);
    take_lines(connection, true, new_results);
    Asked both(connection, "SELECT one.entry, one.line, other.line FROM line AS one JOIN line AS other "
                           "ON one.entry = other.entry WHERE NOT one.is_new AND other.is_new");
    while (both.next()) {
        interrupts.stop_here("Nothing was compared to the end.");
        Deeds before = deeds_of(old_results, both.text(1)), after = deeds_of(new_results, both.text(2));
        take_away_common(before, after);
        take_deeds(connection, false, both.text(0), before);
        take_deeds(connection, true, both.text(0), after);
    }
    Asked groups(connection, "SELECT is_new, what, cause, path, COUNT(DISTINCT entry), COUNT(*), MIN(entry), example "
                             "FROM one GROUP BY is_new, what, cause, path");
    std::vector<Difference> differences;
    while (groups.next())
        differences.push_back({groups.number(0) != 0, groups.text(1), groups.text(2), groups.text(3), groups.number(4),
                               groups.number(5), groups.text(6), groups.text(7)});
    std::sort(differences.begin(), differences.end(),
              [](const Difference &one, const Difference &other) { return order_of(one) < order_of(other); });
    return differences;
}

std::vector<Difference> read_differences(const std::string &path)
{
    std::vector<Difference> differences;
    for_each_line(path, [&](const std::string &line, size_t number) {
        try {
            Parsed object = Parsed::parse(line);
            differences.push_back({object.at("side") == "new", text_in(object, "what"), text_in(object, "cause"),
                                   text_in(object, "path"), object.value("appliances", uint64_t{0}),
                                   object.value("count", uint64_t{0}), object.value("first", ""),
                                   object.value("example", "")});
        } catch (const nlohmann::json::exception &error) {
            throw Failure(Status::unusable, path + ":" + std::to_string(number) + ": this is no difference: " +
                                                error.what() + ". Write the file anew with --accept.");
        }
    });
    return differences;
}

void write_differences(const std::string &path, const std::vector<Difference> &differences, Interrupts &interrupts)
{
    std::string text;
    for (const Difference &one : differences)
        text += difference_json(one).one_line();
    write_output(path, text, Readers::as_before, interrupts);
}

Json difference_json(const Difference &one)
{
    return Json::Members{
        {"side", one.is_new ? "new" : "old"}, {"what", one.what},   {"cause", one.cause}, {"path", one.path},
        {"appliances", one.appliances},       {"count", one.count}, {"first", one.first}, {"example", one.example}};
}

} // namespace command
