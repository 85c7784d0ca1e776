/*
 * What each release changes, from 5.50 on: its callbacks in the order in which they see a position, the configs on which
 * they look (by the beginning of the name), and in how many rounds.
 *
 * A scope's length and a state's size follow from the text and the type. The numbers beside them are what hosts and
 * debuggers know; a mismatch does not compile. One scope ends in a comma and is meant to.
 */
#include "walk/stage_tables.h"



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


stage_table *const all_stages[] = {
    nullptr,
};
