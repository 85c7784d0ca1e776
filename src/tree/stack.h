/*
 * A growing array of plain records, for what a tree of any depth or a file of any length needs. Valid when zero-filled.
 * Records move when it grows, so nobody may keep a pointer to one over a push.
 */
#ifndef MIGR_TREE_STACK_H
#define MIGR_TREE_STACK_H

#include <cstddef>
#include <cstdlib>

template <typename record> struct stack {
    record *records;
    size_t  count;
    size_t  room;
};

/* Puts a copy of the record on top. 0, or -1 when there is no memory, which leaves the stack as it was. */
template <typename record> int push_record(stack<record> *onto, const record &added)
{
    static constexpr size_t first_room = 32;
    if (onto->count == onto->room) {
        size_t room = onto->room ? onto->room * 2 : first_room;
        auto  *grown = static_cast<record *>(realloc(onto->records, room * sizeof(record)));
        if (!grown)
            return -1;
        onto->records = grown;
        onto->room = room;
    }
    onto->records[onto->count++] = added;
    return 0;
}

/* The record on top; the stack must not be empty. */
template <typename record> record *top_record(stack<record> *of)
{
    return &of->records[of->count - 1];
}

/* Frees the stack's own memory, not what its records point at. */
template <typename record> void free_stack(stack<record> *freed)
{
    free(freed->records);
    *freed = {};
}

#endif
