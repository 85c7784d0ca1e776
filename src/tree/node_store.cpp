/* The two stores of node records. They are told apart by where a record lies, so a record that a host made itself is
 * never taken for one of them. Nothing here looks at lists or at what hangs below a node: free_node does that. */
#include "tree/node_store.h"

#include "ledger/tell.h"
#include "tree/node_stack.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

/* Released records stay in their chunk: the sanitizer has to be told of them. */
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(start, size) ((void)(start), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(start, size) ((void)(start), (void)(size))
#endif

namespace {

/* A record takes whole lines of the cache, so that a walk fetches no line for two of them. */
constexpr size_t cache_line = 64;
static_assert(sizeof(config_node) % cache_line == 0);

/* Chunks grow with the tree: what is small needs little, and what is large comes in pieces for which the system has
 * large pages. */
constexpr size_t large_page = size_t{2} << 20;
constexpr size_t first_chunk_nodes = 340; /* with what aligning takes, a block of just under 64 KiB */
constexpr size_t last_chunk_nodes = 6 * large_page / sizeof(config_node);

struct node_chunk {
    config_node *nodes;
    size_t       room;
    size_t       live;
    void        *block; /* of the heap */
};

struct node_store {
    stack<node_chunk> chunks;  /* in the order of their addresses */
    size_t            records; /* in all chunks */
    size_t            newest;  /* the chunk that has fresh records */
    size_t            found;   /* the chunk found last: neighbours in a tree mostly are neighbours here */
    config_node      *fresh;   /* the first record that was never used */
    size_t            fresh_left;
    /* Linked by `next`, and used again in the order of their release: the sanitizer has time to see them used. */
    config_node *released;
    config_node *last_released;
};

node_store  pass_store;
node_store  run_store;
node_store *filled = &pass_store;
node_stack  foreign; /* a host's records that wait for the end of the pass; some more than once */
int32_t     held;
int32_t     left_to_pass;

uintptr_t address_of(const config_node *node)
{
    return reinterpret_cast<uintptr_t>(node);
}

bool lies_in(const node_chunk &chunk, const config_node *node)
{
    return address_of(node) - address_of(chunk.nodes) < chunk.room * sizeof(config_node);
}

/* The place of the first chunk that begins behind the address. */
size_t chunk_behind(const stack<node_chunk> &chunks, uintptr_t address)
{
    auto is_ahead = [](uintptr_t wanted, const node_chunk &chunk) { return wanted < address_of(chunk.nodes); };
    auto place = std::upper_bound(chunks.records, chunks.records + chunks.count, address, is_ahead);
    return static_cast<size_t>(place - chunks.records);
}

/* The chunk in which the node lies, or null when the store did not make it. */
node_chunk *chunk_of(node_store *store, const config_node *node)
{
    stack<node_chunk> &chunks = store->chunks;
    if (store->found < chunks.count && lies_in(chunks.records[store->found], node))
        return &chunks.records[store->found];
    size_t behind = chunk_behind(chunks, address_of(node));
    if (behind == 0 || !lies_in(chunks.records[behind - 1], node))
        return nullptr;
    store->found = behind - 1;
    return &chunks.records[store->found];
}

/* As many records as the store has already; without memory for those, few will do. */
node_chunk new_chunk(size_t records)
{
    size_t room = std::clamp(records, first_chunk_nodes, last_chunk_nodes);
    size_t bytes = room * sizeof(config_node);
    size_t alignment = bytes < large_page ? cache_line : large_page; /* what nobody touches takes no memory */
    void  *block = malloc(bytes + alignment);
    if (!block)
        return room > first_chunk_nodes ? new_chunk(first_chunk_nodes) : node_chunk{};
    auto aligned = (reinterpret_cast<uintptr_t>(block) + alignment - 1) / alignment * alignment;
    return {reinterpret_cast<config_node *>(aligned), room, 0, block};
}

/* Tells the system what it should do with the large pages that lie in a chunk. */
void advise_large_pages(const node_chunk &chunk, int advice)
{
    uintptr_t start = (address_of(chunk.nodes) + large_page - 1) / large_page * large_page;
    uintptr_t end = address_of(chunk.nodes + chunk.room) / large_page * large_page;
    if (start < end)
        madvise(reinterpret_cast<void *>(start), end - start, advice);
}

int32_t add_chunk(node_store *store)
{
    node_chunk chunk = new_chunk(store->records);
    if (!chunk.block)
        return -1;
    size_t place = chunk_behind(store->chunks, address_of(chunk.nodes));
    if (push_record(&store->chunks, chunk) != 0) {
        free(chunk.block);
        return -1;
    }
    node_chunk *chunks = store->chunks.records;
    std::rotate(chunks + place, top_record(&store->chunks), chunks + store->chunks.count);
    store->newest = place;
    store->records += chunk.room;
    store->fresh = chunk.nodes;
    store->fresh_left = chunk.room;
    /* Without them a large tree costs a fault for each small page, and walking it a look-up for each. */
    advise_large_pages(chunk, MADV_HUGEPAGE);
    ASAN_POISON_MEMORY_REGION(chunk.nodes, chunk.room * sizeof(config_node));
    return 0;
}

config_node *take_fresh(node_store *store)
{
    if (store->fresh_left == 0 && add_chunk(store) != 0)
        return nullptr;
    store->chunks.records[store->newest].live++;
    store->fresh_left--;
    ASAN_UNPOISON_MEMORY_REGION(store->fresh, sizeof(config_node));
    return store->fresh++;
}

config_node *take_released(node_store *store)
{
    config_node *node = store->released;
    ASAN_UNPOISON_MEMORY_REGION(node, sizeof(config_node));
    store->released = node->next;
    chunk_of(store, node)->live++;
    return node;
}

/* A released record keeps no value, so the end of the pass may look at each. */
void take_back(node_store *store, node_chunk *chunk, config_node *node)
{
    free(node->value);
    node->value = nullptr;
    node->next = nullptr;
    chunk->live--;
    if (store->released) {
        ASAN_UNPOISON_MEMORY_REGION(store->last_released, sizeof(config_node));
        store->last_released->next = node;
        ASAN_POISON_MEMORY_REGION(store->last_released, sizeof(config_node));
    } else {
        store->released = node;
    }
    store->last_released = node;
    ASAN_POISON_MEMORY_REGION(node, sizeof(config_node));
}

void free_values(config_node *node, const config_node *end)
{
    for (; node < end; node++)
        free(node->value);
}

void empty(node_store *store)
{
    for (size_t i = 0; i < store->chunks.count; i++) {
        node_chunk   chunk = store->chunks.records[i];
        config_node *end = i == store->newest ? store->fresh : chunk.nodes + chunk.room;
        ASAN_UNPOISON_MEMORY_REGION(chunk.nodes, chunk.room * sizeof(config_node));
        if (chunk.live > 0)
            free_values(chunk.nodes, end);
        /* A heap that is full of holes keeps its pages, and the packing of the text takes others. */
        advise_large_pages(chunk, MADV_DONTNEED);
        free(chunk.block);
    }
    free_stack(&store->chunks);
    *store = {};
}

void free_record(config_node *node)
{
    free(node->value);
    free(node);
}

/* Two lists may have led to the same record. */
void free_foreign_nodes()
{
    config_node **begin = foreign.records;
    std::sort(begin, begin + foreign.count);
    std::for_each(begin, std::unique(begin, begin + foreign.count), free_record);
    free_stack(&foreign);
}

} // namespace

config_node *new_node(uint32_t kind)
{
    config_node *node = filled->released ? take_released(filled) : take_fresh(filled);
    if (!node)
        return nullptr;
    memset(node, 0, sizeof *node);
    node->kind = kind;
    return node;
}

void release_node(config_node *node)
{
    if (ledger::is_watched())
        ledger::tell_releasing(node);
    for (node_store *store : {&pass_store, &run_store})
        if (node_chunk *chunk = chunk_of(store, node))
            return take_back(store, chunk, node);
    if (foreign.count > 0)
        push_node(&foreign, node);
    else
        free_record(node);
}

void leave_foreign_node(config_node *node)
{
    if (!chunk_of(&pass_store, node) && !chunk_of(&run_store, node))
        push_node(&foreign, node);
}

void make_nodes_for_run(int32_t for_run)
{
    filled = for_run ? &run_store : &pass_store;
    ledger::nodes_outlive_pass(for_run != 0);
}

void release_pass_nodes(void)
{
    ledger::tell_pass_ends();
    free_foreign_nodes();
    empty(&pass_store);
    left_to_pass = 0;
}

void release_run_nodes(void)
{
    ledger::tell_run_ends();
    empty(&run_store);
}

void hold_deleted_nodes(int32_t hold)
{
    held = hold;
}

void leave_nodes_to_pass(void)
{
    left_to_pass = 1;
}

int32_t deleted_nodes_are_held(void)
{
    return held || left_to_pass;
}
