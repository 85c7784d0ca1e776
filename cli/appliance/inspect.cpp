#include "appliance/inspect.h"

#include "driver/version_lines.h"
#include "output/size_text.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "tree/config_text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace fs = std::filesystem;

namespace command {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ConfigFacts, error, gzip, release, model, second_line, stored_size, text_size,
                                   empty_sets)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StoredFile, name, facts, owner, special)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ConfigFolder, names, files)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Surroundings, update_file, room)

namespace {

constexpr size_t most_empty_sets = 10;

/* "5.50-CV" begins with a release, "100D" does not. */
bool begins_with_release(const std::string &text)
{
    size_t digits = text.find_first_not_of("0123456789");
    return digits != 0 && digits != std::string::npos && text[digits] == '.';
}

/* The model stands ahead of the release; of one without a dash the version line's own reader gives both. */
std::string model_of_version_line()
{
    std::string text(MIGR_LINE_SIZE, '\0');
    if (get_cvw_type(text.data()) != 0)
        return "";
    text.resize(strlen(text.c_str()));
    size_t dash = text.find('-');
    if (dash != std::string::npos && begins_with_release(text.substr(dash + 1)))
        text.resize(dash);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

/* Scratch trees: the readers below only look. */
config_node scratch_root()
{
    config_node root = {};
    root.kind = MIGR_ROOT;
    return root;
}

/*
 * Lines with a `set` without a value. Reads as setup_tree does, whose outer loop swallows the line behind a stray
 * `end`. Behind a first finding the blocks are lost, and each of their ends would be such a stray one; so nothing is
 * swallowed from there on.
 */
std::vector<uint64_t> find_empty_sets(text_reader reader)
{
    std::vector<uint64_t> lines;
    reader.at = 0;
    while (reader.at < reader.size && lines.size() < most_empty_sets) {
        if (lines.empty())
            read_line(&reader, migr_main.line_buf);
        config_node root = scratch_root();
        if (parse_text(&reader, &root) != 0) {
            auto ends = std::count(reader.text, reader.text + reader.at, '\n');
            bool cut = reader.text[reader.at - 1] != '\n';
            lines.push_back(static_cast<uint64_t>(ends) + (cut ? 1 : 0));
        }
    }
    return lines;
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

StoredFile inspect_stored(const std::string &name, Depth depth)
{
    std::string path = config_path(name);
    struct stat st = {};
    StoredFile  file;
    file.name = name;
    if (stat(path.c_str(), &st) == 0) {
        file.owner = st.st_uid;
        file.special = !S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode);
    }
    file.facts = inspect_file(path, depth);
    if (is_too_long(name))
        file.facts.error = ENAMETOOLONG;
    return file;
}

ConfigFolder inspect_folder_here(Depth depth)
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
            folder.files.push_back(inspect_stored(name, depth));
    std::stable_partition(folder.files.begin(), folder.files.end(),
                          [](const StoredFile &file) { return file.is_global(); });
    return folder;
}

std::string numbers(const std::vector<uint64_t> &lines)
{
    std::string text;
    for (size_t at = 0; at < lines.size(); at++) {
        if (at > 0)
            text += at + 1 == lines.size() ? " and " : ", ";
        text += std::to_string(lines[at]);
    }
    return text;
}

uint64_t room_on(const char *folder)
{
    struct statvfs disk = {};
    if (statvfs(folder, &disk) != 0)
        return UINT64_MAX;
    return static_cast<uint64_t>(geteuid() == 0 ? disk.f_bfree : disk.f_bavail) * disk.f_frsize;
}

uint64_t room_to_write()
{
    rlimit limit = {RLIM_INFINITY, RLIM_INFINITY};
    getrlimit(RLIMIT_FSIZE, &limit);
    return std::min({room_on("/tmp"), room_on(config_folder), static_cast<uint64_t>(limit.rlim_cur)});
}

/* What the file itself gives as a reason; empty for none. */
std::string fault_of(const ConfigFacts &facts)
{
    if (facts.error == EISDIR || facts.error == EINVAL)
        return "It is no file. Move it out of the folder.";
    if (facts.error != 0)
        return "It cannot be read: " + std::string(strerror(facts.error)) + ". " + next_step(facts.error);
    if (!facts.gzip)
        return "It is no gzip file, or a damaged one. Put a good copy in its place, or move it out of the folder.";
    if (facts.release < 0)
        return "It has no version line (\"#config-version=\") that can be read. Mend its first line.";
    if (!facts.second_line)
        return "It has no second header line (\"#conf_file_ver=\") that can be read. Put it behind the first line.";
    if (!facts.empty_sets.empty())
        return "It has a `set` without a value in line " + numbers(facts.empty_sets) +
               ". Give it a value or take the line out, and run migr again.";
    return "";
}

} // namespace

const StoredFile *ConfigFolder::find(const std::string &name) const
{
    auto at = std::find_if(files.begin(), files.end(), [&](const StoredFile &file) { return file.name == name; });
    return at == files.end() ? nullptr : &*at;
}

ConfigFolder inspect_folder(const Root &root, Depth depth)
{
    return root.run([&] { return json(inspect_folder_here(depth)); });
}

ConfigFacts inspect_file(const std::string &path, Depth depth)
{
    int         error = 0;
    std::string bytes = read_if_possible(path, error);
    if (error != 0) {
        ConfigFacts unread;
        unread.error = error;
        return unread;
    }
    size_t stored_size = bytes.size();
    bool   packed = looks_like_gzip(bytes);
    if (packed) {
        std::optional<std::string> text = gunzip(bytes);
        packed = text.has_value();
        bytes = text ? std::move(*text) : "";
    }
    ConfigFacts facts = inspect_text(std::move(bytes), depth);
    facts.gzip = packed;
    facts.stored_size = stored_size;
    return facts;
}

ConfigFacts inspect_text(std::string text, Depth depth)
{
    ConfigFacts facts;
    facts.text_size = facts.stored_size = text.size();
    text_reader reader = {text.data(), text.size(), 0};
    migr_main.img_version = get_osimage_version();
    facts.release = save_first_line(&reader);
    if (facts.release >= 0) {
        memcpy(bak_line, migr_main.line_buf, strlen(migr_main.line_buf) + 1);
        facts.model = model_of_version_line();
    }
    reader.at = 0;
    facts.second_line = save_second_line(&reader) == 0;
    if (depth == Depth::whole)
        facts.empty_sets = find_empty_sets(reader);
    return facts;
}

std::string release_text(int32_t code)
{
    if (code < 0)
        return "-";
    char text[32];
    snprintf(text, sizeof text, "%d.%02d", code >> 16, code & 0xffff);
    return text;
}

bool starts_run(const ConfigFacts &global)
{
    return global.error == 0 && global.gzip && global.release != -1 && global.release < get_osimage_version();
}

bool is_current(const ConfigFacts &facts)
{
    return facts.error == 0 && facts.gzip && facts.release >= get_osimage_version();
}

Surroundings inspect_surroundings(const Root &root)
{
    return root.run([] {
        Surroundings around;
        around.update_file = access("/data/etc/update_config", R_OK) == 0;
        around.room = room_to_write();
        return json(around);
    });
}

std::string why_not_upgraded(const ConfigFolder &folder, const ConfigFacts &facts, const Surroundings &around)
{
    std::string fault = fault_of(facts);
    if (!fault.empty())
        return fault;
    const StoredFile *global = folder.global();
    if (!global || !starts_run(global->facts))
        return "An upgrade runs only when " + std::string(global_name) + " can be read and is older than " +
               release_text(get_osimage_version()) + ".";
    if (!around.update_file)
        return "There is no update file /data/etc/update_config. Give the image's folder with --image.";
    if (around.room < facts.text_size)
        return "There is no room to write its " + size_text(facts.text_size) + ". " + next_step(ENOSPC);
    return "";
}

} // namespace command
