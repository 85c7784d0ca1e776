/* A stack of nodes, with which trees of any depth are walked without recursion. Valid when zero-filled. */
#ifndef MIGR_TREE_NODE_STACK_H
#define MIGR_TREE_NODE_STACK_H

#include "tree/config_node.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct node_stack node_stack;
struct node_stack {
    config_node **nodes;
    size_t        count;
    size_t        room;
};

/* Pushes a node; a null is passed over. 0, or -1 when there is no memory, which leaves the stack as it was. */
int32_t push_node(node_stack *stack, config_node *node);

/* Takes the last one pushed, or null when the stack is empty. */
config_node *pop_node(node_stack *stack);

/* Frees the stack's own memory, not the nodes. */
void free_node_stack(node_stack *stack);

#ifdef __cplusplus
}
#endif

#endif
