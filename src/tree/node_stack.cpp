/* What a stack of nodes does that one of other things does not: nulls are passed over, and end it. */
#include "tree/node_stack.h"

int32_t push_node(node_stack *nodes, config_node *node)
{
    return node ? push_record(nodes, node) : 0;
}

config_node *pop_node(node_stack *nodes)
{
    return nodes->count ? nodes->records[--nodes->count] : nullptr;
}
