/*
 * What each turn of a part did to the text, as diffs. It asks the part's lines (part_text.h) for what changed, and
 * compares no texts but those of one line.
 */
#pragma once

#include "explain/change_filter.h"
#include "explain/part_text.h"
#include "explain/shown_lines.h"
#include "explain/unified_diff.h"

#include <string>
#include <vector>

namespace command {

/* How a configuration is shown. */
struct DiffView {
    LineFilter lines;
    bool       show_secrets = false;
};

class PartDiff {
  public:
    /* `header_lines` stand ahead of the tree's text in its file. */
    PartDiff(const ToldTree &tree, const PartText &part, const DiffView &view, uint64_t header_lines);

    /* Empty when nothing changed that is to be shown. */
    std::string of_turn(uint32_t turn);

  private:
    bool     is_changed(const VaryingLine &line, uint32_t turn) const;
    bool     counts(const VaryingLine &line, uint32_t turn) const;
    void     push_changed(const VaryingLine &line, uint32_t turn);
    void     push_rewritten(uint32_t line, uint32_t turn, bool counts);
    void     push_between(size_t from, size_t to, uint32_t turn);
    bool     is_there(size_t line, uint32_t turn) const;
    uint64_t lines_between(size_t from, size_t to, uint32_t turn) const;

    const ToldTree       &tree_;
    const PartText       &part_;
    const DiffView       &view_;
    ShownLines            shown_;
    uint64_t              header_lines_;
    std::vector<uint64_t> ahead_;   /* for each line, how many lines come ahead of it that do not vary */
    std::vector<uint32_t> varying_; /* for each line, how many lines come ahead of it that do */
    UnifiedDiff           diff_;
};

} // namespace command
