#include "appliance/manifest.h"

#include "system/digest.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>

using nlohmann::json;

namespace command {

namespace {

constexpr int format_of_manifest = 1;

std::string encoded(const std::string &text)
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

std::string decoded(const std::string &text)
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
    return {{"folder", encoded(place.folder)},
            {"name", encoded(place.name)},
            {"pattern", place.pattern},
            {"keeps_additions", place.keeps_additions}};
}

Place place_from(const json &from)
{
    return {decoded(from.at("folder")), decoded(from.at("name")), from.at("pattern"), from.at("keeps_additions")};
}

json to_json(const std::string &path, const Entry &entry)
{
    json out = {{"path", encoded(path)},     {"type", std::string(1, entry.type)},
                {"mode", octal(entry.mode)}, {"uid", entry.uid},
                {"gid", entry.gid},          {"changed", {entry.seconds, entry.nanoseconds}}};
    if (entry.type == 'l')
        out["target"] = encoded(entry.target);
    if (entry.type == 'f') {
        out["size"] = entry.size;
        out["sha256"] = entry.sha256;
    }
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
        entry.target = decoded(from.at("target"));
    if (entry.type == 'f') {
        entry.size = from.at("size");
        entry.sha256 = from.at("sha256");
    }
    return entry;
}

/* Everything but the sum. */
json body_of(const Manifest &manifest)
{
    json places = json::array();
    for (const Place &place : manifest.places)
        places.push_back(to_json(place));
    json entries = json::array();
    for (const auto &[path, entry] : manifest.entries)
        entries.push_back(to_json(path, entry));
    return {{"format", format_of_manifest},
            {"made", manifest.made},
            {"release", manifest.release},
            {"places", std::move(places)},
            {"entries", std::move(entries)}};
}

void require_plain_path(const std::string &path)
{
    if (path.empty() || path[0] != '/' || (path + "/").find("/../") != std::string::npos)
        throw std::runtime_error("a path in it leads elsewhere");
}

Manifest manifest_from(const json &body)
{
    Manifest manifest;
    manifest.made = body.at("made");
    manifest.release = body.at("release");
    for (const json &place : body.at("places"))
        manifest.places.push_back(place_from(place));
    for (const json &entry : body.at("entries"))
        manifest.entries.emplace(decoded(entry.at("path")), entry_from(entry));
    for (const auto &[path, entry] : manifest.entries)
        require_plain_path(path);
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

} // namespace command
