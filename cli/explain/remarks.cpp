/* One walk over the entries for each of the two. */
#include "explain/remarks.h"

#include "explain/known_values.h"
#include "explain/signature_reasons.h"
#include "language/items.h"

#include <algorithm>
#include <map>

namespace command {

namespace {

template <typename Predicate> bool any_entry(const Account &account, Predicate wanted)
{
    return std::any_of(account.files.begin(), account.files.end(), [&](const AccountFile &file) {
        return std::any_of(file.entries.begin(), file.entries.end(), wanted);
    });
}

/* The list and the entry's name in the path of a line in an identifier's entry: "waf signature / PROFILE / LIST / ID",
 * or "waf LIST / ID". */
struct ListPlace {
    std::string list;
    std::string id;
};

ListPlace list_place(const std::vector<std::string> &path)
{
    if (path.size() >= 4 && path[0] == "waf signature")
        return {path[2], path[3]};
    if (path.size() >= 2 && path[0].starts_with("waf "))
        return {path[0].substr(4), path[1]};
    return {};
}

using ValuesByPath = std::map<std::vector<std::string>, std::string>;

/* A filter names its signature in a set, which was dropped with it. */
ValuesByPath filtered_signatures(const AccountFile &file)
{
    ValuesByPath values;
    for (const AccountEntry &entry : file.entries) {
        if (entry.fate != LineFate::dropped || entry.path.size() != 5 || entry.path[4] != "signature_id")
            continue;
        std::vector<ConfigItem> items = items_of(entry.before);
        if (!items.empty())
            values.emplace(std::vector(entry.path.begin(), entry.path.end() - 1), unquoted(items.front().value));
    }
    return values;
}

std::string reason_of_filter(const SignatureReasons &reasons, const std::string &signature)
{
    std::string reason = reasons.of_loss("filter_list", signature);
    return reason.empty() ? "" : "its signature " + signature + " is " + reason;
}

void add_reasons(const Account &account, AccountFile &file, const SignatureReasons &reasons)
{
    ValuesByPath filters = filtered_signatures(file);
    for (AccountEntry &entry : file.entries) {
        ListPlace place = list_place(entry.path);
        if (place.id.empty() || !is_by_signatures(account, entry))
            continue;
        if (entry.fate == LineFate::added)
            entry.reason = reason_of_new_class;
        else if (place.list == "filter_list")
            entry.reason = reason_of_filter(reasons, filters[{entry.path.begin(), entry.path.begin() + 4}]);
        else
            entry.reason = reasons.of_loss(place.list, place.id);
    }
}

} // namespace

bool is_by_signatures(const Account &account, const AccountEntry &entry)
{
    return !entry.causes.empty() && account.authors[entry.causes.back()].mechanism == "signatures";
}

void add_hands(Account &account, const ImageText &image_text)
{
    if (!any_entry(account, [](const AccountEntry &entry) { return is_lost(entry.fate); }))
        return;
    KnownValues values(image_text("system.conf.predefine"), image_text("signature.db"));
    for (AccountFile &file : account.files)
        for (AccountEntry &entry : file.entries)
            if (is_lost(entry.fate))
                entry.hand = values.hand_of(file.before, entry);
}

void add_signature_reasons(Account &account, const ImageText &image_text)
{
    if (!any_entry(account, [&](const AccountEntry &entry) { return is_by_signatures(account, entry); }))
        return;
    std::string      database = image_text("signature.db");
    SignatureReasons reasons(database);
    for (AccountFile &file : account.files)
        add_reasons(account, file, reasons);
}

} // namespace command
