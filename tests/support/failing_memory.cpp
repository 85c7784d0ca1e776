#include "support/failing_memory.h"

namespace {

size_t counted;
size_t failing; /* 0: none */
bool   failing_from_there;

bool fails()
{
    counted++;
    return failing != 0 && (failing_from_there ? counted >= failing : counted == failing);
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

} // namespace support

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
char *__real_strdup(const char *text);

void *__wrap_malloc(size_t size)
{
    return fails() ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size)
{
    return fails() ? nullptr : __real_realloc(block, size);
}

char *__wrap_strdup(const char *text)
{
    return fails() ? nullptr : __real_strdup(text);
}
}
