/*
 * Holds the signature lists of a file against the database. Marks and adds entries, unlinks none, and never fails
 * a file: where the database gives no answer, an entry counts as known.
 */
#include "signature/reconcile.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/make_node.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

stale_signature *predefined_disable_sig_head;
int32_t          done_sigid_check;
char             id_array[SIGNATURE_MAIN_CLASSES][SIGNATURE_ID_SIZE];
char             new_id_array[SIGNATURE_MAIN_CLASSES][SIGNATURE_ID_SIZE];
int32_t          id_count;
int32_t          new_id_count;

namespace {

/* The lists that name signatures and classes. A list's type is its place here, from 1. */
struct signature_list {
    const char *key; /* the nested config of a profile */
    const char *table;
    const char *column;
    const char *condition; /* what more must hold of the identifier's row */
};

constexpr signature_list signature_lists[] = {
    {"main_class_list", "class_map", "main_class_id", " and discard=0"},
    {"sub_class_disable_list", "class_map", "sub_class_id", " and discard=0"},
    {"signature_disable_list", "signature_rule", "signature_id", ""},
    {"filter_list", "signature_rule", "signature_id", ""},
    {"alert_only_list", "signature_rule", "signature_id", ""},
    {"fpm_disable_list", "signature_rule", "signature_id", " and FP_mitigation!=0"},
    {"scoring_override_disable_list", "signature_rule", "signature_id", " and score=8341"},
    {"score_grade_list", "signature_rule", "signature_id", ""},
};

constexpr int32_t list_types = std::size(signature_lists);
constexpr int32_t no_type = 0;
constexpr int32_t main_class_type = 1;
constexpr int32_t signature_type = 3;
constexpr int32_t filter_type = 4;

constexpr const char *predefined_profiles[] = {
    "High Level Security", "Medium Level Security", "Alert Only",      "Exchange 2013", "Exchange 2016",
    "Exchange 2019",       "SharePoint 2013",       "SharePoint 2016", "WordPress",     "Drupal",
};

/* The database lists this class, and no profile may have it added. */
constexpr char unlisted_main_class[] = "110000000";

/* An entry of the list of stale identifiers, and its place in the index over the list. */
struct listed_signature {
    stale_signature   entry; /* first, so that an entry's address is its record's */
    listed_signature *same_bucket;
};

/* Each file with predefined profiles looks all their entries up, so the list has an index beside it. */
constexpr size_t  stale_buckets = 4096;
listed_signature *stale_index[stale_buckets];

listed_signature **bucket_of(const char *bare)
{
    uint32_t hash = 2166136261u;
    for (; *bare; bare++)
        hash = (hash ^ static_cast<unsigned char>(*bare)) * 16777619u;
    return &stale_index[hash % stale_buckets];
}

/* Messages carry the name of the file that these checks were once part of. */
void say(const char *what)
{
    printf("migr_hardcode: %s\n", what);
}

/* Identifiers are compared without quotes and on 15 characters. The last character of a quoted one is taken for its
 * closing quote, also where the 15 characters end ahead of it. */
void make_bare(const char *id, char *bare)
{
    bool quoted = id[0] == '"';
    snprintf(bare, SIGNATURE_ID_SIZE, "%.15s", quoted ? id + 1 : id);
    size_t length = strlen(bare);
    if (quoted && length > 0)
        bare[length - 1] = '\0';
}

bool begin_query(db_object *query)
{
    if (!sig_db) {
        say("db is NULL ");
        return false;
    }
    if (init_db_object(query, sig_db) == 0)
        return true;
    say("initial database failed");
    return false;
}

bool add_column(db_object *query, int type, int width)
{
    if (query->add_field(query, type, width) == 0)
        return true;
    say("add field error");
    return false;
}

/* The first row, or null when there is none. */
const db_row *run_query(db_object *query, const char *sql)
{
    int32_t status = 0;
    if (query->run(query, sql, &status) != 0 || status != 0) {
        say("DB query error");
        return nullptr;
    }
    if (query->row_count >= 1 && query->first_row)
        return query->first_row;
    say("No reocord found in database");
    return nullptr;
}

int32_t ask_for_id(db_object *query, int32_t type, const char *id)
{
    if (!add_column(query, DB_FIELD_NUMBER, 0))
        return -1;
    if (type < 1 || type > list_types) {
        say("Got wrong table type.");
        return -1;
    }
    const signature_list *list = &signature_lists[type - 1];
    char                  bare[SIGNATURE_ID_SIZE];
    char                  sql[1024];
    make_bare(id, bare);
    snprintf(sql, sizeof sql, "select count(*) from %s where %s='%s'%s;", list->table, list->column, bare,
             list->condition);
    const db_row *row = run_query(query, sql);
    if (!row)
        return -1;
    if (!row->data) {
        say("Invalid data pointer.");
        return -1;
    }
    return *static_cast<const int32_t *>(row->data) < 1 ? 1 : 0;
}

/* Main classes as the database has them, quoted. */
struct main_classes {
    char    ids[SIGNATURE_MAIN_CLASSES][SIGNATURE_ID_SIZE];
    int32_t count;
};

/* 0, or -1 when the database gives none or a broken row. */
int32_t read_main_classes(db_object *query, main_classes *classes)
{
    if (!add_column(query, DB_FIELD_TEXT, 17))
        return -1;
    const db_row *row = run_query(query, "select main_class_id from class_map where discard=0 group by main_class_id;");
    if (!row)
        return -1;
    for (; row; row = row->next) {
        if (!row->data) {
            say("Invalid data pointer.");
            return -1;
        }
        const char *id = static_cast<const char *>(row->data);
        if (classes->count < SIGNATURE_MAIN_CLASSES && strcmp(id, unlisted_main_class) != 0)
            snprintf(classes->ids[classes->count++], SIGNATURE_ID_SIZE, "\"%s\"", id);
    }
    return 0;
}

/* Whether the profile's own entries name the class, with or without quotes. */
bool profile_has_class(const char *quoted)
{
    char bare[SIGNATURE_ID_SIZE];
    make_bare(quoted, bare);
    for (int32_t i = 0; i < id_count; i++)
        if (strcmp(id_array[i], quoted) == 0 || strcmp(id_array[i], bare) == 0)
            return true;
    return false;
}

bool is_predefined(const config_node *profile)
{
    char name[MIGR_NAME_SIZE];
    snprintf(name, sizeof name, "%s", profile->name);
    get_raw_name(name);
    for (const char *predefined : predefined_profiles)
        if (strcmp(name, predefined) == 0)
            return true;
    return false;
}

/*
 * The predefined profiles are alike in all domains: the first file with profiles asks the database and notes what is
 * stale, the files behind it look into that list.
 */
bool is_stale(bool predefined, int32_t type, const char *id)
{
    if (predefined && done_sigid_check)
        return check_sigid_list(id) > 0;
    if (check_sigdb_by_id(type, id) <= 0)
        return false;
    if (predefined)
        add_sigid_list(id);
    return true;
}

void check_entries(config_node *list, int32_t type, bool predefined)
{
    for (config_node *entry = list->edit_list; entry; entry = entry->next)
        if (is_stale(predefined, type, entry->name))
            mark_deleted(entry);
}

bool filters_stale_signature(const config_node *entry, bool predefined)
{
    for (const config_node *set = entry->set_list; set; set = set->next)
        if (strcmp(set->name, "signature_id") == 0 && is_stale(predefined, filter_type, set->value))
            return true;
    return false;
}

void check_filters(config_node *list, bool predefined)
{
    for (config_node *entry = list->edit_list; entry; entry = entry->next)
        if (filters_stale_signature(entry, predefined))
            mark_deleted(entry);
}

void note_main_classes(const config_node *list)
{
    for (const config_node *entry = list->edit_list; entry && id_count < SIGNATURE_MAIN_CLASSES; entry = entry->next)
        snprintf(id_array[id_count++], SIGNATURE_ID_SIZE, "%.15s", entry->name);
}

/* An entry for a main class that came with the image: known, and switched off. What a failed one had goes with the
 * pass. */
config_node *make_main_class(const char *quoted)
{
    config_node *entry = make_node(MIGR_EDIT, quoted, nullptr);
    config_node *status = make_config_node("status", "disable", MIGR_SET);
    config_node *severity = make_config_node("severity", "High", MIGR_SET);
    if (!entry || !status || !severity)
        return nullptr;
    push_front(&entry->set_list, status);
    push_front(&entry->set_list, severity);
    return entry;
}

void add_new_main_classes(config_node *list)
{
    for (int32_t i = 0; i < new_id_count; i++) {
        config_node *entry = make_main_class(new_id_array[i]);
        if (!entry) {
            say("malloc() failed.");
            return;
        }
        push_front(&list->edit_list, entry);
    }
}

void check_main_classes(config_node *list, bool predefined)
{
    note_main_classes(list);
    check_entries(list, main_class_type, predefined);
    if (check_reverse_main_id() >= 1)
        add_new_main_classes(list);
}

int32_t type_of_list(const char *key)
{
    for (int32_t i = 0; i < list_types; i++)
        if (strcmp(signature_lists[i].key, key) == 0)
            return i + 1;
    return no_type;
}

void check_profile(config_node *profile)
{
    bool predefined = is_predefined(profile);
    id_count = 0;
    new_id_count = 0;
    for (config_node *list = profile->config_list; list; list = list->next) {
        int32_t type = type_of_list(list->name);
        if (type == main_class_type)
            check_main_classes(list, predefined);
        else if (type == filter_type)
            check_filters(list, predefined);
        else if (type != no_type)
            check_entries(list, type, predefined);
    }
}

/* The configs that name signatures: the lists of single signatures outside the profiles, and the profiles. */
enum signature_config { switched_off, staged, profiles, signature_configs };

constexpr const char *config_names[signature_configs] = {"waf,base-signature-disable", "waf,staged_signature_list",
                                                         "waf,signature"};

int32_t check_single_signatures(config_node *list)
{
    if (!list)
        return -1;
    check_entries(list, signature_type, false);
    return 0;
}

int32_t check_profiles(config_node *config)
{
    if (!config)
        return -1;
    for (config_node *profile = config->edit_list; profile; profile = profile->next)
        check_profile(profile);
    done_sigid_check = 1;
    return 0;
}

} // namespace

/* All are looked for at once, since a file without them is gone through for each; what is done to one moves no other.
 */
int32_t sync_cli_with_sig_db(void)
{
    config_node *configs[signature_configs];
    find_nodes(&migr_main.root, config_names, configs, signature_configs);
    ledger::set_author_name("signature_disable_check_with_db");
    check_single_signatures(configs[switched_off]);
    ledger::set_author_name("signature_staged_check_with_db");
    check_single_signatures(configs[staged]);
    ledger::set_author_name("signature_check_with_db");
    check_profiles(configs[profiles]);
    found_node = configs[profiles];
    is_found = found_node ? 1 : 0;
    return 0;
}

/* A signature that the image's database no longer has needs no entry among the signatures that are switched off for
 * all. */
int32_t signature_disable_check_with_db(void)
{
    return check_single_signatures(_migr_find_node(config_names[switched_off]));
}

/* A signature that the image's database no longer has needs no entry among the staged ones. */
int32_t signature_staged_check_with_db(void)
{
    return check_single_signatures(_migr_find_node(config_names[staged]));
}

/* A profile names what the image's signature database has: entries that it no longer knows are marked as deleted, and
 * main classes that it has gained join. */
int32_t signature_check_with_db(void)
{
    return check_profiles(_migr_find_node(config_names[profiles]));
}

int32_t check_sigdb_by_id(int32_t type, const char *id)
{
    if (!id) {
        say("format id is NULL.");
        return -1;
    }
    db_object query = {};
    if (!begin_query(&query))
        return -1;
    int32_t result = ask_for_id(&query, type, id);
    query.release(&query);
    return result;
}

int32_t check_reverse_main_id(void)
{
    db_object query = {};
    if (!begin_query(&query))
        return -1;
    main_classes classes = {};
    int32_t      result = read_main_classes(&query, &classes);
    query.release(&query);
    if (result != 0)
        return 0;
    new_id_count = 0;
    for (int32_t i = 0; i < classes.count; i++)
        if (!profile_has_class(classes.ids[i]))
            memcpy(new_id_array[new_id_count++], classes.ids[i], SIGNATURE_ID_SIZE);
    return new_id_count;
}

void add_sigid_list(const char *id)
{
    if (!id || *id == '\0')
        return;
    auto *listed = static_cast<listed_signature *>(malloc(sizeof(listed_signature)));
    if (!listed)
        return;
    make_bare(id, listed->entry.id);
    listed->entry.next = predefined_disable_sig_head;
    predefined_disable_sig_head = &listed->entry;
    listed_signature **bucket = bucket_of(listed->entry.id);
    listed->same_bucket = *bucket;
    *bucket = listed;
}

int32_t check_sigid_list(const char *id)
{
    if (!id || *id == '\0')
        return 0;
    char bare[SIGNATURE_ID_SIZE];
    make_bare(id, bare);
    for (const listed_signature *listed = *bucket_of(bare); listed; listed = listed->same_bucket)
        if (strcmp(listed->entry.id, bare) == 0)
            return 1;
    return 0;
}

void free_sigid_list(void)
{
    while (stale_signature *entry = predefined_disable_sig_head) {
        predefined_disable_sig_head = entry->next;
        free(reinterpret_cast<listed_signature *>(entry));
    }
    memset(stale_index, 0, sizeof stale_index);
}
