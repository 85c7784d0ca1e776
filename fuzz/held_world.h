/* What a run must not depend on or reach: the clock stands still, chance has always the same bytes, nothing is mounted,
 * and a file that never gets on is taken as far as it gets. For programs that are linked with --wrap for the calls in
 * question. */
#pragma once

namespace fuzzing {

/* Keys are encrypted with the same salt each time from now on. */
void take_chance_away();

/* Whether the library came back from the work. Otherwise it has reached one of the places from which it never returns.
 * The work must not own memory, as nothing of it is taken back. */
bool comes_back(void (*work)());

} // namespace fuzzing
