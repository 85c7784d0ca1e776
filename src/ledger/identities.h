/*
 * Which number each told node has, and below whom it stands. A node may stand below several: lists can be shared, and a
 * node can be linked while it still stands elsewhere. It knows addresses and numbers and looks into no node.
 */
#ifndef MIGR_LEDGER_IDENTITIES_H
#define MIGR_LEDGER_IDENTITIES_H

#include "tree/config_node.h"
#include "tree/stack.h"

namespace ledger {

struct identity {
    const config_node *node; /* null: a free slot */
    uint64_t           number : 62;
    uint64_t           of_run : 1;  /* outlives the pass */
    uint64_t           further : 1; /* it stands below others too */
    uint64_t           parent;      /* 0: it stands nowhere */
};

/* A further place of a node. */
struct place {
    uint64_t node;
    uint64_t parent;
};

/* Those of the records in one stretch of memory, each at the place where it begins, in lengths of a record: no two that
 * exist begin at the same. */
struct identity_page {
    static constexpr uint64_t places = 256;

    uint64_t number; /* which stretch, counted from address 0 */
    size_t   count;
    identity slots[places];
};

/* Pages by number: open addressing, in a table of a power of two that is at most half full. A tree lies in few
 * stretches, and what is told one after another mostly lies in the same. */
struct identities {
    identity_page **pages;
    size_t          room;
    size_t          page_count;
    identity_page  *latest; /* the page that was asked for last */
    size_t          count;
    stack<place>    further;
};

/* Null for a node that is not there. Valid until the node is removed. */
identity *find_identity(identities *all, const config_node *node);

/* A node that is not there yet; what is known of a record that lay across it is forgotten. Null without memory. */
identity *add_identity(identities *all, const config_node *node, uint64_t number, bool of_run);

void remove_identity(identities *all, identity *removed);

/* Forgets the nodes of the pass, or of the run. */
void remove_all(identities *all, bool of_run);

/* False without memory. A place that the node has already is not added again. */
bool add_place(identities *all, identity *node, uint64_t parent);
void remove_place(identities *all, identity *node, uint64_t parent);

bool stands_below(const identities *all, const identity *node, uint64_t parent);

/* Puts the parents of all places of the node on top of `parents`. False without memory. */
bool push_places(const identities *all, const identity *node, stack<uint64_t> *parents);

/* Exchanges the numbers of two nodes, and leaves the places where they are. */
void exchange_numbers(identities *all, identity *one, identity *other);

} // namespace ledger

#endif
