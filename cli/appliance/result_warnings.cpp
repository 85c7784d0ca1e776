/* One function per question. Each looks through the lists of blocks and sets and adds a line per finding. */
#include "appliance/result_warnings.h"

#include "driver/migr.h"
#include "language/items.h"
#include "language/lines.h"
#include "platform/platform.h"
#include "system/config_path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>

namespace command {

namespace {

using Warnings = std::vector<FileFinding>;
using Names = std::set<std::string, std::less<>>;
using NamesThere = std::unordered_set<std::string_view>; /* leading into the texts */

/* What is in a text, which must outlive this. */
struct Listed {
    std::vector<ConfigItem> items;

    explicit Listed(std::string_view text) : items(items_of(text)) {}

    bool is_entry(size_t at) const /* an entry of a top-level config */
    {
        return items[at].kind == ItemKind::edit && items[at].parent != no_item &&
               items[items[at].parent].parent == no_item;
    }
    std::string config_of(size_t at) const /* the top-level config around it, in comma form */
    {
        while (items[at].parent != no_item)
            at = items[at].parent;
        return join_words(items[at].name, ',');
    }
    /* A set of a block by its name, or no_item. The sets of a block follow it, with nested blocks between them. */
    size_t set_in(size_t block, std::string_view name) const
    {
        for (size_t at = block + 1; at < items.size() && items[at].line >= items[block].line; at++) {
            if (items[at].parent == no_item || items[at].parent < block)
                break;
            if (items[at].parent == block && items[at].kind == ItemKind::set && items[at].name == name)
                return at;
        }
        return no_item;
    }
    std::string place(size_t at) const
    {
        return "line " + std::to_string(items[at].line) + ": " + path_of(items, at);
    }
};

/* "waf signature" for "waf,signature". */
std::string words(std::string config)
{
    std::replace(config.begin(), config.end(), ',', ' ');
    return config;
}

/* ---- Material that files give ---- */

struct Material {
    const char *config;
    const char *folder; /* below /data/etc */
    const char *extension;
    const char *property;
};

/* Up to 5.79 the entries were names, and files held the rest. */
constexpr int32_t  entries_hold_material = MIGR_RELEASE(5, 80);
constexpr Material materials[] = {
    {"system,certificate,local", "cert/local", "key", "private-key"},
    {"system,certificate,local", "cert/local", "cer", "certificate"},
    {"system,certificate,ca", "cert/ca", "cer", "certificate"},
    {"system,certificate,intermediate-certificate", "cert/intmed", "cer", "certificate"},
    {"system,certificate,crl", "cert/crl", "crl", "certificate"},
    {"system,admin-certificate,local", "globalcert/local", "key", "private-key"},
    {"system,admin-certificate,local", "globalcert/local", "cer", "certificate"},
    {"system,admin-certificate,ca", "globalcert/ca", "cer", "certificate"},
};

std::string domain_of(const std::string &file)
{
    static constexpr std::string_view prefix = "sys_domain.";
    size_t                            end = file.rfind(".conf.gz");
    return file.starts_with(prefix) && end != file.npos ? file.substr(prefix.size(), end - prefix.size()) : "";
}

/* Why there is none, for the file's owner and for all. */
FileFinding why_not_taken(const std::string &name, const std::string &path)
{
    auto        of_file = [&](const std::string &what) { return FileFinding(path + " " + what, "its file " + what); };
    struct stat st = {};
    if (name.find('/') != name.npos)
        return "its name has a slash, and no file is read for such";
    if (stat(path.c_str(), &st) != 0 || access(path.c_str(), R_OK) != 0)
        return of_file(errno == ENOENT ? "is missing" : "cannot be read: " + std::string(strerror(errno)));
    if (!S_ISREG(st.st_mode))
        return of_file("is no file");
    if (st.st_size == 0)
        return of_file("is empty");
    if (st.st_size >= MIGR_VALUE_SIZE - 2)
        return of_file("is longer than the " + std::to_string(MIGR_VALUE_SIZE - 3) + " bytes that an entry takes");
    return of_file("is there, but was not taken in");
}

void warn_of_material(const UpgradedText &file, const Listed &after, Warnings &warnings)
{
    if (file.release >= entries_hold_material)
        return;
    for (size_t at = 0; at < after.items.size(); at++) {
        if (!after.is_entry(at))
            continue;
        std::string config = after.config_of(at);
        for (const Material &material : materials) {
            if (config != material.config || after.set_in(at, material.property) != no_item)
                continue;
            size_t      type = after.set_in(at, "type");
            bool        is_request = type != no_item && unquoted(after.items[type].value) == "csr";
            bool        is_certificate = strcmp(material.extension, "cer") == 0;
            std::string name(unquoted(after.items[at].name));
            std::string domain = domain_of(file.name);
            std::string path = "/data/etc/" + std::string(material.folder) + "/" +
                               (domain.empty() ? "" : domain + "/") + name + "." +
                               (is_request && is_certificate ? "csr" : material.extension);
            std::string lacks = std::string(" has no ") + material.property + ": ";
            FileFinding why = why_not_taken(name, path);
            warnings.push_back({after.place(at) + lacks + why.text + ".", words(config) + lacks + why.cause + "."});
        }
    }
}

/* ---- Keys in clear ---- */

void warn_of_clear_keys(const Listed &after, Warnings &warnings)
{
    for (size_t at = 0; at < after.items.size(); at++) {
        const ConfigItem &item = after.items[at];
        bool is_key = item.kind == ItemKind::set && item.name == "private-key" && !unquoted(item.value).empty();
        if (!is_key || item.value.find("ENCRYPTED") != item.value.npos)
            continue;
        std::string why = "it could not be encrypted; what the library printed (--verbose) may tell why";
        if (access("/data/etc/key.secret", R_OK) != 0)
            why = "the appliance has no passphrase that can be read (/data/etc/key.secret)";
        else if (after.config_of(at).starts_with("system,admin-certificate"))
            why = "keys of the administration's certificates that come from files are not encrypted";
        std::string clear = " is stored in clear: " + why + ".";
        warnings.push_back({after.place(at) + clear, "a key of " + words(after.config_of(at)) + clear});
    }
}

/* ---- References ---- */

bool is_number(std::string_view name)
{
    return name.find_first_not_of("0123456789") == name.npos;
}

void add_edit_names(const Listed &list, NamesThere &names)
{
    for (const ConfigItem &item : list.items)
        if (item.kind == ItemKind::edit)
            names.emplace(unquoted(item.name));
}

/* By name, the configs that had such an entry. */
using GoneEntries = std::map<std::string, Names, std::less<>>;

/* Entries that were there and are nowhere any more. Numbers refer to nothing. */
GoneEntries gone_entries(const Listed &before, const NamesThere &there)
{
    GoneEntries gone;
    for (size_t at = 0; at < before.items.size(); at++) {
        std::string_view name = unquoted(before.items[at].name);
        if (before.is_entry(at) && !is_number(name) && !there.contains(name))
            gone[std::string(name)].insert(path_of(before.items, before.items[at].parent));
    }
    return gone;
}

/* A set is mostly named like the config that it refers to. */
const std::string &likely_config(const Names &configs, std::string_view set)
{
    auto alike =
        std::find_if(configs.begin(), configs.end(), [&](const auto &config) { return config.ends_with(set); });
    return alike == configs.end() ? *configs.begin() : *alike;
}

/* Calls `look` with each word of a value: `"a" "b"` has two, and so has `a b`. */
template <typename Look> void for_each_word(std::string_view value, Look look)
{
    while (!value.empty()) {
        ConfigName word = config_name(value);
        if (!word.kept.empty())
            look(unquoted(word.kept));
        if (word.rest.size() >= value.size())
            return;
        value = without_indent(word.rest);
    }
}

void warn_of_references(const Listed &before, const Listed &after, const NamesThere &there, Warnings &warnings)
{
    GoneEntries gone = gone_entries(before, there);
    if (gone.empty())
        return;
    Names referred; /* "set name\nentry": that set named that entry before */
    auto  reference = [](std::string_view set, std::string_view entry) {
        return std::string(set) + "\n" + std::string(entry);
    };
    for (const ConfigItem &item : before.items)
        for_each_word(item.value, [&](std::string_view word) {
            if (gone.contains(word))
                referred.insert(reference(item.name, word));
        });
    for (size_t at = 0; at < after.items.size(); at++)
        for_each_word(after.items[at].value, [&](std::string_view word) {
            auto entry = gone.find(word);
            if (entry == gone.end() || !referred.contains(reference(after.items[at].name, word)))
                return;
            std::string was = "which was an entry of " + likely_config(entry->second, after.items[at].name) +
                              " and is no longer there.";
            warnings.push_back({after.place(at) + " refers to \"" + entry->first + "\", " + was,
                                words(after.config_of(at)) + " refers to one " + was});
        });
}

/* ---- Pages ---- */

std::string without_backslashes(std::string_view text)
{
    std::string plain(text);
    std::erase(plain, '\\');
    return plain;
}

/* Pages that equal the image's own go. One from before the split passes that twice, and an own one goes, too. */
void warn_of_pages(const UpgradedText &file, const Listed &before, const NamesThere &there, Warnings &warnings)
{
    for (size_t at = 0; !file.made_by_split && at < before.items.size(); at++) {
        size_t buffer =
            before.is_entry(at) && before.config_of(at) == "system,replacemsg" ? before.set_in(at, "buffer") : no_item;
        std::string name(unquoted(before.items[at].name));
        if (buffer == no_item || there.contains(name))
            continue;
        const char *own = find_default_msg_by_name(name.c_str());
        bool        is_own = own && without_backslashes(unquoted(before.items[buffer].value)) == own;
        if (!own || (!is_own && file.release < MIGR_RELEASE(5, 10)))
            warnings.push_back({"line " + std::to_string(before.items[at].line) + " of the old file: the page \"" +
                                    name + "\" is not in the result.",
                                "a page is not in the result."});
    }
}

/* ---- Certificates of domains ---- */

bool is_certificate_entry(const Listed &list, size_t at)
{
    return list.is_entry(at) && list.items[list.items[at].parent].name.find("certificate") != std::string_view::npos;
}

/* Up to 5.19 certificates lay in the global file, and each domain gets a copy of them in the same run. */
void warn_of_certificates(const UpgradedText &file, const Listed &before, const NamesThere &there, Warnings &warnings)
{
    static const std::string dropped = " was dropped: from 5.20 on a domain has the certificates that the global file "
                                       "had then, and that has none of this name, or is newer already.";
    bool                     is_domain = file.name != global_name && !file.made_by_split;
    if (!is_domain || file.release >= MIGR_RELEASE(5, 20))
        return;
    for (size_t at = 0; at < before.items.size(); at++)
        if (is_certificate_entry(before, at) && !there.contains(unquoted(before.items[at].name)))
            warnings.push_back({"line " + std::to_string(before.items[at].line) +
                                    " of the old file: " + path_of(before.items, at) + dropped,
                                words(before.config_of(at)) + dropped});
}

} // namespace

std::vector<std::vector<FileFinding>> result_warnings(const std::vector<UpgradedText> &files)
{
    NamesThere          there;
    std::vector<Listed> results;
    for (const UpgradedText &file : files)
        add_edit_names(results.emplace_back(file.after), there);
    std::vector<std::vector<FileFinding>> all;
    for (size_t at = 0; at < files.size(); at++) {
        const UpgradedText &file = files[at];
        const Listed       &after = results[at];
        const Listed        before(file.before);
        Warnings            warnings;
        warn_of_material(file, after, warnings);
        warn_of_clear_keys(after, warnings);
        warn_of_references(before, after, there, warnings);
        warn_of_pages(file, before, there, warnings);
        warn_of_certificates(file, before, there, warnings);
        all.push_back(std::move(warnings));
    }
    return all;
}

} // namespace command
