/*
 * An upgrade as one HTML page that needs nothing else: it can be opened from a disk, mailed and printed. Made of a
 * ledger (upgrade_ledger.h) and of nothing else. Texts of any origin may be in it; they appear as texts only.
 */
#pragma once

#include <string>
#include <string_view>

namespace command {

/* Throws Failure for a text that is no ledger. */
std::string report_page(const std::string &ledger_json);

/* The sum by which a page's policy allows a style or a script of its own. Throws Failure. */
std::string policy_sum(std::string_view text);

} // namespace command
