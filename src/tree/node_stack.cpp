#include "tree/node_stack.h"

#include <cstdlib>

int32_t push_node(node_stack *stack, config_node *node)
{
    if (!node)
        return 0;
    if (stack->count == stack->room) {
        size_t room = stack->room ? stack->room * 2 : 64;
        auto **nodes = static_cast<config_node **>(realloc(stack->nodes, room * sizeof(config_node *)));
        if (!nodes)
            return -1;
        stack->nodes = nodes;
        stack->room = room;
    }
    stack->nodes[stack->count++] = node;
    return 0;
}

config_node *pop_node(node_stack *stack)
{
    return stack->count ? stack->nodes[--stack->count] : nullptr;
}

void free_node_stack(node_stack *stack)
{
    free(stack->nodes);
    *stack = {};
}
