/*
 * What each release changes, from 5.50 on: its callbacks in the order in which they see a position, the configs on which
 * they look (by the beginning of the name), and in how many rounds.
 *
 * A scope's length and a state's size follow from the text and the type. The numbers beside them are what hosts and
 * debuggers know; a mismatch does not compile. One scope ends in a comma and is meant to.
 */
#include "walk/stage_tables.h"

#include "stages/policy/server_policies.h"

#include <cstddef>

namespace {

struct no_state;

template <typename State> constexpr size_t size_of = sizeof(State);
template <> constexpr size_t size_of<no_state> = 0;

template <size_t Actual, size_t Number> constexpr int32_t checked()
{
    static_assert(Actual == Number);
    return static_cast<int32_t>(Actual);
}

} // namespace

#define ROW(callback, scope, length, rounds, state, size)                                                             \
    {#callback, callback, scope, checked<sizeof(scope) - 1, length>(), rounds, nullptr, checked<size_of<state>, size>(), \
     0, 0}
#define STAGE(version, type, rows)                                                                                    \
    {version, type, rows, static_cast<int32_t>(sizeof(rows) / sizeof(rows[0]))}

/* Release 5.85. */
static stage_row cbc_arr_MIGR_ADOM0x50055[] = {
    ROW(_add_server_policy_setting, "", 0, 3, add_server_policy_setting_state, 16),
};
stage_table c3_arr_MIGR_ADOM0x50055 = STAGE(0x50055, STAGE_ADOM, cbc_arr_MIGR_ADOM0x50055);

/* Release 5.90. */
static stage_row cbc_arr_MIGR_ADOM0x5005a[] = {
    ROW(_change_server_side_sni, "server-policy,", 14, 2, change_server_side_sni_state, 544),
    ROW(_change_server_pool_https_health, "server-policy,server-pool", 25, 1, no_state, 0),
    ROW(_change_server_policy_https_health, "server-policy,health", 20, 1, no_state, 0),
    ROW(_change_aws_azure_opmode, "system,settings", 15, 1, no_state, 0),
    ROW(_adjust_server_policy_health, "server-policy", 13, 3, adjust_server_policy_health_state, 16408),
};
stage_table c3_arr_MIGR_ADOM0x5005a = STAGE(0x5005a, STAGE_ADOM, cbc_arr_MIGR_ADOM0x5005a);

/* Release 6.01. */
static stage_row cbc_arr_MIGR_ADOM0x60001[] = {
    ROW(_erase_fast_forward_from_server_policy_setting, "server-policy,setting", 21, 1, no_state, 0),
};
stage_table c3_arr_MIGR_ADOM0x60001 = STAGE(0x60001, STAGE_ADOM, cbc_arr_MIGR_ADOM0x60001);

/* Release 6.02. */
static stage_row cbc_arr_MIGR_ADOM0x60002[] = {
    ROW(_check_xff_cond, "waf,x-forwarded-for", 19, 1, check_xff_cond_state, 24),
    ROW(_correct_wrong_server_pool_prop, "server-policy,server-pool", 25, 1, no_state, 0),
};
stage_table c3_arr_MIGR_ADOM0x60002 = STAGE(0x60002, STAGE_ADOM, cbc_arr_MIGR_ADOM0x60002);

/* Release 6.20. */
static stage_row cbc_arr_MIGR_ADOM0x60014[] = {
    ROW(_adjust_server_policy_vserver, "server-policy,vserver", 21, 1, adjust_server_policy_vserver_state, 40),
    ROW(_adjust_cloud_proxy_protocol, "server-policy", 13, 1, no_state, 0),
};
stage_table c3_arr_MIGR_ADOM0x60014 = STAGE(0x60014, STAGE_ADOM, cbc_arr_MIGR_ADOM0x60014);

stage_table *const all_stages[] = {
    &c3_arr_MIGR_ADOM0x50055,
    &c3_arr_MIGR_ADOM0x5005a,
    &c3_arr_MIGR_ADOM0x60001,
    &c3_arr_MIGR_ADOM0x60002,
    &c3_arr_MIGR_ADOM0x60014,
    nullptr,
};
