/* Stands between a program and its allocations, where its program.cmake wraps them. Only calls from object to object
 * come by here; those within the C library do not. */
#include "support/failing_memory.h"

#include "tree/config_node.h"

namespace {

/* What makes a node, what makes a value, what lets a table grow, and the rest. */
enum Kind { NODE, VALUE, GROWTH, OTHER, ALL };

Kind   watched = ALL;
size_t counted;
size_t failing; /* 0: none */
bool   failing_from_there;

bool fails(Kind kind)
{
    if (watched != ALL && watched != kind)
        return false;
    counted++;
    return failing != 0 && (failing_from_there ? counted >= failing : counted == failing);
}

size_t with_failing(Kind kind, size_t number, const std::function<void()> &work, bool lasting)
{
    support::fail_allocation(number, lasting);
    watched = kind;
    work();
    watched = ALL;
    size_t asked = counted;
    support::fail_allocation(0);
    return asked;
}

} // namespace

namespace support {

void fail_allocation(size_t number, bool lasting)
{
    counted = 0;
    failing = number;
    failing_from_there = lasting;
}

size_t allocations()
{
    return counted;
}

size_t with_failing_nodes(size_t number, const std::function<void()> &work, bool lasting)
{
    return with_failing(NODE, number, work, lasting);
}

size_t with_failing_values(size_t number, const std::function<void()> &work, bool lasting)
{
    return with_failing(VALUE, number, work, lasting);
}

size_t with_failing_growth(size_t number, const std::function<void()> &work, bool lasting)
{
    return with_failing(GROWTH, number, work, lasting);
}

} // namespace support

extern "C" {

config_node *__real_new_node(uint32_t kind);
void        *__real_malloc(size_t size);
void        *__real_calloc(size_t count, size_t size);
void        *__real_realloc(void *block, size_t size);
char        *__real_strdup(const char *text);
char        *__real_strndup(const char *text, size_t size);

/* The store gets memory for many nodes at once, so that a node fails here, not there. */
config_node *__wrap_new_node(uint32_t kind)
{
    return fails(NODE) ? nullptr : __real_new_node(kind);
}

void *__wrap_malloc(size_t size)
{
    return fails(OTHER) ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return fails(NODE) ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size)
{
    return fails(GROWTH) ? nullptr : __real_realloc(block, size);
}

char *__wrap_strdup(const char *text)
{
    return fails(VALUE) ? nullptr : __real_strdup(text);
}

char *__wrap_strndup(const char *text, size_t size)
{
    return fails(OTHER) ? nullptr : __real_strndup(text, size);
}
}
