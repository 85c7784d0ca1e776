/*
 * What a configuration's text would lose on its way through the library's parser and writer, found out ahead of any
 * upgrade. Reads the text alone; whether its release can be upgraded at all is not asked here.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace command {

enum class DamageKind {
    header_missing,
    header_cut,
    second_header, /* further down: two files in one */
    thrown_away,   /* a line that is never looked at */
    unknown_word,  /* a line that begins with no word of the language */
    misplaced,     /* a `set` or `edit` where none can be */
    stray_end,     /* closes nothing */
    other_end,     /* an `end` that closes an `edit`, or a `next` that closes a `config` */
    open_block,    /* never closed */
    dropped_words, /* behind a name, an `end` or a `next` */
    no_name,
    open_name, /* its quote never closes */
    cut_name,
    comma_in_name, /* of a top-level config, where it is written as a blank */
    same_name,     /* as another one, which it was not before both were cut */
    no_value,
    open_value, /* its quote never closes, or closes only by chance */
    cut_value,
    words_behind_value,
    lost_line_break, /* between the first two lines of a value */
    nul,
    long_line,
};

/* "cut-name", for programs. */
const char *name_of(DamageKind kind);

/* "a name that is cut", for people. */
const char *phrase_of(DamageKind kind);

/* One thing that would be lost or misread. The text says what, in words of our own alone: nothing of the file's text is
 * in it, so it may be shown as it is. */
struct Damage {
    size_t      line = 0; /* from 1 */
    DamageKind  kind = DamageKind::unknown_word;
    std::string text;
    bool        acceptable = true; /* the upgrade could go on without it; otherwise the library refuses the file, or
                                      would write one that it cannot read */
    std::string config;            /* the top-level config that it stands in, or behind; for whoever fills it in */
};

/* For the way from process to process (system/codec.h). */
inline auto fields_of(Damage &damage)
{
    return std::tie(damage.line, damage.kind, damage.text, damage.acceptable, damage.config);
}

/* Which header lines a text must have. */
enum class HeaderLines { both, version_line, none };

inline constexpr size_t most_damage = 1000;

struct DamageReport {
    std::vector<Damage> found;                /* by line, at most most_damage */
    size_t              more = 0;             /* how many there are beyond these */
    bool                is_acceptable = true; /* all of it, also what is beyond */

    /* Of what the writer would make of the text, without the header lines: exact, also for a damaged text, unless the
     * library refuses it. */
    uint64_t written_size = 0;
    size_t   depth = 0; /* of the deepest block; a top-level config has depth 1 */
    size_t   deepest_line = 0;

    bool is_sound() const
    {
        return found.empty();
    }
};

/* A top-level config, as the library names it ("waf,signature"). */
struct TopLevelConfig {
    size_t      line;
    std::string name;
};

/* Takes time in proportion to the text, and memory to the depth of its blocks. With `configs`, these get all top-level
 * configs that the parser finds, in their order. */
DamageReport damage_of(std::string_view text, HeaderLines headers = HeaderLines::both,
                       std::vector<TopLevelConfig> *configs = nullptr);

/* All of them, in their order. Of a damaged text it gives something, and never fails. */
std::vector<TopLevelConfig> top_level_configs(std::string_view text);

/* The most that a configuration may hold, as text. */
inline constexpr uint64_t largest_configuration = uint64_t{1} << 30;

/*
 * Why the text that the writer would make cannot be: there is `room` for so many bytes. Empty when nothing is wrong.
 * A small text can become a huge one, as each line is indented by the depth of its block.
 */
std::string why_too_large(const DamageReport &report, uint64_t room);

} // namespace command
