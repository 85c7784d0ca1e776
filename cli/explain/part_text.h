/*
 * The lines of a tree in one part of the work: all that were there at some time of it, each where it stands among the
 * others, with the turns that brought it and took it away. How they are shown is told by part_diff.h.
 */
#pragma once

#include "explain/told_tree.h"

#include <cstdint>
#include <vector>

namespace command {

/* The line that opens a node, with all lines of its texts, or the one that closes it. */
struct PartLine {
    uint32_t node;
    uint32_t above; /* the opening line of the block around it, by its place and one more; 0 at the top level */
    uint32_t depth;
    ListKind list;
    bool     closes;
};

struct VaryingLine {
    uint32_t line;        /* its place */
    uint32_t from;        /* the turn that brings it; 0: it was there before */
    uint32_t until;       /* the turn that takes it away, or never */
    bool     is_moved;    /* its node was there before, and is there still */
    bool     has_changes; /* of its text */
};

struct PartText {
    std::vector<PartLine>    lines;
    std::vector<VaryingLine> varying; /* those that are not there, or not the same, in all turns; by their places */
    std::vector<uint32_t>    lost;    /* nodes that are in the tree no more */
};

/* A top-level block that is marked is not written, but that a split writes it. */
enum class TopLevel { shown, all };

/* To be asked between the tree's follow_changes and forget_part, or between parts. `part` is filled anew; its memory is
 * used again. */
void take_part_text(const ToldTree &tree, PartText &part, TopLevel blocks = TopLevel::shown);

} // namespace command
