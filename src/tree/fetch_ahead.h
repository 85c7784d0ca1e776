/*
 * Reads ahead in memory. Nodes mostly lie in the order of their text, and a tree is far larger than the caches, so
 * whoever goes through one from node to node has a record some places on fetched while it is busy with this one.
 */
#ifndef MIGR_TREE_FETCH_AHEAD_H
#define MIGR_TREE_FETCH_AHEAD_H

#include "tree/config_node.h"

/* The first line of the cache, where a record's link, kind and name are, and the third with its value, flags and lists.
 * The place need not be that of a node. */
inline void fetch_ahead(const config_node *node)
{
    static constexpr uintptr_t places = 24, third_line = 128;
    uintptr_t                  ahead = reinterpret_cast<uintptr_t>(node) + places * sizeof *node;
    __builtin_prefetch(reinterpret_cast<const void *>(ahead));
    __builtin_prefetch(reinterpret_cast<const void *>(ahead + third_line));
}

#endif
