/*
 * A configuration's text by line: what begins where, and in which block. Keeps a few bytes for each line, and reads
 * names when somebody asks for them; what a value means is asked of nobody here.
 */
#pragma once

#include "explain/journal.h"
#include "system/large_pages.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

/* Deeper than any real configuration goes. Of a text that only nests, all paths would be as long as the text squared.
 */
inline constexpr size_t most_names = 32;

struct LineCounts {
    uint64_t lines = 0, kept = 0, moved = 0, rewritten = 0, dropped = 0, added = 0, layout = 0, unread = 0;
};

class LinedText {
  public:
    explicit LinedText(std::string_view text); /* which must outlive this */

    uint32_t count() const
    {
        return static_cast<uint32_t>(lines_.size());
    }

    /* Nothing when there are no such lines. */
    std::string_view lines(const Span &span) const;

    /* The names from the top level down to the block or set that begins in that line; none when nothing does. Of one
     * that lies deeper than most_names the first one and as many of the last. */
    std::vector<std::string> path(uint32_t line) const;

    /* How many lines of the span nobody has had yet. */
    uint64_t take(const Span &span);

    /* Counts lines that are nobody's: those that only close something, say nothing, or were passed over. */
    void count_others(LineCounts &counts) const;

  private:
    struct Line {
        uint32_t start;
        uint32_t block; /* the line of the block around what begins here, 0 at the top level; nowhere: nothing begins */
    };

    bool        begins_something(uint32_t line) const;
    uint32_t    block_of(uint32_t line) const;
    std::string name_of(uint32_t line) const;

    std::string_view  text_;
    LargeVector<Line> lines_;
    std::vector<bool> is_taken_;
};

} // namespace command
