/* One bit for each text. Nothing is ever taken out of a filter but by clearing it. */
#include "rules/text_filter.h"

#include <cstring>

namespace {

uint64_t bit_of(uint64_t hash)
{
    return (hash * 0x9e3779b97f4a7c15) >> (64 - TEXT_FILTER_BITS);
}

} // namespace

uint64_t hash_text(uint64_t before, const char *text, size_t length)
{
    for (size_t i = 0; i < length; i++)
        before = (before ^ static_cast<unsigned char>(text[i])) * 0x100000001b3;
    return before;
}

void clear_filter(text_filter *filter)
{
    memset(filter, 0, sizeof *filter);
}

void add_to_filter(text_filter *filter, uint64_t hash)
{
    uint64_t bit = bit_of(hash);
    filter->words[bit / 64] |= uint64_t{1} << bit % 64;
}

bool may_hold(const text_filter *filter, uint64_t hash)
{
    uint64_t bit = bit_of(hash);
    return filter->words[bit / 64] >> bit % 64 & 1;
}
