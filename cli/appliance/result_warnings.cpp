/* One function or record per question, which is shown each item of a text and adds a line per finding. No text is kept
 * as a list: they can be large. */
#include "appliance/result_warnings.h"

#include "driver/migr.h"
#include "language/items.h"
#include "language/lines.h"
#include "platform/platform.h"
#include "system/config_path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <utility>

namespace command {

namespace {

using Warnings = std::vector<FileFinding>;
using Names = std::set<std::string, std::less<>>;
using NamesThere = std::unordered_set<std::string_view>; /* leading into the texts */

bool is_entry(const ConfigItems &at) /* of a top-level config */
{
    return at.item().kind == ItemKind::edit && at.blocks().size() == 1;
}

std::string place_of(const ConfigItems &at)
{
    return "line " + std::to_string(at.item().line) + ": " + path_of(at);
}

void append(Warnings &further, Warnings &warnings)
{
    std::move(further.begin(), further.end(), std::back_inserter(warnings));
}

std::string old_line(size_t line)
{
    return "line " + std::to_string(line) + " of the old file: ";
}

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

/* Goes along with whoever reads a result. An entry is judged when the next item stands outside of it. */
class MaterialQuestion {
  public:
    MaterialQuestion(const UpgradedText &file, Warnings &warnings) : file_(file), warnings_(warnings) {}

    void take(const ConfigItems &at)
    {
        if (at.blocks().size() < 2)
            judge();
        if (is_entry(at) && is_asked_for(at.config()))
            entry_ = Entry{at.config(), place_of(at), std::string(unquoted(at.item().name)), {}, false};
        else if (entry_ && at.blocks().size() == 2 && at.item().kind == ItemKind::set)
            take_set(at.item());
    }

    void judge()
    {
        if (!entry_)
            return;
        for (const Material &material : materials)
            if (entry_->config == material.config && !entry_->sets.contains(material.property))
                tell(material);
        entry_.reset();
    }

  private:
    struct Entry {
        std::string config, place, name;
        Names       sets;
        bool        is_request;
    };

    bool is_asked_for(std::string_view config) const
    {
        return file_.release < entries_hold_material &&
               std::any_of(std::begin(materials), std::end(materials),
                           [&](const Material &material) { return config == material.config; });
    }

    void take_set(const ConfigItem &set)
    {
        bool is_new = entry_->sets.emplace(set.name).second;
        if (is_new && set.name == "type")
            entry_->is_request = unquoted(set.value) == "csr";
    }

    void tell(const Material &material)
    {
        bool        is_certificate = strcmp(material.extension, "cer") == 0;
        std::string domain = domain_of(file_.name);
        std::string path = "/data/etc/" + std::string(material.folder) + "/" + (domain.empty() ? "" : domain + "/") +
                           entry_->name + "." + (entry_->is_request && is_certificate ? "csr" : material.extension);
        std::string lacks = std::string(" has no ") + material.property + ": ";
        FileFinding why = why_not_taken(entry_->name, path);
        warnings_.push_back({entry_->place + lacks + why.text + ".", words(entry_->config) + lacks + why.cause + "."});
    }

    const UpgradedText  &file_;
    Warnings            &warnings_;
    std::optional<Entry> entry_; /* that is being read */
};

/* ---- Keys in clear ---- */

void warn_of_clear_key(const ConfigItems &at, Warnings &warnings)
{
    const ConfigItem &item = at.item();
    bool is_key = item.kind == ItemKind::set && item.name == "private-key" && !unquoted(item.value).empty();
    if (!is_key || item.value.find("ENCRYPTED") != item.value.npos)
        return;
    std::string why = "it could not be encrypted; what the library printed (--verbose) may tell why";
    if (access("/data/etc/key.secret", R_OK) != 0)
        why = "the appliance has no passphrase that can be read (/data/etc/key.secret)";
    else if (at.config().starts_with("system,admin-certificate"))
        why = "keys of the administration's certificates that come from files are not encrypted";
    std::string clear = " is stored in clear: " + why + ".";
    warnings.push_back({place_of(at) + clear, "a key of " + words(at.config()) + clear});
}

/* ---- References ---- */

bool is_number(std::string_view name)
{
    return name.find_first_not_of("0123456789") == name.npos;
}

/* By name, the configs that had such an entry. */
using GoneEntries = std::map<std::string, Names, std::less<>>;

/* Entries that were there and are nowhere any more. Numbers refer to nothing. */
void note_gone_entry(const ConfigItems &at, const NamesThere &there, GoneEntries &gone)
{
    std::string_view name = unquoted(at.item().name);
    if (!is_number(name) && !there.contains(name))
        gone[std::string(name)].emplace(unquoted(at.blocks().front().name));
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

void warn_of_references(const UpgradedText &file, const GoneEntries &gone, Warnings &warnings)
{
    if (gone.empty())
        return;
    Names referred; /* "set name\nentry": that set named that entry before */
    auto  reference = [](std::string_view set, std::string_view entry) {
        return std::string(set) + "\n" + std::string(entry);
    };
    for (ConfigItems before(file.before); before.next();)
        for_each_word(before.item().value, [&](std::string_view word) {
            if (gone.contains(word))
                referred.insert(reference(before.item().name, word));
        });
    for (ConfigItems after(file.after); after.next();)
        for_each_word(after.item().value, [&](std::string_view word) {
            auto entry = gone.find(word);
            if (entry == gone.end() || !referred.contains(reference(after.item().name, word)))
                return;
            std::string was =
                "which was an entry of " + likely_config(entry->second, after.item().name) + " and is no longer there.";
            warnings.push_back({place_of(after) + " refers to \"" + entry->first + "\", " + was,
                                words(after.config()) + " refers to one " + was});
        });
}

/* ---- Pages ---- */

std::string without_backslashes(std::string_view text)
{
    std::string plain(text);
    std::erase(plain, '\\');
    return plain;
}

/* Pages that equal the image's own go. One from before the split passes that twice, and an own one goes, too. Goes
 * along with whoever reads an old text. */
class PageQuestion {
  public:
    PageQuestion(const UpgradedText &file, const NamesThere &there, Warnings &warnings)
        : file_(file), there_(there), warnings_(warnings)
    {
    }

    void take(const ConfigItems &at)
    {
        if (at.blocks().size() < 2)
            page_line_ = 0;
        if (is_entry(at) && !file_.made_by_split && at.config() == "system,replacemsg")
            begin_page(at.item());
        else if (page_line_ != 0 && at.blocks().size() == 2 && at.item().kind == ItemKind::set &&
                 at.item().name == "buffer")
            take_buffer(at.item());
    }

  private:
    void begin_page(const ConfigItem &entry)
    {
        page_line_ = entry.line;
        page_ = unquoted(entry.name);
    }

    void take_buffer(const ConfigItem &buffer)
    {
        std::string name(page_);
        size_t      line = std::exchange(page_line_, 0); /* only the first counts */
        if (there_.contains(name))
            return;
        const char *own = find_default_msg_by_name(name.c_str());
        bool        is_own = own && without_backslashes(unquoted(buffer.value)) == own;
        if (!own || (!is_own && file_.release < MIGR_RELEASE(5, 10)))
            warnings_.push_back(
                {old_line(line) + "the page \"" + name + "\" is not in the result.", "a page is not in the result."});
    }

    const UpgradedText &file_;
    const NamesThere   &there_;
    Warnings           &warnings_;
    std::string_view    page_;          /* that is being read, by its name */
    size_t              page_line_ = 0; /* 0: none */
};

/* ---- Certificates of domains ---- */

/* Up to 5.19 certificates lay in the global file, and each domain gets a copy of them in the same run. */
void warn_of_certificate(const UpgradedText &file, const ConfigItems &at, const NamesThere &there, Warnings &warnings)
{
    static const std::string dropped = " was dropped: from 5.20 on a domain has the certificates that the global file "
                                       "had then, and that has none of this name, or is newer already.";
    bool                     is_domain = file.name != global_name && !file.made_by_split;
    if (!is_domain || file.release >= MIGR_RELEASE(5, 20))
        return;
    bool is_certificate = at.blocks().front().name.find("certificate") != std::string_view::npos;
    if (is_certificate && !there.contains(unquoted(at.item().name)))
        warnings.push_back({old_line(at.item().line) + path_of(at) + dropped, words(at.config()) + dropped});
}

/* ---- The texts ---- */

/* Warns of what the result shows by itself, and notes what is there. */
void look_at_result(const UpgradedText &file, NamesThere &there, Warnings &warnings)
{
    Warnings         clear_keys;
    MaterialQuestion material(file, warnings);
    ConfigItems      after(file.after);
    while (after.next()) {
        if (after.item().kind == ItemKind::edit)
            there.insert(unquoted(after.item().name));
        material.take(after);
        warn_of_clear_key(after, clear_keys);
    }
    material.judge();
    append(clear_keys, warnings);
}

/* Warns of what the result lacks, when all that is there is known. */
void look_for_losses(const UpgradedText &file, const NamesThere &there, Warnings &warnings)
{
    GoneEntries  gone;
    Warnings     pages, certificates;
    PageQuestion page(file, there, pages);
    for (ConfigItems before(file.before); before.next();) {
        page.take(before);
        if (!is_entry(before))
            continue;
        note_gone_entry(before, there, gone);
        warn_of_certificate(file, before, there, certificates);
    }
    warn_of_references(file, gone, warnings);
    append(pages, warnings);
    append(certificates, warnings);
}

} // namespace

std::vector<std::vector<FileFinding>> result_warnings(const std::vector<UpgradedText> &files)
{
    NamesThere                            there;
    std::vector<std::vector<FileFinding>> all;
    for (const UpgradedText &file : files)
        look_at_result(file, there, all.emplace_back());
    for (size_t at = 0; at < files.size(); at++)
        look_for_losses(files[at], there, all[at]);
    return all;
}

} // namespace command
