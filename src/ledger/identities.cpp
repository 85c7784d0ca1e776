/* The table of told nodes. Removing moves the slots behind into the gap, so a search may end at the first free one. */
#include "ledger/identities.h"

namespace ledger {

namespace {

constexpr size_t first_room = 1024;

/* Records that lie side by side are mostly told one after another, so groups of them keep together; the multiplication
 * spreads the groups. */
size_t home_of(const identities *all, const config_node *node)
{
    static constexpr uint64_t group = 8;
    uint64_t                  place = reinterpret_cast<uintptr_t>(node) / sizeof(config_node);
    uint64_t                  mixed = (place / group) * UINT64_C(0x9e3779b97f4a7c15);
    return static_cast<size_t>((mixed >> 32) * group + place % group) & (all->room - 1);
}

identity *slot_of(const identities *all, const config_node *node)
{
    size_t at = home_of(all, node);
    while (all->slots[at].node && all->slots[at].node != node)
        at = (at + 1) & (all->room - 1);
    return &all->slots[at];
}

/* Moves what is to be kept into a table of that room. False without memory, and then nothing has changed. */
template <typename test> bool rebuild(identities *all, size_t room, test is_kept)
{
    identities rebuilt = *all;
    rebuilt.slots = static_cast<identity *>(calloc(room, sizeof(identity)));
    rebuilt.room = room;
    rebuilt.count = 0;
    if (!rebuilt.slots)
        return false;
    for (size_t i = 0; i < all->room; i++) {
        if (!all->slots[i].node || !is_kept(all->slots[i]))
            continue;
        *slot_of(&rebuilt, all->slots[i].node) = all->slots[i];
        rebuilt.count++;
    }
    free(all->slots);
    *all = rebuilt;
    return true;
}

bool has_room(identities *all)
{
    if (all->count < all->room / 4 * 3)
        return true;
    return rebuild(all, all->room ? all->room * 2 : first_room, [](const identity &) { return true; });
}

void remove_further(identities *all, size_t at)
{
    all->further.records[at] = *top_record(&all->further);
    all->further.count--;
}

/* The place in `further` behind which the node's next one stands, or 0. */
size_t behind_further(const identities *all, uint64_t number, size_t from)
{
    for (size_t i = from; i < all->further.count; i++)
        if (all->further.records[i].node == number)
            return i + 1;
    return 0;
}

/* A node whose first place is gone stands at a further one first. */
void settle_places(identities *all, identity *node)
{
    size_t behind = node->further ? behind_further(all, node->number, 0) : 0;
    if (node->parent == 0 && behind > 0) {
        node->parent = all->further.records[behind - 1].parent;
        remove_further(all, behind - 1);
        behind = behind_further(all, node->number, 0);
    }
    node->further = behind > 0;
}

} // namespace

identity *find_identity(const identities *all, const config_node *node)
{
    if (all->count == 0)
        return nullptr;
    identity *slot = slot_of(all, node);
    return slot->node ? slot : nullptr;
}

identity *add_identity(identities *all, const config_node *node, uint64_t number, bool of_run)
{
    if (!has_room(all))
        return nullptr;
    identity *slot = slot_of(all, node);
    *slot = {node, number, of_run, false, 0};
    all->count++;
    return slot;
}

void remove_identity(identities *all, identity *removed)
{
    while (removed->parent != 0)
        remove_place(all, removed, removed->parent);
    size_t mask = all->room - 1;
    auto   gap = static_cast<size_t>(removed - all->slots);
    for (size_t at = (gap + 1) & mask; all->slots[at].node; at = (at + 1) & mask) {
        size_t home = home_of(all, all->slots[at].node);
        if (((at - home) & mask) < ((at - gap) & mask))
            continue; /* it would stand ahead of its home */
        all->slots[gap] = all->slots[at];
        gap = at;
    }
    all->slots[gap] = {};
    all->count--;
}

void remove_all(identities *all, bool of_run)
{
    size_t kept = 0;
    bool   further = false;
    for (size_t i = 0; i < all->room; i++) {
        if (!all->slots[i].node || all->slots[i].of_run == of_run)
            continue;
        kept++;
        further |= all->slots[i].further;
    }
    if (!further)
        free_stack(&all->further);
    size_t room = first_room;
    while (room / 4 * 3 <= kept)
        room *= 2;
    auto stays = [of_run](const identity &slot) { return slot.of_run != of_run; };
    if (kept > 0 && rebuild(all, room, stays))
        return;
    /* Without memory those of the run are forgotten too. */
    free(all->slots);
    free_stack(&all->further);
    *all = {};
}

bool add_place(identities *all, identity *node, uint64_t parent)
{
    if (node->parent == 0) {
        node->parent = parent;
        return true;
    }
    if (stands_below(all, node, parent))
        return true;
    if (push_record(&all->further, place{node->number, parent}) != 0)
        return false;
    node->further = true;
    return true;
}

void remove_place(identities *all, identity *node, uint64_t parent)
{
    if (node->parent == parent) {
        node->parent = 0;
        settle_places(all, node);
        return;
    }
    for (size_t i = node->further ? all->further.count : 0; i > 0; i--)
        if (all->further.records[i - 1].node == node->number && all->further.records[i - 1].parent == parent)
            remove_further(all, i - 1);
    settle_places(all, node);
}

bool stands_below(const identities *all, const identity *node, uint64_t parent)
{
    if (node->parent == parent)
        return true;
    for (size_t i = 0; node->further && i < all->further.count; i++)
        if (all->further.records[i].node == node->number && all->further.records[i].parent == parent)
            return true;
    return false;
}

bool push_places(const identities *all, const identity *node, stack<uint64_t> *parents)
{
    if (node->parent == 0)
        return true;
    if (push_record(parents, node->parent) != 0)
        return false;
    for (size_t i = 0; node->further && i < all->further.count; i++)
        if (all->further.records[i].node == node->number && push_record(parents, all->further.records[i].parent) != 0)
            return false;
    return true;
}

void exchange_numbers(identities *all, identity *one, identity *other)
{
    uint64_t number = one->number;
    for (size_t i = 0; i < all->further.count; i++) {
        place *further = &all->further.records[i];
        if (further->node == number)
            further->node = other->number;
        else if (further->node == other->number)
            further->node = number;
    }
    one->number = other->number;
    other->number = number;
}

} // namespace ledger
