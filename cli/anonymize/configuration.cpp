/*
 * A configuration is taken as a row of names and values with something between them. What a value is for is told by the
 * name of its setting, as far as that says so.
 */
#include "anonymize/configuration.h"

#include "anonymize/word_scan.h"
#include "explain/secrets.h"
#include "language/items.h"
#include "language/lines.h"

#include <algorithm>

namespace command {

namespace {

/* A setting whose name holds one of these is for people, and looked at by nobody else. */
constexpr std::string_view prose_names[] = {"comment",  "description",   "note",      "contact",
                                            "location", "first-name",    "last-name", "alias",
                                            "owner",    "administrator", "phone",     "headline"};

/* As the last word of a setting's name, one of these is a secret whatever the value is. */
constexpr std::string_view secret_ends[] = {"passwd", "password", "pass",  "passphrase", "secret",
                                            "psk",    "pwd",      "token", "community"};

bool is_sure_secret(std::string_view name, std::string_view value)
{
    std::string small = small_letters(unquoted(name));
    std::string last = small.substr(small.find_last_of("- ,") + 1);
    while (!last.empty() && is_digit(last.back()))
        last.pop_back();
    return unquoted(value).starts_with("ENC ") ||
           std::find(std::begin(secret_ends), std::end(secret_ends), last) != std::end(secret_ends);
}

bool is_prose(std::string_view name)
{
    std::string small = small_letters(name);
    return std::any_of(std::begin(prose_names), std::end(prose_names),
                       [&](std::string_view word) { return small.find(word) != std::string::npos; });
}

/* The config that an item stands in, whatever lies between. */
std::string_view config_around(const std::vector<ConfigItem> &items, size_t at)
{
    while (at != no_item && items[at].kind != ItemKind::config)
        at = items[at].parent;
    return at == no_item ? std::string_view() : items[at].name;
}

TextUse use_of(const std::vector<ConfigItem> &items, size_t at, const Substitution &texts)
{
    const ConfigItem &set = items[at];
    std::string       name(set.name), value(set.value);
    bool              is_switch = value == "enable" || value == "disable";
    if (is_secret_set(std::string(config_around(items, set.parent)), name, value) && !is_switch) {
        /* That a name is one is told by where it stands. */
        bool is_sure = is_word(unquoted(set.name), "name") || is_sure_secret(name, value) || !texts.is_known(value);
        return is_sure ? TextUse::secret : TextUse::setting;
    }
    return is_prose(name) ? TextUse::prose : TextUse::setting;
}

/* What a release may call a config or a setting; anything else is no word of the language. */
bool is_language_name(std::string_view name)
{
    static constexpr size_t longest = 64;
    return name.size() <= longest && std::all_of(name.begin(), name.end(), [](char c) {
               return is_letter(c) || is_digit(c) || c == '-' || c == '_' || c == ' ' || c == ',';
           });
}

/* The version line's first field tells firmware and model. Whatever else is in there goes by its words. */
std::string other_first_line(std::string_view line, Substitution &texts)
{
    size_t field = line.find(':');
    if (!line.starts_with("#config-version=") || field == std::string_view::npos)
        return texts.of(line, TextUse::setting);
    return std::string(line.substr(0, field)) + texts.of(line.substr(field), TextUse::setting);
}

std::string other_second_line(std::string_view line, Substitution &texts)
{
    static constexpr std::string_view mark = "#conf_file_ver=";
    if (!line.starts_with(mark))
        return texts.of(line, TextUse::setting);
    return std::string(mark) + texts.of(line.substr(mark.size()), TextUse::prose);
}

std::string_view take_line(std::string_view &text)
{
    std::string_view line = text.substr(0, text.find('\n'));
    line = text.substr(0, std::min(text.size(), line.size() + 1));
    text.remove_prefix(line.size());
    return line;
}

/* What stands ahead of the first name: header lines, and the first word. */
std::string other_head(std::string_view head, Substitution &texts)
{
    std::string_view first = take_line(head), second = take_line(head);
    std::string      other = other_first_line(first, texts);
    other += other_second_line(second, texts);
    return other + texts.of(head, TextUse::setting);
}

/* Whoever knows the name of a community may ask the appliance for anything. */
TextUse use_of_entry(const std::vector<ConfigItem> &items, size_t at)
{
    static constexpr std::string_view community = "community";
    std::string_view                  name = unquoted(items[at].name);
    bool                              is_number = std::all_of(name.begin(), name.end(), is_digit);
    bool is_secret = !is_number && small_letters(config_around(items, items[at].parent)).ends_with(community);
    return is_secret ? TextUse::secret : TextUse::setting;
}

std::string other_language_name(std::string_view name, Substitution &texts)
{
    return is_language_name(name) ? std::string(name) : texts.of(name, TextUse::setting);
}

} // namespace

std::string other_configuration(std::string_view text, Substitution &texts)
{
    std::vector<ConfigItem> items = items_of(text);
    std::string             other;
    other.reserve(text.size());
    const char *done = text.data();
    auto        go_to = [&](std::string_view part) {
        if (!part.data())
            return;
        std::string_view between(done, static_cast<size_t>(part.data() - done));
        other += other.empty() ? other_head(between, texts) : texts.of(between, TextUse::setting);
        done = part.data() + part.size();
    };
    for (size_t at = 0; at < items.size(); at++) {
        const ConfigItem &item = items[at];
        go_to(item.name);
        other += item.kind == ItemKind::edit ? texts.of(item.name, use_of_entry(items, at))
                                             : other_language_name(item.name, texts);
        if (item.kind != ItemKind::set)
            continue;
        go_to(item.value);
        other += texts.of(item.value, use_of(items, at, texts));
    }
    go_to(text.substr(text.size()));
    return other;
}

std::vector<std::string> passphrases_in(std::string_view text)
{
    std::vector<ConfigItem>  items = items_of(text);
    std::vector<std::string> found;
    for (const ConfigItem &item : items) {
        bool is_of_key = config_around(items, item.parent).find("certificate") != std::string_view::npos;
        if (item.kind == ItemKind::set && is_of_key && is_sure_secret(item.name, item.value))
            found.emplace_back(unquoted(item.value));
    }
    return found;
}

std::string other_file_name(std::string_view name, Substitution &texts)
{
    static constexpr std::string_view domain = "sys_domain.", config = ".conf.gz";
    size_t                            start = name.starts_with(domain) ? domain.size() : 0;
    size_t                            ending = name.ends_with(config) ? name.size() - config.size() : name.rfind('.');
    ending = std::max(start, std::min(ending, name.size()));
    return std::string(name.substr(0, start)) + texts.of(name.substr(start, ending - start), TextUse::setting) +
           texts.of(name.substr(ending), TextUse::setting);
}

} // namespace command
