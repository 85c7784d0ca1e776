#include "tree/node_store.h"

#include "tree/node_stack.h"

#include <cstddef>
#include <cstdlib>

namespace {

/* The links of a store's circular list, and, behind them in a record, the node itself. */
struct store_link {
    store_link *newer;
    store_link *older;
};

struct stored_node {
    store_link  link; /* first, so that a link's address is its record's */
    config_node node;
};

store_link pass_store = {&pass_store, &pass_store};
store_link run_store = {&run_store, &run_store};
int32_t    held;
int32_t    shared;

stored_node *record_of(config_node *node)
{
    return reinterpret_cast<stored_node *>(reinterpret_cast<char *>(node) - offsetof(stored_node, node));
}

void link_into(store_link *store, store_link *link)
{
    link->older = store;
    link->newer = store->newer;
    store->newer->older = link;
    store->newer = link;
}

void unlink_record(store_link *link)
{
    link->older->newer = link->newer;
    link->newer->older = link->older;
}

void release_store(store_link *store)
{
    while (store->newer != store)
        release_node(&reinterpret_cast<stored_node *>(store->newer)->node);
}

} // namespace

config_node *new_node(uint32_t kind)
{
    auto *record = static_cast<stored_node *>(calloc(1, sizeof(stored_node)));
    if (!record)
        return nullptr;
    record->node.kind = kind;
    link_into(&pass_store, &record->link);
    return &record->node;
}

void release_node(config_node *node)
{
    stored_node *record = record_of(node);
    unlink_record(&record->link);
    free(node->value);
    free(record);
}

int32_t keep_for_run(config_node *node)
{
    node_stack waiting = {};
    int32_t    result = push_node(&waiting, node);
    while (config_node *kept = pop_node(&waiting)) {
        store_link *link = &record_of(kept)->link;
        unlink_record(link);
        link_into(&run_store, link);
        if ((kept != node && push_node(&waiting, kept->next)) || push_node(&waiting, kept->config_list) ||
            push_node(&waiting, kept->edit_list) || push_node(&waiting, kept->set_list)) {
            result = -1;
            break;
        }
    }
    free_stack(&waiting);
    return result;
}

void release_pass_nodes(void)
{
    release_store(&pass_store);
    shared = 0;
}

void release_run_nodes(void)
{
    release_store(&run_store);
}

void hold_deleted_nodes(int32_t hold)
{
    held = hold;
}

void share_nodes_of_pass(void)
{
    shared = 1;
}

int32_t deleted_nodes_are_held(void)
{
    return held || shared;
}
