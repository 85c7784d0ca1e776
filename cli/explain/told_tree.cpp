/* Changes are written down as they are told; the lists of what was touched are read from the tree itself when a part
 * has ended, since nobody tells of their order. */
#include "explain/told_tree.h"

#include <algorithm>
#include <cstring>

namespace command {

namespace {

bool is_shown(const migr_change &change)
{
    return !change.deleted && !change.hidden;
}

bool has_lines(const config_node &record)
{
    return strchr(record.name, '\n') || (record.value && strchr(record.value, '\n'));
}

/* The lists that are written of such a node. */
std::array<const config_node *, list_kinds> lists_of(const config_node &record)
{
    switch (record.kind) {
    case MIGR_ROOT:
        return {nullptr, nullptr, record.top_list};
    case MIGR_TOP:
    case MIGR_CONFIG:
        return {record.set_list, record.edit_list, record.config_list};
    case MIGR_EDIT:
        return {record.set_list, nullptr, record.config_list};
    default:
        return {};
    }
}

} // namespace

/* ---- numbers ---- */

uint32_t ToldTree::number_of(uint64_t identity) const
{
    if (identity > base_) {
        uint64_t number = identity - base_;
        return number < nodes_.size() ? static_cast<uint32_t>(number) : 0;
    }
    auto older = older_.find(identity);
    return older == older_.end() ? 0 : older->second;
}

/* Those of the pass lie close together. The few nodes that outlive one are numbered anew. */
uint32_t ToldTree::make_number_of(uint64_t identity)
{
    if (identity == 0)
        return 0;
    if (identity <= base_) {
        auto fresh = static_cast<uint32_t>(first_older + older_nodes_.size());
        auto [at, is_new] = older_.try_emplace(identity, fresh);
        if (is_new)
            older_nodes_.emplace_back();
        return at->second;
    }
    auto number = static_cast<uint32_t>(identity - base_);
    if (number >= nodes_.size())
        nodes_.resize(number + 1);
    return number;
}

void ToldTree::begin(const config_node &root_record)
{
    close();
    if (migr_identity_of(&root_record) == 0)
        return; /* nobody could tell of it */
    base_ = migr_identity_of(&root_record) - root;
    make_number_of(base_ + root);
    at(root).record = &root_record;
    arrive(root);
    follow_changes();
    for (ToldNode &node : nodes_)
        node.places = 1;
    forget_part({});
}

/* ---- what is told ---- */

void ToldTree::take(const migr_change &change, uint32_t author)
{
    switch (change.kind) {
    case MIGR_PARSED: /* into another tree, from which it may come */
        at(make_number_of(change.node)).places = 1;
        return;
    case MIGR_MADE:
    case MIGR_COPIED:
        return take_new(change);
    case MIGR_LINKED:
    case MIGR_UNLINKED:
        return take_link(change, author);
    case MIGR_RENAMED:
    case MIGR_REVALUED:
        return take_text(change, author);
    case MIGR_MARKED:
        return take_mark(change, author);
    case MIGR_RELEASED:
        return take_release(change);
    default:
        return;
    }
}

/* Nothing is copied over a node that stands in the tree. */
void ToldTree::take_new(const migr_change &change)
{
    at(make_number_of(change.node)).is_shown = is_shown(change);
}

void ToldTree::take_link(const migr_change &change, uint32_t author)
{
    ToldEvent event;
    event.kind = change.kind == MIGR_LINKED ? ToldKind::linked : ToldKind::unlinked;
    event.parent = make_number_of(change.parent);
    uint32_t turn = add_event(change, author, event);
    uint32_t number = number_of(change.node);
    at(number).places += event.kind == ToldKind::linked ? 1 : -1;
    if (event.kind == ToldKind::linked) {
        at(number).parent = event.parent;
        at(number).settled = turn;
    }
    at(number).record = change.record;
    ToldNode &parent = at(event.parent);
    if (!parent.is_touched)
        touched_.push_back(event.parent);
    parent.is_touched = true;
    raise(event.parent, std::max(turn, at(number).latest));
}

void ToldTree::take_text(const migr_change &change, uint32_t author)
{
    ToldEvent event;
    event.kind = change.kind == MIGR_RENAMED ? ToldKind::renamed : ToldKind::revalued;
    uint32_t number = make_number_of(change.node);
    uint32_t last = node(number).last_event;
    if (last != 0 && events_[last - 1].kind == event.kind && events_[last - 1].turn == turn_for(author, number, event))
        return; /* what it was ahead of this turn is known, and a value may grow by many small pieces */
    if (change.before) {
        texts_.emplace_back(change.before);
        event.text = static_cast<uint32_t>(texts_.size());
    }
    add_event(change, author, event);
}

void ToldTree::take_mark(const migr_change &change, uint32_t author)
{
    ToldEvent event;
    event.kind = ToldKind::marked;
    event.is_shown = is_shown(change);
    uint32_t turn = add_event(change, author, event);
    if (event.is_shown)
        at(number_of(change.node)).settled = turn;
}

/* Who looks for its text in this part finds it here. */
void ToldTree::take_release(const migr_change &change)
{
    uint32_t number = number_of(change.node);
    if (number == 0 || !node(number).record)
        return;
    const config_node &record = *change.record;
    gone_[number] = {record.name, record.value ? record.value : "", record.value != nullptr};
    at(number).record = nullptr;
}

uint32_t ToldTree::add_event(const migr_change &change, uint32_t author, ToldEvent event)
{
    uint32_t number = make_number_of(change.node);
    event.turn = turn_for(author, number, event);
    event.previous = node(number).last_event;
    events_.push_back(event);
    at(number).last_event = static_cast<uint32_t>(events_.size());
    raise(number, event.turn);
    return event.turn;
}

/* ---- turns ---- */

/* The first of the author's turns that does not come ahead of what this change builds on; else a new one. */
uint32_t ToldTree::turn_for(uint32_t author, uint32_t node, const ToldEvent &event)
{
    if (!turns_.empty() && turns_.back() == author)
        return static_cast<uint32_t>(turns_.size());
    std::vector<uint32_t> &own = turns_of_[author];
    if (!own.empty()) {
        auto turn = std::lower_bound(own.begin(), own.end(), earliest_turn(node, event));
        if (turn != own.end())
            return *turn;
    }
    turns_.push_back(author);
    own.push_back(static_cast<uint32_t>(turns_.size()));
    return own.back();
}

/* A change builds on those of the same node and on what brought the blocks around it to where they are, or took their
 * marks back. What goes takes along what was done below it. */
uint32_t ToldTree::earliest_turn(uint32_t node, const ToldEvent &event) const
{
    const ToldNode &changed = this->node(node);
    uint32_t        turn = settled_turn(node);
    if (changed.last_event != 0)
        turn = std::max(turn, events_[changed.last_event - 1].turn);
    if (event.kind == ToldKind::unlinked || event.kind == ToldKind::marked)
        turn = std::max(turn, changed.latest);
    if (event.kind == ToldKind::linked)
        turn = std::max(turn, settled_turn(event.parent));
    return turn;
}

uint32_t ToldTree::settled_turn(uint32_t node) const
{
    uint32_t turn = 0;
    for (; node != 0; node = this->node(node).parent)
        turn = std::max(turn, this->node(node).settled);
    return turn;
}

void ToldTree::raise(uint32_t node, uint32_t turn)
{
    for (; node != 0 && at(node).latest < turn; node = at(node).parent) {
        if (at(node).latest == 0)
            raised_.push_back(node);
        at(node).latest = turn;
    }
}

/* ---- the end of a part ---- */

void ToldTree::follow_changes()
{
    keep_old_lists();
    std::vector<uint32_t> waiting = {root};
    while (!waiting.empty()) {
        uint32_t number = waiting.back();
        waiting.pop_back();
        if (node(number).is_touched || node(number).is_arrived) {
            read_lists(number, waiting);
            continue;
        }
        for (uint32_t first : node(number).first)
            for (uint32_t child = first; child != 0; child = node(child).next)
                if (node(child).latest != 0)
                    waiting.push_back(child);
    }
}

/* Ahead of any list's becoming another, since nodes go from one to the other. */
void ToldTree::keep_old_lists()
{
    for (uint32_t touched : touched_) {
        ToldLists &old = old_lists_[touched];
        for (size_t kind = 0; kind < list_kinds && node(touched).is_member; kind++)
            old[kind] = list(touched, kind);
    }
}

/* What comes from elsewhere is new here with all below it, wherever it stood before. */
void ToldTree::read_lists(uint32_t number, std::vector<uint32_t> &waiting)
{
    bool all_arrive = node(number).is_arrived;
    stamp_old_children(number);
    uint32_t stamp = stamp_;
    auto     heads = lists_of(*node(number).record);
    for (size_t kind = 0; kind < list_kinds; kind++) {
        uint32_t last = 0;
        at(number).first[kind] = 0;
        for (const config_node *record = heads[kind]; record; record = record->next) {
            uint32_t child = make_number_of(migr_identity_of(record));
            if (child == 0)
                continue; /* nobody could tell of it, and has said so */
            (last == 0 ? at(number).first[kind] : at(last).next) = child;
            last = child;
            ToldNode &here = at(child);
            here.record = record;
            here.parent = number;
            here.next = 0;
            if (all_arrive || here.stamp != stamp)
                arrive(child);
            if (here.is_arrived || here.latest != 0)
                waiting.push_back(child);
        }
    }
    at(number).is_present = true;
}

void ToldTree::stamp_old_children(uint32_t number)
{
    stamp_++;
    auto old = old_lists_.find(number);
    if (old == old_lists_.end())
        return;
    for (const std::vector<uint32_t> &list : old->second)
        for (uint32_t child : list)
            at(child).stamp = stamp_;
}

void ToldTree::arrive(uint32_t number)
{
    ToldNode &node = at(number);
    if (!node.is_arrived)
        arrived_.push_back(number);
    node.is_arrived = true;
    node.is_long = has_lines(*node.record);
}

void ToldTree::forget_part(const std::vector<uint32_t> &lost)
{
    for (uint32_t number : touched_)
        at(number).is_touched = at(number).is_present = false;
    for (uint32_t number : arrived_) {
        at(number).is_arrived = at(number).is_present = false;
        at(number).is_member = true;
    }
    for (uint32_t number : lost) {
        at(number).is_member = false;
        at(number).first = {};
    }
    for (uint32_t number : raised_) {
        ToldNode &node = at(number);
        for (const ToldEvent *event : events(number))
            if (event->kind == ToldKind::marked)
                node.is_shown = event->is_shown;
        if (node.record)
            node.is_long = has_lines(*node.record);
        node.latest = node.settled = node.last_event = 0;
    }
    events_.clear();
    texts_.clear();
    gone_.clear();
    turns_.clear();
    turns_of_.clear();
    touched_.clear();
    raised_.clear();
    arrived_.clear();
    old_lists_.clear();
}

/* ---- questions ---- */

std::vector<uint32_t> ToldTree::list(uint32_t number, size_t kind) const
{
    std::vector<uint32_t> nodes;
    for (uint32_t child = node(number).first[kind]; child != 0; child = node(child).next)
        nodes.push_back(child);
    return nodes;
}

const std::vector<uint32_t> &ToldTree::old_list(uint32_t number, size_t kind) const
{
    return old_lists_.at(number)[kind];
}

std::vector<const ToldEvent *> ToldTree::events(uint32_t number) const
{
    std::vector<const ToldEvent *> events;
    for (uint32_t at = node(number).last_event; at != 0; at = events_[at - 1].previous)
        events.push_back(&events_[at - 1]);
    std::reverse(events.begin(), events.end());
    return events;
}

bool ToldTree::has_texts(uint32_t number) const
{
    for (uint32_t at = node(number).last_event; at != 0; at = events_[at - 1].previous)
        if (events_[at - 1].kind == ToldKind::renamed || events_[at - 1].kind == ToldKind::revalued)
            return true;
    return false;
}

uint32_t ToldTree::linked_turn(uint32_t number, uint32_t parent) const
{
    for (uint32_t at = node(number).last_event; at != 0; at = events_[at - 1].previous)
        if (events_[at - 1].kind == ToldKind::linked && events_[at - 1].parent == parent)
            return events_[at - 1].turn;
    return 0;
}

uint32_t ToldTree::unlinked_turn(uint32_t number, uint32_t parent) const
{
    uint32_t turn = 0;
    for (uint32_t at = node(number).last_event; at != 0; at = events_[at - 1].previous)
        if (events_[at - 1].kind == ToldKind::unlinked && events_[at - 1].parent == parent)
            turn = events_[at - 1].turn;
    return turn;
}

/* What the first of the later changes found. */
ToldTree::Content ToldTree::content(uint32_t number, uint32_t turn) const
{
    Content content = {"", nullptr};
    if (const config_node *record = node(number).record)
        content = {record->name, record->value};
    else if (auto gone = gone_.find(number); gone != gone_.end())
        content = {gone->second.name, gone->second.has_value ? gone->second.value.c_str() : nullptr};
    for (uint32_t at = node(number).last_event; at != 0; at = events_[at - 1].previous) {
        const ToldEvent &event = events_[at - 1];
        if (event.turn <= turn)
            break;
        const char *before = event.text == 0 ? nullptr : texts_[event.text - 1].c_str();
        if (event.kind == ToldKind::renamed)
            content.name = before ? before : "";
        if (event.kind == ToldKind::revalued)
            content.value = before;
    }
    return content;
}

bool ToldTree::is_rewritten(uint32_t number, uint32_t turn) const
{
    for (uint32_t at = node(number).last_event; at != 0; at = events_[at - 1].previous) {
        const ToldEvent &event = events_[at - 1];
        bool             is_text = event.kind == ToldKind::renamed || event.kind == ToldKind::revalued;
        if (!is_text || event.turn != turn)
            continue;
        Content before = content(number, turn - 1), after = content(number, turn);
        bool    same_value =
            before.value && after.value ? strcmp(before.value, after.value) == 0 : before.value == after.value;
        return before.name != after.name || !same_value;
    }
    return false;
}

} // namespace command
