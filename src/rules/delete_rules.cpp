/*
 * Delete rules only mark: a marked node is not written, and it stays in its place so that a re-add rule of a later
 * section can bring it back.
 */
#include "rules/delete_rules.h"

#include "ledger/tell.h"
#include "rules/rule_path.h"
#include "tree/operations.h"

static void mark(config_node *node)
{
    mark_deleted(node);
    migr_main.modified = 1;
}

/* A nested config hides a set of the same name, also where the path goes on and only the set would end it. */
static rule_step mark_in_block(rule_place *place, const void *)
{
    char        name[MIGR_NAME_SIZE];
    const char *rest;
    if (extract_first_name(place->path, name, &rest) != 0)
        return rule_step::failed;
    config_node *config = first_named(place->node->config_list, name);
    if (config && rest) {
        *place = {config, rest};
        return rule_step::deeper;
    }
    config_node *named = config ? config : first_named(place->node->set_list, name);
    if (named && !rest)
        mark(named);
    return rule_step::done;
}

int32_t __mark_node_delete(config_node *node, const char *path)
{
    if (!node)
        return 0;
    if (node->kind != MIGR_ROOT)
        return walk_rule({node, path}, mark_in_block, nullptr);
    char        name[MIGR_NAME_SIZE];
    const char *rest;
    if (extract_path_name(path, name, &rest) != 0)
        return -1;
    config_node *config = first_named(node->top_list, name);
    if (!config)
        return 0;
    if (rest)
        return walk_rule({config, rest}, mark_in_block, nullptr);
    mark(config);
    return 0;
}

int32_t process_delete(migr_list *rules)
{
    for (migr_list *link = rules->next; link != rules; link = link->next) {
        const update_rule *rule = rule_of(link);
        ledger::set_author_name(rule->text, rule->line);
        if (__mark_node_delete(&migr_main.root, rule->text) == -1)
            return -1;
    }
    return 0;
}
