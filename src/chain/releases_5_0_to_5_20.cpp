/*
 * What is left of the steps to 5.0, 5.10 and 5.20 beside names and defaults (names_and_defaults.cpp). Certificates
 * leave the global file for the run's store here; nothing else outlives a pass.
 */
#include "chain/releases_5_0_to_5_20.h"

#include "chain/blocks.h"
#include "chain/word_filters.h"
#include "driver/run_context.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>
#include <type_traits>

namespace {

/* Which ports a model ties together when it fails open. */
struct bypass_model {
    const char *pair;
    bool        has_fiber; /* has a second pair, of fiber ports */
};

/* The tests in their order. The second one compares only as much as the model has, so a shortened one passes. */
const bypass_model *find_bypass_model(const char *model)
{
    static constexpr bypass_model small = {"port3-port4", false};
    static constexpr bypass_model large = {"port5-port6", false};
    static constexpr bypass_model fiber = {"port5-port6", true};
    if (strncmp(model, "QA-A1X", 6) == 0)
        return &small;
    if (strncmp(model, "QA-A3X", strlen(model)) == 0)
        return &large;
    if (strncmp(model, "QAA3XS", 6) == 0 || strncmp(model, "QA-A4X", 6) == 0)
        return &fiber;
    return nullptr;
}

void rename_fiber_sets(config_node *fail_open)
{
    for (config_node *set = fail_open->set_list; set; set = set->next) {
        if (raw_name_is(set, "fiber-type"))
            set_node_name(set, "port7-port8");
        if (raw_value_is(set, "poweroff-fiber-bypass"))
            set_node_value(set, "poweroff-bypass");
        else if (raw_value_is(set, "poweroff-fiber-cutoff"))
            set_node_value(set, "poweroff-cutoff");
    }
}

bool begins_with(const char *text, const char *beginning)
{
    return strncmp(text, beginning, strlen(beginning)) == 0;
}

} // namespace

/* ---- 5.0 ---- */

/* 5.0 names a fail-open pair by its ports, where old releases named a type. */
int32_t migr_bypass_config_modify(void)
{
    static char         model_text[MIGR_LINE_SIZE];
    const bypass_model *model = get_cvw_type(model_text) == 0 ? find_bypass_model(model_text) : nullptr;
    config_node        *fail_open = walk_to("system,fail-open");
    if (!model || !fail_open)
        return 0;
    if (config_node *type = first_set(fail_open, "type"))
        set_node_name(type, model->pair);
    if (model->has_fiber)
        rename_fiber_sets(fail_open);
    return 0;
}

/* The block of alert mail is called so from 5.0 on. */
int32_t migr_change_name_log_alertemail(void)
{
    if (config_node *block = walk_to("log,alertemail"))
        set_node_name(block, "log,alertmail");
    return 0;
}

/* 5.0 raises no events of XML and robots any more. The first event of a list was never looked at, and stays. */
int32_t migr_del_snmp_community_xml_prop_and_robot(void)
{
    for (config_node *edit = edits_of(walk_to("system,snmp,community")); edit; edit = edit->next)
        filter_words(first_set(edit, "events"), del_xml_prop_and_robot);
    return 0;
}

/* 5.0 logs no bad robots by packet any more, the first of a list excepted. */
int32_t migr_del_bad_robot_prop_in_attack_log(void)
{
    filter_attack_packet_log(del_bad_robot_prop);
    return 0;
}

/* 5.0 checks cookies only in a managed session. A profile that does not say whether it has one is judged by the profile
 * ahead of it, and one that says so too late by that one as well: old files come out that way. */
int32_t migr_adjust_cookie_poison(void)
{
    char management[16] = "";
    for (config_node *edit = edits_of(walk_to("waf,web-protection-profile,inline-protection")); edit; edit = edit->next)
        for (config_node *set = edit->set_list; set; set = set->next) {
            if (raw_name_is(set, "http-session-management"))
                snprintf(management, sizeof management, "%s", value_of(set));
            else if (raw_name_is(set, "cookie-poison") && (management[0] == '\0' || begins_with(management, "disable")))
                set_node_value(set, "disable");
        }
    return 0;
}

/* ---- 5.10 ---- */

static void add_predefined_names(config_node *group)
{
    static constexpr int32_t most = std::extent_v<decltype(global_white_list::names)>;
    global_white_list        list = {};
    if (global_white_list_read_db(&list) != 0)
        return;
    for (int32_t i = 0; i < list.count && i < most; i++) {
        char name[16];
        snprintf(name, sizeof name, "\"%.8s\"", list.names[i]);
        cfg_add_conf(name, nullptr, MIGR_EDIT, group);
    }
}

/* 5.10 has a group of white-listed names that the image brings. */
int32_t migr_add_predefined_global_white_list_group(void)
{
    static constexpr char group_name[] = "server-policy,pattern,predefined-global-white-list-group";
    config_node          *first = migr_main.root.top_list;
    if (!first)
        return -1;
    if (!walk_to(group_name)) {
        config_node *place = walk_to("server-policy,pattern,custom-susp-url-rule");
        cfg_add_conf(group_name, nullptr, MIGR_TOP, place ? place : first);
    }
    if (config_node *group = walk_to(group_name))
        add_predefined_names(group);
    return 0;
}

/* A published site was known by its rule's name; from 5.10 on the rule says which site it is. */
int32_t migr_add_site_publish_rexp(void)
{
    if (!migr_main.root.top_list)
        return -1;
    for (config_node *edit = edits_of(walk_to("waf,site-publish-helper,rule")); edit; edit = edit->next)
        cfg_add_conf("published-site", edit->name, MIGR_SET, edit);
    return 0;
}

/* Sets the status behind an aggregate's type; one that stands ahead of the type was never seen. */
static void raise_aggregate(config_node *edit)
{
    bool aggregate = false;
    for (config_node *set = edit->set_list; set; set = set->next) {
        if (raw_name_is(set, "type") && raw_value_begins(set, "aggregate")) {
            aggregate = true;
        } else if (aggregate && raw_name_begins(set, "status")) {
            set_node_value(set, "up");
            return;
        }
    }
}

/* Before 5.10 the status of an aggregate had no effect; now that it has one, aggregates are up as they were. */
int32_t migr_modify_aggregate_interface_status(void)
{
    for (config_node *edit = edits_of(walk_to("system,interface")); edit; edit = edit->next)
        raise_aggregate(edit);
    return 0;
}

/* ---- 5.20 ---- */

static bool is_certificate_config(const config_node *top_node)
{
    return strstr(top_node->name, "certificate") != nullptr;
}

static int32_t tell_no_memory()
{
    printf("malloc new node err.");
    return -1;
}

/* The pass of the global file ends before the domains come. */
static config_node *copy_for_run(const config_node *block)
{
    make_nodes_for_run(1);
    config_node *copy = copy_tree(block);
    make_nodes_for_run(0);
    return copy;
}

int32_t build_certi_config_tree(void)
{
    config_node  *root = &migr_main.root;
    config_node **end = &tmp_tree_root.top_list;
    while (*end)
        end = &(*end)->next;
    for (config_node **link = &root->top_list; *link;) {
        if (!is_certificate_config(*link)) {
            link = &(*link)->next;
            continue;
        }
        config_node *copy = copy_for_run(*link);
        if (!copy)
            return tell_no_memory();
        push_front(end, copy);
        end = &copy->next;
        link = delete_at(link, &root->top_list, root);
    }
    return 0;
}

/* A domain without the block behind which the certificates belong keeps none, and the run goes on. */
int32_t fill_certi_config_to_adom(void)
{
    delete_where(&migr_main.root.top_list, &migr_main.root, is_certificate_config);
    config_node *place = walk_to("system,default_rptlang");
    if (!place)
        return 0;
    for (const config_node *kept = tmp_tree_root.top_list; kept; kept = kept->next) {
        config_node *copy = copy_tree(kept);
        if (!copy)
            return tell_no_memory();
        insert_behind(place, copy);
        place = copy;
    }
    return 0;
}

/* From 5.20 on each domain has certificates of its own: those of the global file leave it, and every domain starts with
 * a copy of them. The global file comes first in a run, so they are there when the domains come. */
int32_t migr_move_certi_config_to_adom(void)
{
    if (migr_main.mode == MIGR_GLOBAL)
        return build_certi_config_tree();
    if (migr_main.mode == MIGR_DOMAIN)
        return fill_certi_config_to_adom();
    return 0;
}

/* A domain does not keep the passwords of the keys that it was given. */
int32_t migr_del_certi_local_passwd(void)
{
    if (migr_main.mode == MIGR_GLOBAL)
        return -1;
    del_first_set_in_edits("system,certificate,local", "password");
    return 0;
}
