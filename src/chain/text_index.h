/*
 * An index over texts, for migrations that look one text up for each entry of another list. Texts and items belong to
 * whoever adds them and must outlive the index. Of equal texts the one added first is found first.
 */
#ifndef MIGR_CHAIN_TEXT_INDEX_H
#define MIGR_CHAIN_TEXT_INDEX_H

#include "tree/stack.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

template <typename item> struct indexed_text {
    uint64_t    beginning; /* beginning_of(text): most texts differ by it, and the text itself lies elsewhere */
    const char *text;
    item       *value;
    size_t      position; /* when it was added */
    size_t      taken;    /* of the first of equal texts: how many of them take_next has given */
};

/* Valid when zero-filled. */
template <typename item> struct text_index {
    stack<indexed_text<item>> texts;
};

/* The first eight bytes, as a number that stands to those of other texts as strcmp has it. */
inline uint64_t beginning_of(const char *text)
{
    uint64_t beginning = 0;
    for (size_t i = 0; i < sizeof beginning; i++) {
        beginning = beginning << 8 | static_cast<unsigned char>(*text);
        text += *text ? 1 : 0;
    }
    return beginning;
}

template <typename item> int compare_text(const indexed_text<item> &one, uint64_t beginning, const char *text)
{
    if (one.beginning != beginning)
        return one.beginning < beginning ? -1 : 1;
    return strcmp(one.text, text);
}

/* 0, or -1 when there is no memory. */
template <typename item> int add_text(text_index<item> *index, const char *text, item *value)
{
    return push_record(&index->texts, indexed_text<item>{beginning_of(text), text, value, index->texts.count, 0});
}

/* To be called once, when all texts are added. */
template <typename item> void sort_texts(text_index<item> *index)
{
    using entry = indexed_text<item>;
    std::sort(index->texts.records, index->texts.records + index->texts.count, [](const entry &a, const entry &b) {
        int order = compare_text(a, b.beginning, b.text);
        return order < 0 || (order == 0 && a.position < b.position);
    });
}

/* The first of the texts that equal `text`, or null. */
template <typename item> indexed_text<item> *find_text(const text_index<item> *index, const char *text)
{
    using entry = indexed_text<item>;
    entry   *end = index->texts.records + index->texts.count;
    uint64_t beginning = beginning_of(text);
    entry   *found = std::lower_bound(index->texts.records, end, text,
                                      [=](const entry &a, const char *b) { return compare_text(a, beginning, b) < 0; });
    return found != end && strcmp(found->text, text) == 0 ? found : nullptr;
}

/* The item of the first text that equals `text` and has not been taken yet, or null. It is taken then. */
template <typename item> item *take_next(text_index<item> *index, const char *text)
{
    indexed_text<item> *first = find_text(index, text);
    if (!first)
        return nullptr;
    indexed_text<item> *next = first + first->taken;
    if (next == index->texts.records + index->texts.count || strcmp(next->text, text) != 0)
        return nullptr;
    first->taken++;
    return next->value;
}

template <typename item> void free_index(text_index<item> *index)
{
    free_stack(&index->texts);
}

#endif
