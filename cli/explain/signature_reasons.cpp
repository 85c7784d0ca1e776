/* A row for each list: what the database has to have for an identifier to stay, and what it may have all the same. */
#include "explain/signature_reasons.h"

#include <algorithm>
#include <iterator>

namespace command {

namespace {

constexpr char any_signature[] = "select 1 from signature_rule where signature_id=?";

struct ListRow {
    std::string_view list;
    const char      *stays;      /* whether the identifier may stay */
    const char      *is_there;   /* whether the database has it at all; null: that is the same */
    const char      *why_hidden; /* why it had to go although it is there */
};

constexpr ListRow rows[] = {
    {"main_class_list", "select 1 from class_map where main_class_id=? and discard=0",
     "select 1 from class_map where main_class_id=?", "out of use in the image's database"},
    {"sub_class_disable_list", "select 1 from class_map where sub_class_id=? and discard=0",
     "select 1 from class_map where sub_class_id=?", "out of use in the image's database"},
    {"signature_disable_list", any_signature, nullptr, nullptr},
    {"filter_list", any_signature, nullptr, nullptr},
    {"alert_only_list", any_signature, nullptr, nullptr},
    {"fpm_disable_list", "select 1 from signature_rule where signature_id=? and FP_mitigation!=0", any_signature,
     "without a second look against false positives in the image's database, so there is none to switch off"},
    {"scoring_override_disable_list", "select 1 from signature_rule where signature_id=? and score=8341", any_signature,
     "without a score of its own in the image's database, so there is none to switch off"},
    {"score_grade_list", any_signature, nullptr, nullptr},
    {"base-signature-disable", any_signature, nullptr, nullptr},
    {"staged_signature_list", any_signature, nullptr, nullptr},
};

constexpr char unknown[] = "no longer in the image's database";
constexpr char known_after_all[] = "found out of date in another list of a predefined profile";

} // namespace

std::optional<bool> SignatureReasons::has(const char *question, const std::string &id) const
{
    Statement look = prepare(connection_, question);
    if (!look || sqlite3_bind_text(look.get(), 1, id.c_str(), -1, SQLITE_STATIC) != SQLITE_OK)
        return std::nullopt;
    int result = sqlite3_step(look.get());
    return result == SQLITE_ROW || result == SQLITE_DONE ? std::optional(result == SQLITE_ROW) : std::nullopt;
}

std::string SignatureReasons::of_loss(std::string_view list, const std::string &id) const
{
    auto row = std::find_if(std::begin(rows), std::end(rows), [&](const ListRow &one) { return one.list == list; });
    if (!connection_ || row == std::end(rows))
        return "";
    std::optional<bool> stays = has(row->stays, id);
    std::optional<bool> is_there = row->is_there ? has(row->is_there, id) : stays;
    if (!stays || !is_there)
        return "";
    if (*stays)
        return known_after_all;
    return *is_there ? row->why_hidden : unknown;
}

} // namespace command
