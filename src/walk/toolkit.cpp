/*
 * The node toolkit. A node's parent is known by the cursors alone, so what is not in a slot can be deleted or
 * moved only with its parent named. The three static buffers are reused by every call.
 */
#include "walk/toolkit.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "tree/config_text.h"
#include "tree/make_node.h"
#include "tree/node_store.h"
#include "tree/operations.h"
#include "walk/slots.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <openssl/crypto.h>

namespace {

constexpr size_t short_name_room = 127;     /* some names end one character earlier than the record allows */
constexpr size_t compared = MIGR_NAME_SIZE; /* characters of a value that count in a comparison */

char sbuf_std_edt[CND_TEXT_SIZE];
char sbuf_std_value[CND_TEXT_SIZE];
char subf_prop_file[CND_TEXT_SIZE];

/* Inline in C++; a host in C finds them here. */
[[gnu::used]] int32_t (*const asked_of_two[])(config_node *, const char *) = {cnd_name_is};
[[gnu::used]] int32_t (*const asked_of_three[])(config_node *, const char *, const char *) = {cnd_nv_is};
[[gnu::used]] int32_t (*const asked_of_one[])(const config_node *) = {cnd_is_last, cnd_is_empty, cnd_is_normal};

} // namespace

config_node *cnd_add(config_node *parent, uint32_t kind, const char *name, const char *value)
{
    if (!parent || !fits_node(name, value))
        return nullptr;
    config_node **list = child_list(parent, kind);
    config_node  *node = list ? make_node(kind, name, value ? value : "") : nullptr;
    if (!node)
        return nullptr;
    if (kind == MIGR_SET)
        add_to_tail(list, node);
    else
        push_front(list, node);
    return node;
}

config_node *cnd_add_path(config_node **link, const char *name)
{
    char cut[short_name_room];
    snprintf(cut, sizeof cut, "%s", name);
    config_node *node = make_node(MIGR_TOP, cut, nullptr);
    if (!node)
        return nullptr;
    push_front(link ? link : &migr_main.root.top_list, node);
    return node;
}

__attribute__((format(printf, 3, 0))) static config_node *add_formatted(config_node *parent, uint32_t kind,
                                                                        const char *format, va_list arguments)
{
    char name[MIGR_NAME_SIZE];
    vsnprintf(name, sizeof name, format, arguments);
    return cnd_add(parent, kind, name, nullptr);
}

config_node *cnd_add_config(config_node *parent, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    config_node *node = add_formatted(parent, MIGR_CONFIG, format, arguments);
    va_end(arguments);
    return node;
}

config_node *cnd_add_edit(config_node *parent, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    config_node *node = add_formatted(parent, MIGR_EDIT, format, arguments);
    va_end(arguments);
    return node;
}

config_node *cnd_add_prop(config_node *parent, const char *name, const char *format, ...)
{
    char    value[MIGR_VALUE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(value, sizeof value, format, arguments);
    va_end(arguments);
    config_node *node = cnd_add(parent, MIGR_SET, name, value);
    OPENSSL_cleanse(value, strlen(value));
    return node;
}

config_node *cnd_add_prop_front(config_node *parent, const char *name, const char *format, ...)
{
    if (!parent)
        return nullptr;
    char    value[MIGR_VALUE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(value, sizeof value, format, arguments);
    va_end(arguments);
    config_node *node = make_node(MIGR_SET, name, value);
    OPENSSL_cleanse(value, strlen(value));
    if (node)
        push_front(&parent->set_list, node);
    return node;
}

config_node *cnd_find_top(const char *name)
{
    return first_named(migr_main.root.top_list, name);
}

config_node *cnd_open_top(const char *name)
{
    config_node *node = cnd_find_top(name);
    return node ? node : cnd_add_path(nullptr, name);
}

config_node *_cnd_get_parent(const config_node *node)
{
    if (node == top[1])
        return &migr_main.root;
    if (node == top[2] || node == top[3])
        return top[1];
    if (node == top[4] || node == sub[1])
        return top[2];
    if (node == sub[2] || node == sub[3])
        return sub[1];
    return node == sub[4] ? sub[2] : nullptr;
}

void cnd_del(config_node *node)
{
    cfg_del_conf(node, _cnd_get_parent(node));
}

void cnd_del_from(config_node *node, config_node *parent)
{
    cfg_del_conf(node, parent);
}

void cnd_del_by_name(config_node *parent, int32_t count, ...)
{
    va_list names;
    va_start(names, count);
    for (config_node **link = &parent->set_list; *link;) {
        va_list again;
        va_copy(again, names);
        if (_word_in_list((*link)->name, nullptr, count, again))
            link = delete_at(link, &parent->set_list, parent);
        else
            link = &(*link)->next;
        va_end(again);
    }
    va_end(names);
}

config_node *cnd_detach(config_node *node)
{
    config_node  *parent = _cnd_get_parent(node);
    config_node **list = parent ? child_list(parent, node->kind) : nullptr;
    if (!list)
        return nullptr;
    unlink_node(list, node);
    return node;
}

void cnd_attach(config_node *node, config_node *parent)
{
    config_node **list = node && parent ? child_list(parent, node->kind) : nullptr;
    if (list)
        push_front(list, node);
}

void cnd_mv(config_node *node, config_node *parent)
{
    if (parent && cnd_is_normal(node))
        cnd_attach(cnd_detach(node), parent);
}

config_node *cnd_rename(config_node *node, const char *format, ...)
{
    char    name[short_name_room];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(name, sizeof name, format, arguments);
    va_end(arguments);
    set_node_name(node, name);
    return node;
}

config_node *cnd_fmt_value(config_node *node, const char *format, ...)
{
    char    value[MIGR_VALUE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(value, sizeof value, format, arguments);
    va_end(arguments);
    int32_t result = set_node_value(node, value);
    OPENSSL_cleanse(value, strlen(value));
    return result == 0 ? node : nullptr;
}

/* Drops listed words from `words`, a list separated by blanks, in place: what is kept never outgrows what was there. */
static int32_t drop_words(char *words, int32_t count, va_list listed)
{
    int32_t dropped = 0;
    char   *end = words;
    char   *rest = words;
    while (char *word = strsep(&rest, " ")) {
        va_list again;
        va_copy(again, listed);
        if (*word != '\0' && !_word_in_list(word, &dropped, count, again)) {
            if (end != words)
                *end++ = ' ';
            size_t length = strlen(word);
            memmove(end, word, length);
            end += length;
        }
        va_end(again);
    }
    *end = '\0';
    return dropped;
}

int32_t cnd_filter_value(config_node *node, int32_t count, ...)
{
    char *kept = node->value ? strdup(node->value) : nullptr;
    if (!kept)
        return 0;
    va_list words;
    va_start(words, count);
    int32_t dropped = drop_words(kept, count, words);
    va_end(words);
    give_node_value(node, kept);
    return dropped;
}

void cnd_append_value(config_node *node, int32_t count, ...)
{
    va_list texts;
    va_list sized;
    va_start(texts, count);
    va_copy(sized, texts);
    size_t size = (node->value ? strlen(node->value) : 0) + 1;
    for (int32_t i = 0; i < count; i++)
        size += strlen(va_arg(sized, const char *)) + 1;
    va_end(sized);
    if (char *value = static_cast<char *>(malloc(size))) {
        char *end = stpcpy(value, node->value ? node->value : "");
        for (int32_t i = 0; i < count; i++) {
            *end++ = ' ';
            end = stpcpy(end, va_arg(texts, const char *));
        }
        give_node_value(node, value);
    }
    va_end(texts);
}

void realloc_insert_str(char **text, const char *position, const char *inserted)
{
    if (!text || !*text || !position || !inserted)
        return;
    size_t length = strlen(*text);
    if (position < *text || position > *text + length)
        return;
    size_t room = strlen(inserted) + 1;
    char  *grown = static_cast<char *>(malloc(length + room));
    if (!grown)
        return;
    auto ahead = static_cast<size_t>(position - *text);
    memcpy(grown, *text, ahead);
    cnd_format_pass(inserted, grown + ahead, room);
    strcat(grown + ahead, position);
    free(*text);
    *text = grown;
}

char *cnd_read_prop(const char *format, int32_t unused, ...)
{
    static constexpr size_t too_large = MIGR_VALUE_SIZE - 2;
    char                    path[255];
    va_list                 arguments;
    va_start(arguments, unused);
    vsnprintf(path, sizeof path, format, arguments);
    va_end(arguments);
    FILE *stream = fopen(path, "rte");
    if (!stream)
        return nullptr;
    setvbuf(stream, nullptr, _IONBF, 0); /* the file may be a key: no second copy of it */
    size_t got = fread(subf_prop_file, 1, CND_TEXT_SIZE - 1, stream);
    fclose(stream);
    subf_prop_file[got] = '\0';
    if (got > 0 && got < too_large) {
        if (ledger::is_watched())
            ledger::tell_read_file(path);
        return subf_prop_file;
    }
    OPENSSL_cleanse(subf_prop_file, got);
    return nullptr;
}

int32_t cnd_name_in(config_node *node, int32_t count, ...)
{
    int32_t position = 0;
    va_list names;
    va_start(names, count);
    for (int32_t i = 1; i <= count && position == 0; i++)
        if (strcmp(node->name, va_arg(names, const char *)) == 0)
            position = i;
    va_end(names);
    return position;
}

int32_t _cnd_name_in(config_node *node, int32_t count, va_list names)
{
    const char *name = migr_compared_name(node);
    for (int32_t i = 1; i <= count; i++)
        if (migr_same_name(name, va_arg(names, const char *)))
            return i;
    return 0;
}

int32_t cnd_value_is(config_node *node, const char *text)
{
    char bare[CND_TEXT_SIZE];
    return _cnd_opt_strip_quotes(node->value, bare) && strncmp(bare, text, compared) == 0;
}

int32_t cnd_value_in(config_node *node, int32_t count, ...)
{
    char bare[CND_TEXT_SIZE];
    if (!_cnd_opt_strip_quotes(node->value, bare))
        return 0;
    int32_t position = 0;
    va_list texts;
    va_start(texts, count);
    for (int32_t i = 1; i <= count && position == 0; i++)
        if (strcmp(bare, va_arg(texts, const char *)) == 0)
            position = i;
    va_end(texts);
    return position;
}

char *cnd_std_name(const config_node *node)
{
    const char *name = node->name;
    size_t      length = strlen(name);
    if (name[0] == '"') {
        /* The last character goes whatever it is. */
        name++;
        length -= length > 1 ? 2 : 1;
    }
    memcpy(sbuf_std_edt, name, length);
    sbuf_std_edt[length] = '\0';
    return sbuf_std_edt;
}

char *cnd_std_value(const config_node *node)
{
    const char *value = node->value ? node->value : "";
    size_t      length = strlen(value);
    if (value[0] == '"') {
        const char *last_quote = strrchr(++value, '"');
        length = last_quote ? static_cast<size_t>(last_quote - value) : length - 1;
    }
    if (length > CND_TEXT_SIZE - 1)
        length = CND_TEXT_SIZE - 1;
    memcpy(sbuf_std_value, value, length);
    sbuf_std_value[length] = '\0';
    return sbuf_std_value;
}

int32_t _cnd_opt_strip_quotes(const char *text, char *target)
{
    static constexpr size_t too_long = MIGR_VALUE_SIZE - 1;
    size_t                  length = text ? strlen(text) : too_long;
    if (length >= too_long)
        return 0;
    if (text[0] != '"') {
        memcpy(target, text, length + 1);
        return 1;
    }
    text++;
    length--;
    while (length > 0 && (text[length - 1] == '"' || text[length - 1] == '\n'))
        length--;
    memcpy(target, text, length);
    target[length] = '\0';
    return 1;
}

int32_t _word_in_list(const char *word, int32_t *hits, int32_t count, va_list words)
{
    for (int32_t i = 0; i < count; i++) {
        if (strcmp(word, va_arg(words, const char *)) != 0)
            continue;
        if (hits)
            (*hits)++;
        return 1;
    }
    return 0;
}

char *cnd_format_pass(const char *text, char *target, size_t size)
{
    size_t length = 0;
    for (; *text != '\0' && length + 1 < size; text++) {
        if (text[0] == '%' && text[1] == '%')
            text++;
        target[length++] = *text;
    }
    target[length] = '\0';
    return target;
}
