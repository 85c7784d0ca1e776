/* The form of the stored account is nobody's interface: only migr reads it, of the same or an earlier version. */
#include "report/stored_account.h"

#include "system/failure.h"
#include "system/gzip_text.h"
#include "system/whole_numbers.h"

#include <nlohmann/json.hpp>
#include <optional>

namespace command {

namespace {

using json = nlohmann::json;

constexpr int form = 1;

json to_json(const Span &span)
{
    return {span.first, span.last, span.end};
}

Span span_from(const json &value)
{
    return {value.at(0).get<uint32_t>(), value.at(1).get<uint32_t>(), value.at(2).get<uint32_t>()};
}

json to_json(const LineCounts &counts)
{
    return {counts.lines,   counts.kept,  counts.moved,  counts.rewritten,
            counts.dropped, counts.added, counts.layout, counts.unread};
}

LineCounts counts_from(const json &value)
{
    auto at = [&](size_t number) { return value.at(number).get<uint64_t>(); };
    return {at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)};
}

json to_json(const AccountEntry &entry)
{
    return {{"fate", static_cast<int>(entry.fate)},
            {"in", to_json(entry.in)},
            {"out", to_json(entry.out)},
            {"out_file", entry.out_file},
            {"path", entry.path},
            {"causes", entry.causes},
            {"before", entry.before},
            {"after", entry.after},
            {"copied_from", to_json(entry.copied_from)},
            {"from_file", entry.from_file},
            {"reason", entry.reason},
            {"hand", static_cast<int>(entry.hand)}};
}

AccountEntry entry_from(const json &value, size_t authors)
{
    AccountEntry entry;
    int          fate = value.at("fate").get<int>();
    if (fate < 0 || fate > static_cast<int>(LineFate::added))
        throw std::runtime_error("no fate");
    entry.fate = static_cast<LineFate>(fate);
    entry.in = span_from(value.at("in"));
    entry.out = span_from(value.at("out"));
    entry.out_file = value.at("out_file").get<std::string>();
    entry.path = value.at("path").get<std::vector<std::string>>();
    entry.causes = value.at("causes").get<std::vector<uint32_t>>();
    for (uint32_t cause : entry.causes)
        if (cause >= authors)
            throw std::runtime_error("no author");
    entry.before = value.at("before").get<std::string>();
    entry.after = value.at("after").get<std::string>();
    entry.copied_from = span_from(value.at("copied_from"));
    entry.from_file = value.at("from_file").get<std::string>();
    entry.reason = value.at("reason").get<std::string>();
    int hand = value.at("hand").get<int>();
    if (hand < 0 || hand > static_cast<int>(Hand::person))
        throw std::runtime_error("no hand");
    entry.hand = static_cast<Hand>(hand);
    return entry;
}

json to_json(const AccountFile &file)
{
    json entries = json::array();
    for (const AccountEntry &entry : file.entries)
        if (entry.fate != LineFate::kept)
            entries.push_back(to_json(entry));
    return {{"file", file.file},
            {"before", file.before},
            {"after", file.after},
            {"in", to_json(file.in)},
            {"out", to_json(file.out)},
            {"unexplained", file.unexplained},
            {"entries", std::move(entries)}};
}

AccountFile file_from(const json &value, size_t authors)
{
    AccountFile file;
    file.file = value.at("file").get<std::string>();
    file.before = value.at("before").get<int32_t>();
    file.after = value.at("after").get<int32_t>();
    file.in = counts_from(value.at("in"));
    file.out = counts_from(value.at("out"));
    file.unexplained = value.at("unexplained").get<uint64_t>();
    for (const json &entry : value.at("entries"))
        file.entries.push_back(entry_from(entry, authors));
    file.losses = losses_of(file.entries);
    return file;
}

Account parsed(const std::string &text)
{
    json    value = json_of_whole_numbers(text);
    Account account;
    if (value.at("form") != form)
        throw std::runtime_error("another form");
    for (const json &author : value.at("authors"))
        account.authors.push_back({author.at(0).get<int32_t>(), author.at(1).get<std::string>(),
                                   author.at(2).get<std::string>(), author.at(3).get<uint32_t>()});
    for (const json &file : value.at("files"))
        account.files.push_back(file_from(file, account.authors.size()));
    for (const json &effect : value.at("effects")) {
        account.effects.push_back({effect.at(0).get<std::string>(), effect.at(1).get<std::string>(),
                                   effect.at(2).get<std::string>(), effect.at(3).get<uint32_t>()});
        if (account.effects.back().author >= account.authors.size())
            throw std::runtime_error("no author");
    }
    account.is_incomplete = value.at("incomplete").get<bool>();
    return account;
}

} // namespace

std::string stored_account(const Account &account)
{
    json authors = json::array(), files = json::array(), effects = json::array();
    for (const Author &author : account.authors)
        authors.push_back({author.release, author.mechanism, author.name, author.line});
    for (const AccountFile &file : account.files)
        files.push_back(to_json(file));
    for (const FileEffect &effect : account.effects)
        effects.push_back({effect.what, effect.path, effect.before, effect.author});
    json value = {{"form", form},
                  {"authors", std::move(authors)},
                  {"files", std::move(files)},
                  {"effects", std::move(effects)},
                  {"incomplete", account.is_incomplete}};
    return gzip(value.dump(-1, ' ', false, json::error_handler_t::replace));
}

Account account_from(const std::string &bytes)
{
    std::optional<std::string> text = gunzip(bytes);
    try {
        if (text)
            return parsed(*text);
    } catch (const json::exception &) {
    } catch (const std::runtime_error &) {
    }
    throw Failure(Status::unusable, "The account that was kept is damaged, or of a later migr.");
}

} // namespace command
