/*
 * A stack of nodes, with which trees of any depth are walked without recursion. It does not own the nodes.
 */
#ifndef MIGR_TREE_NODE_STACK_H
#define MIGR_TREE_NODE_STACK_H

#include "tree/config_node.h"
#include "tree/stack.h"

using node_stack = stack<config_node *>;

/* Pushes a node; a null is passed over. 0, or -1 when there is no memory, which leaves the stack as it was. */
int32_t push_node(node_stack *nodes, config_node *node);

/* Takes the last one pushed, or null when the stack is empty. */
config_node *pop_node(node_stack *nodes);

#endif
