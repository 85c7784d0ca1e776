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

/* By address: open addressing, in a table of a power of two that is at most three quarters full. */
struct identities {
    identity    *slots;
    size_t       room;
    size_t       count;
    stack<place> further;
};

/* Null for a node that is not there. Valid until the next one is added or removed. */
identity *find_identity(const identities *all, const config_node *node);

/* A node that is not there yet. Null without memory. */
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
