/*
 * What an upgrade does to files beside the configuration, as a table in words. It says what may happen; a run alone
 * shows whether it does.
 */
#pragma once

#include <string_view>

namespace command {

struct PossibleEffect {
    const char *callback;
    const char
        *configs[2]; /* acts only in a file that has one of these at top level; both null: no matter what it has */
    bool once;       /* in a whole run, whatever the number of files */
    const char *text;
};

/* Of that stage callback, or null when it touches no file. */
const PossibleEffect *effect_of(std::string_view callback);

/* All of them; the last one has no callback. */
extern const PossibleEffect file_effects[];

} // namespace command
