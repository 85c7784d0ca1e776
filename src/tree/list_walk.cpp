/*
 * One memory for all walks, since one operation runs at a time. A link that is remembered is searched from, and dropped
 * as soon as a change could have left it outside its list.
 */
#include "tree/list_walk.h"

walked_list *innermost_list;

namespace {

/* The list that was appended to last, and a link of it near its end. */
struct list_end {
    config_node **list;
    config_node **link;
};

list_end appended;

/* Taken out last, and not linked again since. */
const config_node *loose;

config_node **find_from(config_node **link, const config_node *node)
{
    while (*link && *link != node)
        link = &(*link)->next;
    return *link ? link : nullptr;
}

/* A node that is linked while it still stands in a list takes the rest of that list along: what was remembered there
 * may be in no list any more. */
void forget_links()
{
    appended = {};
    for (walked_list *walked = innermost_list; walked; walked = walked->outer)
        walked->link = walked->list;
}

} // namespace

void forget_walks()
{
    innermost_list = nullptr;
    appended = {};
    loose = nullptr;
}

config_node **link_to(config_node **list, const config_node *node)
{
    for (const walked_list *walked = innermost_list; walked; walked = walked->outer) {
        if (walked->node != node || walked->list != list)
            continue;
        if (walked->gone)
            return nullptr;
        if (config_node **link = find_from(walked->link, node))
            return link;
    }
    return find_from(list, node);
}

config_node **end_of(config_node **list)
{
    config_node **end = appended.list == list ? appended.link : list;
    while (*end)
        end = &(*end)->next;
    return end;
}

void note_linking(const config_node *node)
{
    if (!innermost_list)
        return;
    if (node->next && node != loose)
        forget_links();
    loose = nullptr;
    for (walked_list *walked = innermost_list; walked; walked = walked->outer)
        walked->gone = false;
}

void note_appended(config_node **list, config_node **link)
{
    if (innermost_list)
        appended = {list, link};
}

void note_unlinked(config_node **list, config_node **link, config_node *node)
{
    if (!innermost_list)
        return;
    loose = node;
    if (appended.list == list && appended.link == &node->next)
        appended.link = link;
    for (walked_list *walked = innermost_list; walked; walked = walked->outer) {
        if (walked->list != list)
            continue;
        if (walked->node == node) {
            walked->link = link;
            walked->gone = true;
        } else if (walked->link == &node->next) {
            walked->link = link;
        }
    }
}
