/*
 * The walk's cursors, and the small containers in which callbacks keep nodes and names between visits.
 *
 * A callback gets no node as an argument: it asks which node stands at which depth. Which those are says slots.h.
 */
#ifndef MIGR_WALK_CURSORS_H
#define MIGR_WALK_CURSORS_H

#include "walk/slots.h"
#include "walk/toolkit.h"

#include <stddef.h>

#ifdef __cplusplus
#include <initializer_list>
extern "C" {
#endif

/*
 * _is: the slot's node when its name matches, else null. _in: 1-based position of the first of `count` names that
 * matches, else 0. An edit's name is compared without its quotes, at most 128 characters count.
 */
config_node *top_cfg_is(const char *name);
int32_t      top_cfg_in(int32_t count, ...);
config_node *top_edt_is(const char *name);
int32_t      top_edt_in(int32_t count, ...);
config_node *top_cfg_set_is(const char *name);
int32_t      top_cfg_set_in(int32_t count, ...);
config_node *top_edt_set_is(const char *name);
int32_t      top_edt_set_in(int32_t count, ...);
config_node *sub_cfg_is(const char *name);
int32_t      sub_cfg_in(int32_t count, ...);
config_node *sub_edt_is(const char *name);
int32_t      sub_edt_in(int32_t count, ...);
config_node *sub_cfg_set_is(const char *name);
int32_t      sub_cfg_set_in(int32_t count, ...);
config_node *sub_edt_set_is(const char *name);
int32_t      sub_edt_set_in(int32_t count, ...);

/* Whether the set list at that depth has just ended. */
int32_t top_cfg_set_end(void);
int32_t top_edt_set_end(void);
int32_t sub_cfg_set_end(void);
int32_t sub_edt_set_end(void);

/* The suffix. top_suffix_in gives 1 for any match: unlike the other _in forms it does not tell which. */
int32_t top_suffix_is(const char *text);
int32_t top_suffix_in(int32_t count, ...);
int32_t top_suffix_is_empty(void);

/* Up to 64 nodes, in order of pushing. Valid when zero-filled. */
typedef struct cnd_arr cnd_arr;
struct cnd_arr {
    config_node *nodes[64];
    int32_t      count;
};

void         cnd_arr_push(cnd_arr *array, config_node *node);              /* a 65th is dropped without a word */
config_node *cnd_arr_find(const cnd_arr *array, const char *name);         /* by raw name, or null */
config_node *cnd_arr_match_value(const cnd_arr *array, const char *value); /* by raw value, or null */
void         cnd_arr_attach(const cnd_arr *array, config_node *parent);    /* each to the front: reverse order */
int32_t      cnd_arr_count(const cnd_arr *array);
void         cnd_arr_clear(cnd_arr *array); /* forgets the nodes */

/* Up to 32 pairs of texts, each cut at 126 characters, in order of insertion. Valid when zero-filled. */
typedef struct str_pair str_pair;
struct str_pair {
    char key[128];
    char value[128];
};

typedef struct str_map str_map;
struct str_map {
    str_pair entries[32];
    int32_t  count;
};

int32_t     str_map_insert(str_map *map, const char *key, const char *value); /* 1, or 0 when full or for a null */
const char *str_map_find(const str_map *map, const char *key); /* the first of that key, or null; owned by the map */

/* Lowers a text in place and gives it back. */
char *strlwr(char *text);

/* Writes an edit name that is new in this process, "gen_edt_%ld", in at most size - 2 characters. Nothing for a size of
 * 15 or less. */
void ncu_gen_unique_edt(char *target, size_t size);

#ifdef __cplusplus

/* The slots that have predicates, and the stems of these. */
#define MIGR_ASKED_SLOTS(use)                                                                                          \
    use(top_cfg, top[1]) use(top_edt, top[2]) use(top_cfg_set, top[3]) use(top_edt_set, top[4]) use(sub_cfg, sub[1])   \
        use(sub_edt, sub[2]) use(sub_cfg_set, sub[3]) use(sub_edt_set, sub[4])

/* The predicates of one slot, where the compiler can see them: callbacks ask them at every visit. The _in form for C++
 * counts the names itself. */
#define SLOT_PREDICATES(stem, slot)                                                                                    \
    inline config_node *stem##_is(const char *name)                                                                    \
    {                                                                                                                  \
        return cnd_name_is(slot, name) ? slot : nullptr;                                                               \
    }                                                                                                                  \
    extern "C++" template <typename... text> int32_t stem##_in(const char *first, text... further)                     \
    {                                                                                                                  \
        return migr_place_of_name(slot, {first, static_cast<const char *>(further)...});                               \
    }

extern "C++" inline int32_t migr_place_of_name(const config_node *node, std::initializer_list<const char *> names)
{
    const char *name = migr_compared_name(node);
    int32_t     place = 0;
    for (const char *asked : names) {
        place++;
        if (migr_same_name(name, asked))
            return place;
    }
    return 0;
}

MIGR_ASKED_SLOTS(SLOT_PREDICATES)

#undef SLOT_PREDICATES

inline int32_t top_cfg_set_end(void)
{
    return cnd_is_last(top[3]);
}

inline int32_t top_edt_set_end(void)
{
    return cnd_is_last(top[4]);
}

inline int32_t sub_cfg_set_end(void)
{
    return cnd_is_last(sub[3]);
}

inline int32_t sub_edt_set_end(void)
{
    return cnd_is_last(sub[4]);
}

} /* extern "C" */

/* The same for the suffix. */
template <typename... text> int32_t top_suffix_in(const char *first, text... further)
{
    return top_suffix_in(1 + static_cast<int32_t>(sizeof...(further)), first, static_cast<const char *>(further)...);
}
#endif

#endif
