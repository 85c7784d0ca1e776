/*
 * Facts are gathered inside the root folder and judged outside of it, and reasons are texts made from facts alone.
 * Nothing is written, and no file is opened that is not a configuration.
 */
#include "appliance/inspect.h"

#include "appliance/inside.h"
#include "driver/version_lines.h"
#include "output/release_text.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "tree/version_text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/resource.h>
#include <sys/statvfs.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* "5.50-CV" begins with a release, "100D" does not. */
bool begins_with_release(const std::string &text)
{
    size_t digits = text.find_first_not_of("0123456789");
    return digits != 0 && digits != std::string::npos && text[digits] == '.';
}

/* The model stands ahead of the release; of one without a dash the version line's own reader gives both. */
std::string model_of_version_line()
{
    char line[MIGR_LINE_SIZE];
    if (get_cvw_type(line) != 0)
        return "";
    std::string text = line;
    size_t      dash = text.find('-');
    if (dash != std::string::npos && begins_with_release(text.substr(dash + 1)))
        text.resize(dash);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

/* What the library has read as a release, to the end of its line: the composed line is the same up to there. */
std::string text_of_release()
{
    std::string_view read = migr_main.line_buf, composed = migr_main.first_line;
    for (int32_t target : {get_osimage_version(), MIGR_RELEASE(5, 10)}) {
        size_t ahead = composed.find(release_text(target) + "-CV-build");
        if (ahead < read.size() && read.substr(0, ahead) == composed.substr(0, ahead))
            return std::string(read.substr(ahead));
    }
    return "";
}

/* Up to where the release should end; what stands there may be anything. */
std::string shown_release(const std::string &text)
{
    static constexpr size_t most = 20;
    return text.substr(0, std::min(most, text.find_first_of("-:\n", 1)));
}

std::string read_if_possible(const std::string &path, int &error)
{
    error = 0;
    try {
        return read_file(path, Links::follow);
    } catch (const PathError &failed) {
        error = failed.error;
        return "";
    }
}

ConfigFacts facts_of(std::string bytes, Depth depth, std::string *kept_text = nullptr)
{
    size_t      stored_size = bytes.size();
    bool        packed = looks_like_gzip(bytes);
    std::string no_gzip = packed ? "" : why_not_unpacked(bytes);
    if (packed) {
        std::optional<std::string> text = gunzip(bytes);
        packed = text.has_value();
        no_gzip = packed ? "" : why_not_unpacked(bytes);
        bytes = text ? std::move(*text) : "";
    }
    ConfigFacts facts = inspect_text(bytes, depth);
    facts.gzip = packed;
    facts.no_gzip = no_gzip;
    facts.stored_size = stored_size;
    if (kept_text)
        *kept_text = std::move(bytes);
    return facts;
}

/* The names that the library takes for configuration files. */
bool is_taken(const std::string &name)
{
    return name[0] != '.' && name.find("conf.gz") != std::string::npos;
}

/* It composes their paths in 256 characters, and passes over a longer one. */
bool is_too_long(const std::string &name)
{
    static constexpr size_t path_room = 256;
    return sizeof config_folder + name.size() >= path_room;
}

ConfigFacts inspect_path(const std::string &path, Depth depth, std::string *text)
{
    int         error = 0;
    std::string bytes = read_if_possible(path, error);
    if (error != 0) {
        ConfigFacts unread;
        unread.error = error;
        return unread;
    }
    return facts_of(std::move(bytes), depth, text);
}

StoredFile inspect_stored(const std::string &name, Depth depth, StoredTexts *texts)
{
    StoredFile file = {name, inspect_path(config_path(name), depth, texts ? &(*texts)[name] : nullptr)};
    if (is_too_long(name))
        file.facts.error = ENAMETOOLONG;
    return file;
}

/* What can be written on this disk, as the writer will. */
uint64_t room_here()
{
    struct statvfs disk = {};
    rlimit         limit = {RLIM_INFINITY, RLIM_INFINITY};
    getrlimit(RLIMIT_FSIZE, &limit);
    if (statvfs("/", &disk) != 0)
        return limit.rlim_cur;
    uint64_t blocks = geteuid() == 0 ? disk.f_bfree : disk.f_bavail;
    return std::min<uint64_t>(limit.rlim_cur, blocks * disk.f_frsize);
}

/* Tells each damage the top-level config around it. */
void name_configs(std::string_view text, std::vector<Damage> &found)
{
    if (found.empty())
        return;
    std::vector<TopLevelConfig> configs = top_level_configs(text);
    for (Damage &damage : found) {
        auto behind = std::upper_bound(configs.begin(), configs.end(), damage.line,
                                       [](size_t line, const TopLevelConfig &config) { return line < config.line; });
        if (behind == configs.begin())
            continue;
        damage.config = std::prev(behind)->name;
        std::replace(damage.config.begin(), damage.config.end(), ',', ' ');
    }
}

/* The line that its reader has found, without what stands ahead of the mark. */
std::string from_mark(const char *line, const char *mark)
{
    const char *at = strstr(line, mark);
    std::string text = at ? at : "";
    if (!text.ends_with('\n'))
        text += '\n';
    return text;
}

void take_damage(ConfigFacts &facts, std::string_view text, std::vector<TopLevelConfig> *configs)
{
    DamageReport report = damage_of(text, HeaderLines::both, configs);
    facts.too_large = why_too_large(report, room_here());
    facts.damage = std::move(report.found);
    facts.more_damage = report.more;
    facts.can_accept_damage = report.is_acceptable;
    name_configs(text, facts.damage);
}

/* "a `set` without a value in waf signature". */
std::string cause_of(const Damage &damage)
{
    return std::string(phrase_of(damage.kind)) + (damage.config.empty() ? "" : " in " + damage.config);
}

constexpr char more_damage_cause[] = "more damage than is listed";

} // namespace

const StoredFile *ConfigFolder::find(const std::string &name) const
{
    auto at = std::find_if(files.begin(), files.end(), [&](const StoredFile &file) { return file.name == name; });
    return at == files.end() ? nullptr : &*at;
}

ConfigFolder inspect_folder_here(Depth depth, StoredTexts *texts)
{
    ConfigFolder    folder;
    std::error_code error;
    for (fs::directory_iterator at(config_folder, error), end; !error && at != end; at.increment(error))
        folder.names.push_back(at->path().filename().string());
    if (error)
        throw PathError{"read", config_folder, error.value()};
    std::sort(folder.names.begin(), folder.names.end());
    for (const std::string &name : folder.names)
        if (is_taken(name))
            folder.files.push_back(inspect_stored(name, depth, texts));
    std::stable_partition(folder.files.begin(), folder.files.end(),
                          [](const StoredFile &file) { return file.is_global(); });
    return folder;
}

ConfigFolder inspect_folder(const Root &root, Depth depth)
{
    return inside(root, [&] { return inspect_folder_here(depth, nullptr); });
}

ConfigFacts inspect_file(const std::string &path, Depth depth)
{
    return inspect_path(path, depth, nullptr);
}

/* A plain text counts as well unpacked here. */
ConfigFacts inspect_bytes(const Root &machine, const std::string &bytes)
{
    return inside(machine, [&] {
        ConfigFacts facts = facts_of(bytes, Depth::whole);
        facts.gzip = facts.gzip || !looks_like_gzip(bytes);
        return facts;
    });
}

ConfigFacts inspect_text(std::string_view text, Depth depth, std::vector<TopLevelConfig> *configs)
{
    ConfigFacts facts;
    facts.text_size = facts.stored_size = text.size();
    facts.version_line = text.starts_with("#config-version=");
    text_reader reader = {const_cast<char *>(text.data()), text.size(), 0, 0, 0, 0}; /* it copies lines out */
    migr_main.img_version = get_osimage_version();
    migr_main.first_line[0] = '\0';
    facts.release = save_first_line(&reader);
    std::string text_of = text_of_release();
    std::string first_line = from_mark(migr_main.line_buf, "#config-version=");
    /* The library adds up whatever stands there: 5.65536 would be 6.00, and a word 0. */
    if (!text_of.empty() && release_code(text_of.substr(0, text_of.find('-'))) < 0) {
        facts.release = -1;
        facts.no_release = shown_release(text_of);
    }
    if (facts.release >= 0) {
        memcpy(bak_line, migr_main.line_buf, strlen(migr_main.line_buf) + 1);
        facts.model = model_of_version_line();
    }
    reader.at = 0;
    facts.second_line = save_second_line(&reader) == 0;
    if (facts.release >= 0 && facts.second_line)
        facts.header_lines = first_line + from_mark(migr_main.second_line, "#conf_file_ver=");
    if (depth == Depth::whole)
        take_damage(facts, text, configs);
    return facts;
}

std::vector<FileFinding> damage_findings(const ConfigFacts &facts)
{
    std::vector<FileFinding> findings;
    for (const Damage &damage : facts.damage)
        findings.push_back({"line " + std::to_string(damage.line) + ": " + damage.text, cause_of(damage)});
    if (facts.more_damage > 0)
        findings.push_back({"and " + std::to_string(facts.more_damage) + " more like these.", more_damage_cause});
    return findings;
}

bool is_current(const ConfigFacts &facts)
{
    return facts.error == 0 && facts.gzip && facts.release >= image_release();
}

std::string why_no_release(const ConfigFacts &facts)
{
    if (facts.no_release.empty())
        return "It has no version line (\"#config-version=\") that can be read. Mend its first line.";
    return "Its version line names \"" + facts.no_release + "\", which is no release. Mend its first line.";
}

FileFinding fault_of(const ConfigFacts &facts)
{
    if (facts.error == EISDIR || facts.error == EINVAL)
        return {"It is no file. Move it out of the folder.", "It is no file."};
    if (facts.error != 0)
        return {"It cannot be read: " + std::string(strerror(facts.error)) + ". " + next_step(facts.error),
                "It cannot be read: " + std::string(strerror(facts.error)) + "."};
    if (!facts.gzip)
        return {"It " + facts.no_gzip + ". Put a good copy in its place, or move it out of the folder.",
                "It " + facts.no_gzip + "."};
    if (facts.release < 0)
        return {why_no_release(facts),
                facts.version_line ? "Its version line names no release." : "It has no version line."};
    if (!facts.second_line)
        return {"It has no second header line (\"#conf_file_ver=\") that can be read. Put it behind the first line. "
                "A machine-learning configuration has none; it is upgraded with migr ml.",
                "It has no second header line that can be read."};
    if (!facts.too_large.empty())
        return {facts.too_large, "It would be too large when written."};
    return "";
}

std::vector<FileFinding> reasons_against(const ConfigFacts &facts, bool accept_damage)
{
    FileFinding fault = fault_of(facts);
    if (!fault.text.empty())
        return {fault};
    if (accept_damage && facts.can_accept_damage)
        return {};
    return damage_findings(facts);
}

} // namespace command
