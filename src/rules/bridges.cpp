/*
 * Before 4.0 an appliance's bridges were part of the configuration, and virtual servers could stand on them. 4.0 builds
 * its bridges itself: they do not come along, and neither do the servers that stood on one, nor, in transparent mode,
 * the policies. All these are hidden rather than marked deleted, so that no re-add rule brings them back.
 */
#include "rules/rule_path.h"
#include "rules/rules.h"
#include "rules/text_filter.h"
#include "tree/operations.h"

#include <cstdlib>
#include <cstring>

notp_bridge_state notp_bridge_main;

namespace {

/* The names in the list of bridges: an old file may have as many virtual servers as bridges, of which few match. */
text_filter bridge_names;

uint64_t hash_of(const char *name)
{
    return hash_text(NO_TEXT_HASH, name, strlen(name));
}

void add_bridge(config_node *node)
{
    auto *bridge = static_cast<notp_bridge *>(malloc(sizeof(notp_bridge)));
    if (!bridge)
        return;
    *bridge = {notp_bridge_main.bridges, node};
    notp_bridge_main.bridges = bridge;
    add_to_filter(&bridge_names, hash_of(node->name));
}

bool is_bridge(const char *name)
{
    if (!name || !may_hold(&bridge_names, hash_of(name)))
        return false;
    const notp_bridge *bridge = notp_bridge_main.bridges;
    while (bridge && strcmp(bridge->node->name, name) != 0)
        bridge = bridge->next;
    return bridge != nullptr;
}

void hide_bridges(config_node *config)
{
    mark_hidden(config);
    for (config_node *edit = config->edit_list; edit; edit = edit->next)
        add_bridge(edit);
}

void note_mode(config_node *config)
{
    for (const config_node *set = config->set_list; set; set = set->next)
        if (strcmp(set->name, "opmode") == 0 && set->value && strcmp(set->value, "transparent") == 0)
            notp_bridge_main.transparent = 1;
}

bool stands_on_bridge(const config_node *server)
{
    for (const config_node *set = server->set_list; set; set = set->next)
        if (strcmp(set->name, "interface") == 0 && is_bridge(set->value))
            return true;
    return false;
}

void hide_servers(config_node *config)
{
    for (config_node *edit = config->edit_list; edit; edit = edit->next)
        if (stands_on_bridge(edit))
            mark_hidden(edit);
}

void hide_policies(config_node *config)
{
    if (notp_bridge_main.transparent)
        mark_hidden(config);
}

struct bridge_action {
    const char *name;
    void (*act)(config_node *config);
};

constexpr bridge_action bridge_actions[] = {
    {"system,bridge", hide_bridges},
    {"system,settings", note_mode},
    {"server-policy,vserver", hide_servers},
    {"server-policy,policy", hide_policies},
};

} // namespace

/* 4.0 builds its bridges itself, so they do not come along, nor what stood on them. One pass in the order of the file:
 * a virtual server ahead of the bridges is not found to stand on one, and a policy ahead of the settings is not found
 * to be transparent. Old files depend on it. */
void find_notp_bridge_node(config_node *node, int32_t)
{
    clear_filter(&bridge_names);
    for (const notp_bridge *bridge = notp_bridge_main.bridges; bridge; bridge = bridge->next)
        add_to_filter(&bridge_names, hash_of(bridge->node->name));
    for (config_node *config = node->top_list; config; config = config->next)
        for (const bridge_action &action : bridge_actions)
            if (strcmp(config->name, action.name) == 0)
                action.act(config);
}

void free_notp_bridges(void)
{
    while (notp_bridge *bridge = notp_bridge_main.bridges) {
        notp_bridge_main.bridges = bridge->next;
        free(bridge);
    }
}
