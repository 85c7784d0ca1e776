/*
 * A list as it was and as it is become one list, in which what stayed keeps its place, what went stands where it was,
 * and what came where it is. What nobody unlinked has stayed; of the others as many as possible.
 */
#include "explain/part_text.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace command {

namespace {

/* A place in a list, and when the node stands there. */
struct Slot {
    uint32_t node;
    uint32_t from, until;
    bool     is_moved;
};

/* A block that is being gone through. */
struct Block {
    uint32_t node;
    uint32_t line; /* its opening line, by its place and one more */
    uint32_t depth;
    uint32_t from, until;
    bool     is_moved;
    ListKind list;  /* in which it stands */
    size_t   kind;  /* of its own lists, the one behind that which is gone through */
    uint32_t child; /* the next one of a list in which nothing has changed, or 0 */
    size_t   begin; /* of its slots, in a list in which something has */
    size_t   next;  /* the next one of them */
};

class PartWriter {
  public:
    PartWriter(const ToldTree &tree, PartText &part, TopLevel top) : tree_(tree), part_(part), top_(top) {}

    void write();

  private:
    bool open_next_list(Block &block);
    bool take_next(Block &block, Slot &slot);
    void write_child(const Block &block, Slot slot);
    void write_end(const Block &block);
    void vary(const Slot &slot, bool has_changes);

    void add_slots(uint32_t parent, size_t kind);
    void add_merged(uint32_t parent, const std::vector<uint32_t> &old, const std::vector<uint32_t> &now);
    void add_old(uint32_t node, uint32_t parent, bool returns);
    void add_new(uint32_t node, uint32_t parent);
    void add_kept(uint32_t node, uint32_t parent);
    void add_shown(Slot slot);
    bool is_lost(uint32_t node);
    void lose(uint32_t node);

    const ToldTree              &tree_;
    PartText                    &part_;
    TopLevel                     top_;
    std::vector<Block>           blocks_;
    std::vector<Slot>            slots_; /* of the blocks that are gone through, one behind the other */
    std::unordered_set<uint32_t> present_;
};

/* ---- two lists become one ---- */

constexpr uint32_t nowhere = UINT32_MAX;

/* Of those in `places` that are somewhere, a longest row of ascending ones; the others become nowhere. */
void keep_longest_row(std::vector<uint32_t> &places)
{
    std::vector<size_t> ends; /* of the best rows of each length so far, by where they end */
    std::vector<size_t> ahead(places.size(), places.size());
    for (size_t at = 0; at < places.size(); at++) {
        if (places[at] == nowhere)
            continue;
        auto longer = std::lower_bound(ends.begin(), ends.end(), places[at],
                                       [&](size_t end, uint32_t place) { return places[end] < place; });
        if (longer != ends.begin())
            ahead[at] = *(longer - 1);
        if (longer == ends.end())
            ends.push_back(at);
        else
            *longer = at;
    }
    std::vector<uint32_t> kept(places.size(), nowhere);
    for (size_t at = ends.empty() ? places.size() : ends.back(); at < places.size(); at = ahead[at])
        kept[at] = places[at];
    places = std::move(kept);
}

/* What was linked anew and does not lie between the same unmoved ones as before has not kept its place. */
void drop_strayed(std::vector<uint32_t> &places, const std::vector<bool> &is_unmoved)
{
    uint32_t least = 0;
    for (size_t at = 0; at < places.size(); at++)
        if (is_unmoved[at])
            least = std::max(least, places[at]);
        else if (places[at] < least)
            places[at] = nowhere;
    uint32_t most = nowhere;
    for (size_t at = places.size(); at-- > 0;)
        if (is_unmoved[at])
            most = std::min(most, places[at]);
        else if (places[at] > most)
            places[at] = nowhere;
}

/* For each node of the new list its place in the old one, or nowhere. */
std::vector<uint32_t> places_in(const std::vector<uint32_t> &old, const std::vector<uint32_t> &now)
{
    std::vector<std::pair<uint32_t, uint32_t>> by_node;
    for (uint32_t place = 0; place < old.size(); place++)
        by_node.emplace_back(old[place], place);
    std::sort(by_node.begin(), by_node.end());
    std::vector<uint32_t> places;
    for (uint32_t node : now) {
        auto at = std::lower_bound(by_node.begin(), by_node.end(), std::pair(node, uint32_t{0}));
        places.push_back(at != by_node.end() && at->first == node ? at->second : nowhere);
    }
    return places;
}

void PartWriter::add_merged(uint32_t parent, const std::vector<uint32_t> &old, const std::vector<uint32_t> &now)
{
    std::vector<uint32_t> places = places_in(old, now);
    std::vector<bool>     returns(old.size()), is_unmoved;
    for (size_t at = 0; at < now.size(); at++) {
        is_unmoved.push_back(places[at] != nowhere && tree_.linked_turn(now[at], parent) == 0);
        if (places[at] != nowhere)
            returns[places[at]] = true;
    }
    drop_strayed(places, is_unmoved);
    keep_longest_row(places);
    size_t gone = 0;    /* how much of the old list is done */
    size_t waiting = 0; /* and of the new one */
    auto   add_gap = [&](size_t old_end, size_t end) {
        for (; gone < old_end; gone++)
            add_old(old[gone], parent, returns[gone]);
        for (; waiting < end; waiting++)
            add_new(now[waiting], parent);
    };
    for (size_t at = 0; at < now.size(); at++) {
        if (places[at] == nowhere)
            continue;
        add_gap(places[at], at);
        add_kept(now[at], parent);
        gone++;
        waiting++;
    }
    add_gap(old.size(), now.size());
}

/* ---- slots ---- */

/* `returns`: to another place in the same list. */
void PartWriter::add_old(uint32_t node, uint32_t parent, bool returns)
{
    uint32_t until = tree_.unlinked_turn(node, parent);
    if (until == 0)
        until = static_cast<uint32_t>(tree_.turns().size());
    add_shown({node, 0, until, returns || tree_.node(node).is_arrived});
    if (!returns && is_lost(node))
        lose(node);
}

/* What came along with its block, and was linked by nobody, was there from the block's beginning. */
void PartWriter::add_new(uint32_t node, uint32_t parent)
{
    uint32_t from = tree_.linked_turn(node, parent);
    if (from == 0 && tree_.node(parent).is_member)
        from = static_cast<uint32_t>(tree_.turns().size());
    add_shown({node, from, never, tree_.node(node).is_member});
}

/* It may have been away for some turns. */
void PartWriter::add_kept(uint32_t node, uint32_t parent)
{
    uint32_t until = tree_.unlinked_turn(node, parent), from = tree_.linked_turn(node, parent);
    if (until == 0 || until >= from)
        return add_shown({node, 0, never, false});
    add_shown({node, 0, until, true});
    add_shown({node, from, never, true});
}

/* Only while it is not marked. */
void PartWriter::add_shown(Slot slot)
{
    bool     is_shown = tree_.node(slot.node).is_shown;
    uint32_t start = slot.from;
    auto     add = [&](uint32_t end) {
        if (is_shown && start < end)
            slots_.push_back({slot.node, start, end, slot.is_moved});
    };
    for (const ToldEvent *event : tree_.events(slot.node)) {
        if (event->kind != ToldKind::marked || event->is_shown == is_shown)
            continue;
        add(std::min(slot.until, event->turn));
        is_shown = event->is_shown;
        start = std::max(slot.from, event->turn);
    }
    add(slot.until);
}

void PartWriter::add_slots(uint32_t parent, size_t kind)
{
    const ToldNode &node = tree_.node(parent);
    if (!node.is_touched) {
        for (uint32_t child = node.first[kind]; child != 0; child = tree_.node(child).next)
            add_shown({child, 0, never, false});
        return;
    }
    if (node.is_present)
        return add_merged(parent, tree_.old_list(parent, kind), tree_.list(parent, kind));
    for (uint32_t child : tree_.old_list(parent, kind))
        if (tree_.unlinked_turn(child, parent) != 0)
            add_old(child, parent, false);
        else
            add_shown({child, 0, never, false}); /* it went with the block */
}

/* A node that stands elsewhere, and did not come there in this part, may stand in another block's list, or in no block
 * of the tree. That is so seldom that then the whole tree is looked at. */
bool PartWriter::is_lost(uint32_t node)
{
    if (tree_.node(node).is_arrived)
        return false;
    if (tree_.node(node).places <= 0)
        return true;
    std::vector<uint32_t> waiting;
    if (present_.empty())
        waiting.push_back(ToldTree::root);
    while (!waiting.empty()) {
        uint32_t there = waiting.back();
        waiting.pop_back();
        if (!present_.insert(there).second)
            continue;
        for (size_t kind = 0; kind < list_kinds; kind++)
            for (uint32_t child = tree_.node(there).first[kind]; child != 0; child = tree_.node(child).next)
                waiting.push_back(child);
    }
    return present_.count(node) == 0;
}

/* With all that went along. */
void PartWriter::lose(uint32_t node)
{
    std::vector<uint32_t> waiting = {node};
    while (!waiting.empty()) {
        uint32_t        gone = waiting.back();
        const ToldNode &one = tree_.node(gone);
        waiting.pop_back();
        part_.lost.push_back(gone);
        for (size_t kind = 0; kind < list_kinds; kind++)
            for (uint32_t child : one.is_touched ? tree_.old_list(gone, kind) : tree_.list(gone, kind)) {
                bool goes_along = !tree_.node(child).is_arrived && tree_.node(child).places <= 1;
                if (goes_along || is_lost(child))
                    waiting.push_back(child);
            }
    }
}

/* ---- lines ---- */

/* False behind the last one. */
bool PartWriter::open_next_list(Block &block)
{
    slots_.resize(block.begin);
    block.next = block.begin;
    if (block.kind == list_kinds)
        return false;
    size_t kind = block.kind++;
    if (tree_.node(block.node).latest == 0)
        block.child = tree_.node(block.node).first[kind];
    else
        add_slots(block.node, kind);
    return true;
}

/* False at the end of the list. */
bool PartWriter::take_next(Block &block, Slot &slot)
{
    while (block.child != 0) {
        slot = {block.child, 0, never, false};
        block.child = tree_.node(slot.node).next;
        if (tree_.node(slot.node).is_shown || (block.line == 0 && top_ == TopLevel::all))
            return true;
    }
    if (block.next == slots_.size())
        return false;
    slot = slots_[block.next++];
    return true;
}

void PartWriter::vary(const Slot &slot, bool has_changes)
{
    if (slot.from != 0 || slot.until != never || has_changes)
        part_.varying.push_back(
            {static_cast<uint32_t>(part_.lines.size()), slot.from, slot.until, slot.is_moved, has_changes});
}

/* It is there while the block around it is. */
void PartWriter::write_child(const Block &block, Slot slot)
{
    bool goes_along = slot.from == 0 && slot.until == never;
    slot.is_moved = goes_along ? block.is_moved : slot.is_moved;
    slot.from = std::max(slot.from, block.from);
    slot.until = std::min(slot.until, block.until);
    if (slot.from >= slot.until)
        return;
    auto list = static_cast<ListKind>(block.kind - 1);
    vary(slot, tree_.has_texts(slot.node));
    part_.lines.push_back({slot.node, block.line, block.depth, list, false});
    auto line = static_cast<uint32_t>(part_.lines.size());
    if (list != ListKind::sets)
        blocks_.push_back({slot.node, line, block.depth + 1, slot.from, slot.until, slot.is_moved, list, 0, 0,
                           slots_.size(), slots_.size()});
}

void PartWriter::write_end(const Block &block)
{
    if (block.line == 0)
        return;
    vary({block.node, block.from, block.until, block.is_moved}, false);
    part_.lines.push_back({block.node, block.line, block.depth - 1, block.list, true});
}

void PartWriter::write()
{
    blocks_.push_back({ToldTree::root, 0, 0, 0, never, false, ListKind::configs, 0, 0, 0, 0});
    while (!blocks_.empty()) {
        Block &block = blocks_.back();
        Slot   slot;
        if (take_next(block, slot)) {
            write_child(block, slot);
        } else if (!open_next_list(block)) {
            write_end(block);
            blocks_.pop_back();
        }
    }
}

} // namespace

void take_part_text(const ToldTree &tree, PartText &part, TopLevel blocks)
{
    part.lines.clear();
    part.varying.clear();
    part.lost.clear();
    PartWriter(tree, part, blocks).write();
}

} // namespace command
