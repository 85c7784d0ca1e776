/*
 * Expected accounts as people write them. A page says of each line of the old files what becomes of it, and of each
 * line that is new where it came from; what lines say is in the files. Blank lines and what stands behind a "#" is for
 * readers.
 *
 *     == sys_global.conf.gz
 *     3-12 kept 3-12
 *     13 dropped: 5.51 stage _migr_del_snmp_community_interface
 *     14 rewritten 13: 4.10 step migr_one, 6.20 stage _another
 *     15-20 moved sys_domain.root.conf.gz 3-8: 5.10 split update_to_vdom
 *     added 21-24: 5.85 stage _add_server_policy_setting
 *     added 25-26 from 15-16: 5.20 step migr_copies
 *
 * A range runs over lines that only close a block. Its lines become those of the other range one by one, unless the two
 * have unlike lengths.
 */
#pragma once

#include "held_account.h"

#include <string>

namespace accounts_test {

/* Where the account says something else than the page, or of other lines; one line for each. A part of a page leaves
 * the lines alone of which it says nothing. */
enum class Extent { whole, part };
std::vector<std::string> differences(const HeldRun &run, const std::string &page, Extent extent);

/* The account as a page, for whoever has to compare the two. */
std::string page_of(const HeldRun &run);

} // namespace accounts_test
