/*
 * The cursors and the containers of the stages. Nothing here allocates, and what
 * does not fit a container is dropped or refused as its function says.
 */
#include "walk/cursors.h"

#include "walk/toolkit.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <type_traits>

/* A macro, since a variable argument list is opened in the function that has it. */
#define COUNTED_PREDICATE(stem, slot)                                                                                  \
    int32_t stem##_in(int32_t count, ...)                                                                              \
    {                                                                                                                  \
        va_list names;                                                                                                 \
        va_start(names, count);                                                                                        \
        int32_t position = _cnd_name_in(slot, count, names);                                                           \
        va_end(names);                                                                                                 \
        return position;                                                                                               \
    }

MIGR_ASKED_SLOTS(COUNTED_PREDICATE)

/* Inline in C++; a host in C finds them here. */
#define NAMED_PREDICATE(stem, slot) stem##_is,
[[gnu::used]] static config_node *(*const asked_by_name[])(const char *) = {MIGR_ASKED_SLOTS(NAMED_PREDICATE)};
[[gnu::used]] static int32_t (*const asked_for_end[])() = {top_cfg_set_end, top_edt_set_end, sub_cfg_set_end,
                                                           sub_edt_set_end};

static const char *suffix()
{
    return reinterpret_cast<const char *>(top[0]);
}

int32_t top_suffix_is(const char *text)
{
    return suffix() && strcmp(suffix(), text) == 0;
}

int32_t top_suffix_in(int32_t count, ...)
{
    if (!suffix())
        return 0;
    va_list texts;
    va_start(texts, count);
    int32_t found = _word_in_list(suffix(), nullptr, count, texts);
    va_end(texts);
    return found;
}

int32_t top_suffix_is_empty(void)
{
    return !suffix() || *suffix() == '\0';
}

static constexpr int32_t array_room = std::extent_v<decltype(cnd_arr::nodes)>;
static constexpr int32_t map_room = std::extent_v<decltype(str_map::entries)>;

void cnd_arr_push(cnd_arr *array, config_node *node)
{
    if (array->count < array_room)
        array->nodes[array->count++] = node;
}

config_node *cnd_arr_find(const cnd_arr *array, const char *name)
{
    for (int32_t i = 0; i < array->count; i++)
        if (strcmp(array->nodes[i]->name, name) == 0)
            return array->nodes[i];
    return nullptr;
}

config_node *cnd_arr_match_value(const cnd_arr *array, const char *value)
{
    for (int32_t i = 0; i < array->count; i++)
        if (array->nodes[i]->value && strcmp(array->nodes[i]->value, value) == 0)
            return array->nodes[i];
    return nullptr;
}

void cnd_arr_attach(const cnd_arr *array, config_node *parent)
{
    for (int32_t i = 0; i < array->count; i++)
        cnd_attach(array->nodes[i], parent);
}

int32_t cnd_arr_count(const cnd_arr *array)
{
    return array->count;
}

void cnd_arr_clear(cnd_arr *array)
{
    for (int32_t i = 0; i < array->count; i++)
        array->nodes[i] = nullptr;
    array->count = 0;
}

/* Two less than the buffer holds: a pool named with 127 characters has never been found again. */
static void set_pair_text(char *target, const char *text)
{
    snprintf(target, sizeof(str_pair::key) - 1, "%s", text);
}

int32_t str_map_insert(str_map *map, const char *key, const char *value)
{
    if (!key || !value || map->count >= map_room)
        return 0;
    str_pair *pair = &map->entries[map->count++];
    set_pair_text(pair->key, key);
    set_pair_text(pair->value, value);
    return 1;
}

const char *str_map_find(const str_map *map, const char *key)
{
    if (!key)
        return nullptr;
    for (int32_t i = 0; i < map->count; i++)
        if (strcmp(map->entries[i].key, key) == 0)
            return map->entries[i].value;
    return nullptr;
}

char *strlwr(char *text)
{
    for (char *at = text; *at; at++)
        *at = static_cast<char>(tolower(static_cast<unsigned char>(*at)));
    return text;
}

void ncu_gen_unique_edt(char *target, size_t size)
{
    static constexpr size_t shortest = 16;
    static bool             seeded; /* apart from the counter: a clock may stand at 0 */
    static long             counter;
    if (size < shortest)
        return;
    counter = seeded ? counter + 1 : static_cast<long>(time(nullptr));
    seeded = true;
    snprintf(target, size - 1, "gen_edt_%ld", counter);
}
