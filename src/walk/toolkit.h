/*
 * The node toolkit: the words in which a stage callback reads and changes the tree.
 *
 * Functions that give a node give null on failure, and report nothing further. Formats are the code's own: a text from
 * a configuration that has to go "through the format" goes through cnd_format_pass first, and in as "%s".
 */
#ifndef MIGR_WALK_TOOLKIT_H
#define MIGR_WALK_TOOLKIT_H

#include "tree/config_node.h"

#include <stdarg.h>
#include <stddef.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CND_FORMAT(format_index, first) __attribute__((format(printf, format_index, first)))
#define CND_TEXT_SIZE 4097 /* the static text buffers with their NUL */

/* Adding. Kinds 2 to 4 go to the front of the parent's list, sets to the end. A null value becomes an empty text. Null
 * for a name of 128 characters or more, a value of 4095 or more, another kind, no memory. */
config_node *cnd_add(config_node *parent, uint32_t kind, const char *name, const char *value);

/* Adds a top-level config, named at most 126 characters, value null, on the given link (a node's `next`: directly
 * behind it), or for null at the front of the main tree. */
config_node *cnd_add_path(config_node **link, const char *name);

/* Nested config, edit, set. A null parent gives null. A formatted name is cut at 127 characters; a set's name of 128 or
 * more is refused, as is a value of 4095 or more. */
config_node *cnd_add_config(config_node *parent, const char *format, ...) CND_FORMAT(2, 3);
config_node *cnd_add_edit(config_node *parent, const char *format, ...) CND_FORMAT(2, 3);
config_node *cnd_add_prop(config_node *parent, const char *name, const char *format, ...) CND_FORMAT(3, 4);

/* A set at the front; name cut at 127, value at 4095, nothing is refused. */
config_node *cnd_add_prop_front(config_node *parent, const char *name, const char *format, ...) CND_FORMAT(3, 4);

/* The first top-level config of that name, or null; cnd_open_top makes it at the front, where the running walk does not
 * see it. */
config_node *cnd_find_top(const char *name);
config_node *cnd_open_top(const char *name);

/* The parent of a node that stands in a cursor slot, else null. */
config_node *_cnd_get_parent(const config_node *node);

/* Deleting: the node in a slot; a remembered node (nulls are passed over); sets by raw name. Record, name and value of
 * a deleted node stay readable until the pass ends. */
void cnd_del(config_node *node);
void cnd_del_from(config_node *node, config_node *parent);
void cnd_del_by_name(config_node *parent, int32_t count, ...);

/* Takes a slot's node out of its list and gives it; null for a node in no slot or of another kind. */
config_node *cnd_detach(config_node *node);

/* Puts a node at the front of the parent's list for its kind. A null node is passed over, and a null parent leaves it
 * where it is. */
void cnd_attach(config_node *node, config_node *parent);

/* Detaches a slot's node and attaches it. A sentinel stays where it is, and so does a node for a null parent. */
void cnd_mv(config_node *node, config_node *parent);

/* New name, at most 126 characters. Gives the node. */
config_node *cnd_rename(config_node *node, const char *format, ...) CND_FORMAT(2, 3);

/* New value, at most 4095 characters. Gives the node, or null without memory, which leaves the old value. */
config_node *cnd_fmt_value(config_node *node, const char *format, ...) CND_FORMAT(2, 3);

/* Drops the given words from a list value; runs of blanks collapse. How many were dropped. */
int32_t cnd_filter_value(config_node *node, int32_t count, ...);

/* Appends texts to a value, each behind one blank, also to an empty or null one. */
void cnd_append_value(config_node *node, int32_t count, ...);

/* Replaces *text by a new heap text in which `inserted`, after the format pass, stands at `position`, a place inside
 * the text or its end. Nothing happens for nulls, a foreign position, or without memory. */
void realloc_insert_str(char **text, const char *position, const char *inserted);

/* The content of a file, in a static buffer, or null when it does not open, is empty, or has 4094 bytes or more. The
 * path is cut at 254 characters. `unused` is not looked at. */
char *cnd_read_prop(const char *format, int32_t unused, ...) CND_FORMAT(1, 3);

/* Queries. The _in forms give the 1-based position of the first match, else 0. */
int32_t cnd_name_is(config_node *node, const char *name);              /* an edit's name without quotes */
int32_t cnd_name_in(config_node *node, int32_t count, ...);            /* always the raw name */
int32_t _cnd_name_in(config_node *node, int32_t count, va_list names); /* an edit's name without quotes */
int32_t cnd_value_is(config_node *node, const char *text);             /* without quotes; null value: 0 */
int32_t cnd_value_in(config_node *node, int32_t count, ...);
int32_t cnd_nv_is(config_node *node, const char *name, const char *value);
int32_t cnd_is_last(const config_node *node);  /* EOB_NODE */
int32_t cnd_is_empty(const config_node *node); /* EMPTY_NODE */
int32_t cnd_is_normal(const config_node *node);

/* Name and value without quotes, in a static buffer each, valid until the function's next call. */
char *cnd_std_name(const config_node *node);
char *cnd_std_value(const config_node *node);

/* Copies a text without its quotes into `target`, 4095 bytes. 1, or 0 for null and for 4095 characters or more. */
int32_t _cnd_opt_strip_quotes(const char *text, char *target);

/* 1 when `word` is one of the strings, and *hits then counts it; `hits` may be null. */
int32_t _word_in_list(const char *word, int32_t *hits, int32_t count, va_list words);

/* What a text becomes when it is printed as a format without arguments: "%%" becomes "%", any other "%" stands as it
 * is. Writes at most size - 1 characters and a NUL, and gives `target`. */
char *cnd_format_pass(const char *text, char *target, size_t size);

#ifdef __cplusplus

/* What callbacks ask at every visit, where the compiler can see it. Nearly always the answer is no, and mostly the
 * first character says so. */
inline int32_t migr_same_name(const char *name, const char *other)
{
    return name[0] == other[0] && strncmp(name, other, MIGR_NAME_SIZE) == 0;
}

inline const char *migr_compared_name(const config_node *node)
{
    return node->kind == MIGR_EDIT ? cnd_std_name(node) : node->name;
}

inline int32_t cnd_name_is(config_node *node, const char *name)
{
    return migr_same_name(migr_compared_name(node), name);
}

inline int32_t cnd_nv_is(config_node *node, const char *name, const char *value)
{
    return cnd_name_is(node, name) && cnd_value_is(node, value);
}

inline int32_t cnd_is_last(const config_node *node)
{
    return node->kind == MIGR_END;
}

inline int32_t cnd_is_empty(const config_node *node)
{
    return node->kind == MIGR_EMPTY;
}

inline int32_t cnd_is_normal(const config_node *node)
{
    return !cnd_is_last(node) && !cnd_is_empty(node);
}

} /* extern "C" */

/* The functions over a list of texts for C++, which count the texts themselves. */
#define COUNTED_TEXTS(result, function)                                                                                \
    template <typename... text> result function(config_node *node, const char *first, text... further)                 \
    {                                                                                                                  \
        return function(node, 1 + static_cast<int32_t>(sizeof...(further)), first,                                     \
                        static_cast<const char *>(further)...);                                                        \
    }

COUNTED_TEXTS(void, cnd_del_by_name)
COUNTED_TEXTS(int32_t, cnd_filter_value)
COUNTED_TEXTS(void, cnd_append_value)
COUNTED_TEXTS(int32_t, cnd_name_in)
COUNTED_TEXTS(int32_t, cnd_value_in)

#undef COUNTED_TEXTS
#endif

#endif
