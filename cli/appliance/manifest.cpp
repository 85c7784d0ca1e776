/* Manifests as text. Whether what one tells is still so is for others to find out. */
#include "appliance/manifest.h"

#include "system/digest.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

using nlohmann::json;

namespace command {

namespace {

constexpr int format_of_manifest = 2;

std::string percent_encoded(const std::string &text)
{
    std::string out;
    for (char c : text) {
        char escape[4];
        snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(static_cast<uint8_t>(c)));
        bool plain = c > ' ' && c < 0x7f && c != '%' && c != '"' && c != '\\';
        out += plain ? std::string(1, c) : escape;
    }
    return out;
}

std::string percent_decoded(const std::string &text)
{
    std::string out;
    for (size_t at = 0; at < text.size(); at++) {
        if (text[at] != '%') {
            out += text[at];
            continue;
        }
        size_t      used = 0;
        std::string digits = text.substr(at + 1, 2);
        out += static_cast<char>(std::stoi(digits, &used, 16));
        if (used != 2)
            throw std::runtime_error("a path in it is not encoded as it should be");
        at += 2;
    }
    return out;
}

std::string octal(uint32_t mode)
{
    char text[16];
    snprintf(text, sizeof text, "%04o", mode);
    return text;
}

json to_json(const Place &place)
{
    return {{"folder", percent_encoded(place.folder)},
            {"name", percent_encoded(place.name)},
            {"pattern", place.pattern},
            {"keeps_additions", place.keeps_additions}};
}

Place place_from(const json &from)
{
    return {percent_decoded(from.at("folder")), percent_decoded(from.at("name")), from.at("pattern"),
            from.at("keeps_additions")};
}

json to_json(const Entry &entry)
{
    json out = {{"type", std::string(1, entry.type)},
                {"mode", octal(entry.mode)},
                {"uid", entry.uid},
                {"gid", entry.gid},
                {"changed", {entry.seconds, entry.nanoseconds}}};
    if (entry.type == 'l')
        out["target"] = percent_encoded(entry.target);
    if (entry.type == 'f') {
        out["size"] = entry.size;
        out["sha256"] = entry.sha256;
    }
    for (const auto &[name, value] : entry.attributes)
        out["attributes"][percent_encoded(name)] = percent_encoded(value);
    return out;
}

Entry entry_from(const json &from)
{
    Entry entry;
    entry.type = from.at("type").get<std::string>().at(0);
    entry.mode = static_cast<uint32_t>(std::stoul(from.at("mode").get<std::string>(), nullptr, 8));
    entry.uid = from.at("uid");
    entry.gid = from.at("gid");
    entry.seconds = from.at("changed").at(0);
    entry.nanoseconds = from.at("changed").at(1);
    if (entry.type == 'l')
        entry.target = percent_decoded(from.at("target"));
    if (entry.type == 'f') {
        entry.size = from.at("size");
        entry.sha256 = from.at("sha256");
    }
    if (from.contains("attributes"))
        for (const auto &[name, value] : from["attributes"].items())
            entry.attributes.emplace(percent_decoded(name), percent_decoded(value));
    return entry;
}

json to_json(const std::optional<Entry> &entry)
{
    return entry ? to_json(*entry) : json();
}

std::optional<Entry> entry_or_nothing(const json &from)
{
    return from.is_null() ? std::nullopt : std::optional(entry_from(from));
}

json to_json(const std::vector<Place> &places)
{
    json list = json::array();
    for (const Place &place : places)
        list.push_back(to_json(place));
    return list;
}

std::vector<Place> places_from(const json &list)
{
    std::vector<Place> places;
    for (const json &place : list)
        places.push_back(place_from(place));
    return places;
}

json to_json(const Entries &entries)
{
    json all = json::object();
    for (const auto &[path, entry] : entries)
        all[percent_encoded(path)] = to_json(entry);
    return all;
}

Entries entries_from(const json &all)
{
    Entries entries;
    for (const auto &[path, entry] : all.items())
        entries.emplace(percent_decoded(path), entry_from(entry));
    return entries;
}

/* Everything but the sum. */
json body_of(const Manifest &manifest)
{
    json changes = json::array();
    for (const Change &change : manifest.changes)
        changes.push_back({{"path", percent_encoded(change.path)},
                           {"before", to_json(change.before)},
                           {"after", to_json(change.after)}});
    return {{"format", format_of_manifest},
            {"name", manifest.name},
            {"previous", manifest.previous},
            {"command", manifest.command},
            {"back_to", manifest.back_to},
            {"from", manifest.from},
            {"to", manifest.to},
            {"places", to_json(manifest.places)},
            {"changes", std::move(changes)},
            {"state", to_json(manifest.state)}};
}

void require_plain_path(const std::string &path)
{
    if (path.empty() || path[0] != '/' || (path + "/").find("/../") != std::string::npos)
        throw std::runtime_error("a path in it leads elsewhere");
}

Manifest manifest_from(const json &body)
{
    Manifest manifest;
    manifest.name = body.at("name");
    manifest.previous = body.at("previous");
    manifest.command = body.at("command");
    manifest.back_to = body.at("back_to");
    manifest.from = body.at("from");
    manifest.to = body.at("to");
    manifest.places = places_from(body.at("places"));
    for (const json &change : body.at("changes"))
        manifest.changes.push_back({percent_decoded(change.at("path")), entry_or_nothing(change.at("before")),
                                    entry_or_nothing(change.at("after"))});
    manifest.state = entries_from(body.at("state"));
    for (const Change &change : manifest.changes)
        require_plain_path(change.path);
    return manifest;
}

} // namespace

std::string manifest_text(const Manifest &manifest)
{
    json body = body_of(manifest);
    body["sum"] = sha256(body.dump());
    return body.dump(1) + "\n";
}

Manifest parse_manifest(const std::string &text)
{
    json body = json::parse(text, nullptr, false);
    if (!body.is_object() || !body.contains("sum") || !body["sum"].is_string())
        throw std::runtime_error("it is damaged");
    std::string sum = body["sum"];
    body.erase("sum");
    if (sum != sha256(body.dump(-1, ' ', false, json::error_handler_t::replace)))
        throw std::runtime_error("it is damaged: its checksum does not fit");
    if (body.value("format", 0) != format_of_manifest)
        throw std::runtime_error("another version of migr wrote it");
    try {
        return manifest_from(body);
    } catch (const json::exception &) {
        throw std::runtime_error("it is incomplete");
    } catch (const std::logic_error &) { /* a number that is none */
        throw std::runtime_error("it is damaged");
    }
}

std::string places_text(const std::vector<Place> &places)
{
    return to_json(places).dump();
}

std::vector<Place> parse_places(const std::string &text)
{
    return places_from(json::parse(text));
}

std::string entries_text(const Entries &entries)
{
    return to_json(entries).dump();
}

Entries parse_entries(const std::string &text)
{
    return entries_from(json::parse(text));
}

} // namespace command
