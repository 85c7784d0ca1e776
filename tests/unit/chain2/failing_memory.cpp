#include "failing_memory.h"

#include <cstddef>

namespace {

struct Fault {
    bool armed;
    bool all_behind;
    int  number;
    int  asked;
};

Fault nodes;
Fault values;
Fault growth;

bool fails(Fault *fault)
{
    if (!fault->armed)
        return false;
    int now = ++fault->asked;
    return now == fault->number || (fault->all_behind && fault->number > 0 && now > fault->number);
}

int with_fault(Fault *fault, int number, const std::function<void()> &work, bool all_behind)
{
    *fault = {true, all_behind, number, 0};
    work();
    fault->armed = false;
    return fault->asked;
}

} // namespace

extern "C" {

void *__real_calloc(size_t count, size_t size);
char *__real_strdup(const char *text);
void *__real_realloc(void *block, size_t size);

void *__wrap_calloc(size_t count, size_t size)
{
    return fails(&nodes) ? nullptr : __real_calloc(count, size);
}

char *__wrap_strdup(const char *text)
{
    return fails(&values) ? nullptr : __real_strdup(text);
}

void *__wrap_realloc(void *block, size_t size)
{
    return fails(&growth) ? nullptr : __real_realloc(block, size);
}
}

int with_failing_nodes(int number, const std::function<void()> &work, bool all_behind)
{
    return with_fault(&nodes, number, work, all_behind);
}

int with_failing_values(int number, const std::function<void()> &work, bool all_behind)
{
    return with_fault(&values, number, work, all_behind);
}

int with_failing_growth(int number, const std::function<void()> &work, bool all_behind)
{
    return with_fault(&growth, number, work, all_behind);
}
