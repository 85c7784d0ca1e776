/*
 * Hunks of a unified diff, in the form that patch knows, from lines of which it is known what became of them. It looks
 * for no differences, and makes nothing safe to show.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

class UnifiedDiff {
  public:
    static constexpr size_t context = 3; /* lines around a change */

    /* `lines_ahead` are the same in both texts and come ahead of all that is told. */
    explicit UnifiedDiff(uint64_t lines_ahead) : next_old_(lines_ahead + 1), next_new_(lines_ahead + 1) {}

    /* Whether the next change belongs to the hunk ahead of it. If not, name_hunk gives the new one its heading. */
    bool is_in_hunk() const
    {
        return !lines_.empty();
    }
    void name_hunk(std::string heading);

    /* A line without its newline: of both texts (' '), the old one ('-') or the new one ('+'). `counts`: a hunk is made
     * for it; a line of one text that does not count is shown where it stands near one that does. */
    void push(char mark, std::string_view line, bool counts);

    /* Lines of both texts that are nowhere near a change: `context` lines have been pushed since the last one, and will
     * be ahead of the next. */
    void skip(uint64_t lines);

    /* The diff, without head lines; empty when nothing counted. Ends it. */
    std::string text();

  private:
    struct Line {
        char        mark;
        std::string text;
    };

    void begin_hunk();
    void end_hunk();

    uint64_t          next_old_, next_new_;           /* numbers of the next lines */
    uint64_t          first_old_ = 0, first_new_ = 0; /* of the hunk's first */
    std::vector<Line> lines_;                         /* of the hunk; none outside of one */
    std::vector<Line> pending_;                       /* behind it, or ahead of the next */
    std::string       heading_, text_;
};

} // namespace command
