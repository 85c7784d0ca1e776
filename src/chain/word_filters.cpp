/*
 * The word filters that the steps to 5.0 and 5.30 share. They cut up the text that they are given and drop words
 * by how these begin; of a longer list all that is behind 1023 characters is gone.
 */
#include "chain/word_filters.h"

#include "chain/blocks.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstring>

namespace {

/* What a filter drops, and whether its first word is tested at all. */
struct dropped_words {
    const char *beginnings[2];
    bool        first_too;
};

bool is_dropped(const char *word, const dropped_words &dropped)
{
    for (const char *beginning : dropped.beginnings)
        if (beginning && strncmp(word, beginning, strlen(beginning)) == 0)
            return true;
    return false;
}

int32_t keep_words(char *output, char *words, int32_t size, const dropped_words &dropped)
{
    if (!output || !words)
        return -1;
    auto   room = static_cast<size_t>(size);
    char  *rest = nullptr;
    char  *word = strtok_r(words, " ", &rest);
    size_t length = 0;
    if (!word || strlen(word) >= room)
        return 0;
    if (!dropped.first_too || !is_dropped(word, dropped))
        length = static_cast<size_t>(stpcpy(output, word) - output);
    while ((word = strtok_r(nullptr, " ", &rest)) != nullptr) {
        if (is_dropped(word, dropped))
            continue;
        if (length + strlen(word) + 1 >= room)
            break;
        output[length++] = ' ';
        length += static_cast<size_t>(stpcpy(output + length, word) - (output + length));
    }
    return 0;
}

} // namespace

int32_t del_xml_prop_and_robot(char *output, char *words, int32_t size)
{
    return keep_words(output, words, size, {{"xml", "waf-robot-attack"}, false});
}

int32_t del_bad_robot_prop(char *output, char *words, int32_t size)
{
    return keep_words(output, words, size, {{"bad-robot", nullptr}, false});
}

int32_t del_allow_robot_prop(char *output, char *words, int32_t size)
{
    return keep_words(output, words, size, {{"allow-robot", nullptr}, true});
}

void filter_words(config_node *set, word_filter *filter)
{
    if (!set || !set->value)
        return;
    char words[1024];
    char kept[1024] = "";
    snprintf(words, sizeof words, "%s", set->value);
    filter(kept, words, sizeof kept);
    set_node_value(set, kept);
}

void filter_attack_packet_log(word_filter *filter)
{
    if (config_node *block = walk_to("log,attack-log"))
        filter_words(first_set(block, "packet-log"), filter);
}
