/*
 * What is remembered of a list while a walk goes through it, so that taking out the node on which the walk stands, and
 * appending, need no search. What is remembered is a link to search from, never one to be believed: the node is looked
 * for there. Whatever changes a list meanwhile has to do it by changes.h. Outside a walk nothing is remembered.
 */
#ifndef MIGR_TREE_LIST_WALK_H
#define MIGR_TREE_LIST_WALK_H

#include "tree/config_node.h"

/* A list on the way of a walk. Walks nest: each list is left before the one around it. */
struct walked_list {
    config_node **list;
    config_node **link; /* one of the list's links, the one that leads to `node` or one ahead of it */
    config_node  *node; /* where the walk stands; null ahead of the first */
    bool          gone; /* `node` was taken out of the list and has not come back */
    walked_list  *outer;
};

/* The list that the walk is in; null outside of walks. Seen inside the library alone. */
extern __attribute__((visibility("hidden"))) walked_list *innermost_list;

/* Forgets walks that were never left. */
void forget_walks();

inline void enter_list(walked_list *walked, config_node **list)
{
    *walked = {list, list, nullptr, false, innermost_list};
    innermost_list = walked;
}

/* Behind a node that is still in its place; where another leads to it, or none, the link stays where it is. */
inline void step_to(walked_list *walked, config_node *node)
{
    if (walked->node && *walked->link == walked->node)
        walked->link = &walked->node->next;
    walked->node = node;
    walked->gone = false;
}

inline void leave_list(walked_list *walked)
{
    innermost_list = walked->outer;
    if (!innermost_list)
        forget_walks();
}

/* The link of the list that leads to `node`, or null when it is not in it. */
config_node **link_to(config_node **list, const config_node *node);

/* The null link at the list's end. */
config_node **end_of(config_node **list);

/* To be told of each change: before `node` is linked anywhere, when it has been appended on `link`, and when it has
 * been taken out, with the link that led to it. */
void note_linking(const config_node *node);
void note_appended(config_node **list, config_node **link);
void note_unlinked(config_node **list, config_node **link, config_node *node);

#endif
