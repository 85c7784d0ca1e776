/*
 * Values are changed in place of the old ones, or not at all: a property that cannot be applied leaves the value, and
 * fails the rule. What a list says in its last word of one letter is lost here, as it always was.
 */
#include "rules/properties.h"

#include "rules/rules.h"
#include "tree/line_words.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/* ---- Numbers and texts ---- */

int32_t clamp_number(config_node *set, const char *limits)
{
    const char *comma = strchr(limits, ',');
    if (!comma)
        return -1;
    int32_t lowest = number_of(limits);
    int32_t highest = number_of(comma + 1);
    int32_t number = number_of(set->value);
    if (number >= lowest && number <= highest)
        return 0;
    char text[16];
    snprintf(text, sizeof text, "%d", number < lowest ? lowest : highest);
    return set_node_value(set, text);
}

/* Cuts behind the opening quote and `limit` characters, and closes the quote there. A limit of -1 leaves the closing
 * quote alone, and below that there is no place for it. */
int32_t cut_text(config_node *set, const char *limit)
{
    int64_t most = number_of(limit);
    auto    length = static_cast<int64_t>(strlen(set->value)) - 2;
    if (most < -1 || length <= most)
        return 0;
    char *before = begin_value_edit(set);
    set->value[most + 1] = '"';
    set->value[most + 2] = '\0';
    end_value_edit(set, before);
    return 0;
}

/* ---- Words ---- */

rule_pair *pair_of(migr_list *link)
{
    return reinterpret_cast<rule_pair *>(link);
}

value_word *word_of(migr_list *link)
{
    return reinterpret_cast<value_word *>(link);
}

/* "old,new", without the brackets. */
int32_t add_pair(const char *old_start, const char *comma, const char *end, migr_list *pairs)
{
    auto *pair = static_cast<rule_pair *>(malloc(sizeof(rule_pair)));
    if (!pair)
        return -1;
    copy_cut(pair->old_word, sizeof pair->old_word, old_start, static_cast<size_t>(comma - old_start));
    copy_cut(pair->new_word, sizeof pair->new_word, comma + 1, static_cast<size_t>(end - comma - 1));
    migr_list_add_tail(&pair->link, pairs);
    return comma == old_start ? -1 : 0;
}

int32_t add_word(const char *start, size_t length, migr_list *words)
{
    if (length > MIGR_LINE_SIZE - 1)
        length = MIGR_LINE_SIZE - 1;
    auto *word = static_cast<value_word *>(malloc(sizeof(value_word) + length + 1));
    if (!word)
        return -1;
    word->text = reinterpret_cast<char *>(word + 1);
    memcpy(word->text, start, length);
    word->text[length] = '\0';
    migr_list_add_tail(&word->link, words);
    return 0;
}

/* A text that is put together in a buffer of MIGR_LINE_SIZE bytes; what does not fit is cut. */
struct word_output {
    char  *text;
    size_t length;
};

void put_word(word_output *output, const char *word)
{
    size_t room = MIGR_LINE_SIZE - 1 - output->length;
    size_t length = strnlen(word, room);
    memcpy(output->text + output->length, word, length);
    output->length += length;
    if (output->length < MIGR_LINE_SIZE - 1)
        output->text[output->length++] = ' ';
    output->text[output->length] = '\0';
}

/* What stands for a word: its replacement, empty when it goes, or the word itself. */
const char *replacement_of(const char *word, const migr_list *pairs)
{
    for (migr_list *link = pairs->next; link != pairs; link = link->next)
        if (strcmp(pair_of(link)->old_word, word) == 0)
            return pair_of(link)->new_word;
    return word;
}

/* A value of which no word is left stays as it is, and its set goes. */
int32_t store_words(config_node *set, word_output *output)
{
    if (output->length == 0) {
        mark_deleted(set);
        migr_main.modified = 1;
        return 0;
    }
    if (output->text[output->length - 1] == ' ')
        output->text[output->length - 1] = '\0';
    return set_node_value(set, output->text);
}

int32_t replace_words(config_node *set, const migr_list *pairs, const migr_list *words)
{
    word_output output = {static_cast<char *>(malloc(MIGR_LINE_SIZE)), 0};
    if (!output.text)
        return -1;
    for (migr_list *link = words->next; link != words; link = link->next) {
        const char *word = replacement_of(word_of(link)->text, pairs);
        if (*word != '\0')
            put_word(&output, word);
    }
    int32_t result = store_words(set, &output);
    free(output.text);
    return result;
}

int32_t replace_listed_words(config_node *set, const char *text)
{
    migr_list pairs;
    migr_list words;
    migr_list_init(&pairs);
    migr_list_init(&words);
    int32_t result = -1;
    if (get_all_rule_list(text, &pairs) == 0 && get_all_node_value_list(set->value, &words) == 0)
        result = replace_words(set, &pairs, &words);
    free_rule_value_list(&pairs, &words);
    return result;
}

/* An element's link comes first in it, pair or word. */
void free_list(migr_list *list)
{
    while (list->next != list) {
        migr_list *link = list->next;
        migr_list_del(link);
        free(link);
    }
}

struct property_type {
    const char *word;
    int32_t (*apply)(config_node *set, const char *arguments);
};

/* A property's type is told by how it begins: "integer:" is a number too. */
constexpr property_type property_types[] = {
    {"char", cut_text},
    {"int", clamp_number},
    {"enum", replace_listed_words},
};

} // namespace

int32_t __check_property(config_node *set, const char *property)
{
    if (!set || !set->value || !property)
        return -1;
    if (*property == '\0')
        return 0;
    const char *colon = strchr(property, ':');
    if (!colon)
        return -1;
    for (const property_type &type : property_types)
        if (strncmp(property, type.word, strlen(type.word)) == 0)
            return type.apply(set, colon + 1);
    return 0;
}

int32_t get_all_rule_list(const char *text, migr_list *pairs)
{
    if (!text || !pairs)
        return -1;
    for (text = skip_white(text); *text != '\0'; text = skip_white(text)) {
        const char *comma = *text == '<' ? strchr(text, ',') : nullptr;
        const char *end = comma ? strchr(comma, '>') : nullptr;
        if (!end || add_pair(text + 1, comma, end, pairs) != 0)
            return -1;
        /* One character parts two pairs, and nobody looks at it: a blank ahead of a comma is that character. */
        text = end[1] != '\0' ? end + 2 : end + 1;
    }
    return 0;
}

/* A word of one character at the very end of the value is not seen. Rules are written with that in mind. */
int32_t get_all_node_value_list(const char *value, migr_list *words)
{
    if (!value || !words)
        return -1;
    for (const char *start = skip_white(value); *start != '\0'; start = skip_white(start)) {
        const char *end = start + 1;
        while (*end != '\0' && !is_white(*end))
            end++;
        if (*end == '\0' && end == start + 1)
            return 0;
        if (add_word(start, static_cast<size_t>(end - start), words) != 0)
            return -1;
        start = end;
    }
    return 0;
}

void free_rule_value_list(migr_list *pairs, migr_list *words)
{
    free_list(pairs);
    free_list(words);
}
