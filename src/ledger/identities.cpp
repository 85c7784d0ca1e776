/* The table of told nodes. Pages stay until all is forgotten: a node that goes leaves its slot free. */
#include "ledger/identities.h"

namespace ledger {

namespace {

constexpr size_t first_room = 64;

uint64_t place_of(const config_node *node)
{
    return reinterpret_cast<uintptr_t>(node) / sizeof(config_node);
}

/* Where the page stands, or the free place for it. */
identity_page **page_at(identity_page **pages, size_t room, uint64_t number)
{
    uint64_t mixed = number * UINT64_C(0x9e3779b97f4a7c15);
    size_t   at = static_cast<size_t>(mixed >> 32) & (room - 1);
    while (pages[at] && pages[at]->number != number)
        at = (at + 1) & (room - 1);
    return &pages[at];
}

identity_page *find_page(identities *all, uint64_t number)
{
    if (all->latest && all->latest->number == number)
        return all->latest;
    identity_page *page = all->room ? *page_at(all->pages, all->room, number) : nullptr;
    if (page)
        all->latest = page;
    return page;
}

bool double_room(identities *all)
{
    size_t room = all->room ? all->room * 2 : first_room;
    auto **pages = static_cast<identity_page **>(calloc(room, sizeof(identity_page *)));
    if (!pages)
        return false;
    for (size_t i = 0; i < all->room; i++)
        if (all->pages[i])
            *page_at(pages, room, all->pages[i]->number) = all->pages[i];
    free(all->pages);
    all->pages = pages;
    all->room = room;
    return true;
}

identity_page *add_page(identities *all, uint64_t number)
{
    if (all->page_count >= all->room / 2 && !double_room(all))
        return nullptr;
    auto *page = static_cast<identity_page *>(calloc(1, sizeof(identity_page)));
    if (!page)
        return nullptr;
    page->number = number;
    *page_at(all->pages, all->room, number) = page;
    all->page_count++;
    all->latest = page;
    return page;
}

void free_slot(identities *all, identity_page *page, identity *slot)
{
    *slot = {};
    page->count--;
    all->count--;
}

void free_pages(identities *all)
{
    for (size_t i = 0; i < all->room; i++)
        free(all->pages[i]);
    free(all->pages);
    free_stack(&all->further);
    *all = {};
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

identity *find_identity(identities *all, const config_node *node)
{
    uint64_t       place = place_of(node);
    identity_page *page = find_page(all, place / identity_page::places);
    identity      *slot = page ? &page->slots[place % identity_page::places] : nullptr;
    return slot && slot->node == node ? slot : nullptr;
}

identity *add_identity(identities *all, const config_node *node, uint64_t number, bool of_run)
{
    uint64_t       place = place_of(node);
    identity_page *page = find_page(all, place / identity_page::places);
    if (!page && !(page = add_page(all, place / identity_page::places)))
        return nullptr;
    identity *slot = &page->slots[place % identity_page::places];
    if (slot->node)
        remove_identity(all, slot);
    *slot = {node, number, of_run, false, 0};
    page->count++;
    all->count++;
    return slot;
}

void remove_identity(identities *all, identity *removed)
{
    while (removed->parent != 0)
        remove_place(all, removed, removed->parent);
    free_slot(all, find_page(all, place_of(removed->node) / identity_page::places), removed);
}

/* Few nodes outlive a pass, so what is left then is looked for page by page. */
void remove_all(identities *all, bool of_run)
{
    bool further = false;
    for (size_t i = 0; i < all->room; i++) {
        identity_page *page = all->pages[i];
        for (size_t at = 0; page && page->count > 0 && at < identity_page::places; at++) {
            identity *slot = &page->slots[at];
            if (slot->node && slot->of_run == of_run)
                free_slot(all, page, slot);
            further |= slot->node && slot->further;
        }
    }
    if (all->count == 0)
        return free_pages(all);
    if (!further)
        free_stack(&all->further);
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
