/*
 * A set of texts that may say yes to one it does not hold, and never no to one it holds. It spares a search through a
 * long list where most texts are in no list, and needs no memory of its own. Valid when zero-filled.
 */
#ifndef MIGR_RULES_TEXT_FILTER_H
#define MIGR_RULES_TEXT_FILTER_H

#include <stddef.h>
#include <stdint.h>

constexpr uint32_t TEXT_FILTER_BITS = 22; /* a hundred thousand texts fill some two percent */

struct text_filter {
    uint64_t words[size_t{1} << (TEXT_FILTER_BITS - 6)];
};

constexpr uint64_t NO_TEXT_HASH = 0xcbf29ce484222325;

/* The hash of a text that goes on behind one of hash `before`. */
uint64_t hash_text(uint64_t before, const char *text, size_t length);

void clear_filter(text_filter *filter);
void add_to_filter(text_filter *filter, uint64_t hash);
bool may_hold(const text_filter *filter, uint64_t hash);

#endif
