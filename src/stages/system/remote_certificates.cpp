/*
 * OCSP groups, revocation lists, the template of requests and the connector's key, from 5.83 to 6.20. At most 32
 * references are carried over, and the rest is dropped without a word.
 */
#include "stages/system/remote_certificates.h"

#include "ledger/tell.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

/* The login by certificate got a name that says what it asks for. */
void _change_cert_login(int32_t, void *, int32_t *)
{
    if (config_node *login = top_cfg_set_is("https-cert-login"))
        cnd_rename(login, "admin-https-pki-required");
}

/* From 5.83 on a policy that asks for a server name strictly staples by that name's own settings, so the policy's own
 * go. That the switch is there is what counts, not its value. */
void _remove_ocsp_stapling(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<remove_ocsp_stapling_state *>(memory);
    if (top_edt_set_is("ocspstapling"))
        state->stapling = top[4];
    if (top_edt_set_is("ocspstapling-group"))
        state->group = top[4];
    if (top_edt_set_is("sni-strict"))
        state->strict = 1;
    if (!top_edt_set_end())
        return;
    if (state->strict) {
        cnd_del_from(state->stapling, top[2]);
        cnd_del_from(state->group, top[2]);
    }
    *state = {};
}

static void add_group_of_one(config_node *groups, config_node *crl)
{
    config_node *group = cnd_add_edit(groups, "%s", crl->name);
    config_node *member = cnd_add_edit(cnd_add_config(group, "member"), "1");
    cnd_add_prop(member, "name", "%s", cnd_std_name(crl));
}

/* From 5.83 on revocation lists are used by group: each list becomes the one member of a group of its name. */
void _add_crl_group(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<add_crl_group_state *>(memory);
    if (round == 1) {
        if (top_suffix_is("crl-group"))
            state->group = top[1];
        if (top_suffix_is("crl"))
            state->crl = top[1];
        return;
    }
    if (top[1] != state->crl)
        return;
    if (!state->group)
        state->group = cnd_add_path(&state->crl->next, "system,certificate,crl-group");
    if (state->group && top_edt_set_end())
        add_group_of_one(state->group, top[2]);
}

/* The template of certificate requests, as it is read and as it is written: at most 4095 characters. */
static constexpr size_t template_room = 4096;

/* Puts the request extensions into the template's text. The new length, or 0 when the text is not one to change. */
static size_t extend_template(const char *text, char *extended)
{
    static constexpr size_t furthest_marker = 512;
    const char             *marker = strstr(text, "[req_distinguished_name]");
    if (!marker || marker - text > static_cast<ptrdiff_t>(furthest_marker))
        return 0;
    int length = snprintf(extended, template_room,
                          "%.*s# The extensions to add to a certificate request\nreq_extensions = v3_req\n\n%s"
                          "\n[v3_req]\nbasicConstraints = CA:FALSE\nsubjectAltName = San (eg, multiple domain name)",
                          static_cast<int>(marker - text), text, marker);
    return length < static_cast<int>(template_room) ? static_cast<size_t>(length) : 0;
}

static constexpr char template_path[] = "/data/etc/cert/cert.conf";

static void extend_template_file(int fd)
{
    char    text[template_room + 1];
    char    extended[template_room];
    ssize_t got = read(fd, text, template_room);
    if (got < 1 || got >= static_cast<ssize_t>(template_room))
        return;
    text[got] = '\0';
    size_t length = extend_template(text, extended);
    if (length == 0 || lseek(fd, 0, SEEK_SET) != 0)
        return;
    size_t at = 0;
    while (at < length) {
        ssize_t put = write(fd, extended + at, length - at);
        if (put <= 0)
            break;
        at += static_cast<size_t>(put);
    }
    if (at > 0)
        ledger::tell_file(MIGR_FILE_REWRITTEN, template_path, nullptr);
}

static int32_t template_done; /* in this process */

/* The top-level config at which the template was last missing. The visit behind the last config puts the sentinel here,
 * so it never is a node of an earlier file. */
static const config_node *template_missing_at = &EMPTY_NODE;

/*
 * From 6.10 on a certificate request asks for alternative names. The template is a file, so this is done once per
 * process; while there is no template it is looked for again. No migration makes one, so within a configuration once is
 * often enough.
 */
void _adjust_cert_conf(int32_t, void *, int32_t *)
{
    bool looked_for = cnd_is_normal(top[1]) && template_missing_at == top[1];
    if (template_done || looked_for)
        return;
    int fd = open(template_path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        template_missing_at = top[1];
        return;
    }
    extend_template_file(fd);
    close(fd);
    template_done = 1;
}

ocsp_ref *ocsp_ref_find(ocsp_ref *refs, int32_t count, const char *name)
{
    for (ocsp_ref *ref = refs; ref < refs + count; ref++)
        if (strcmp(ref->name, name) == 0)
            return ref;
    return nullptr;
}

static bool is_known(const ocsp_ref *refs, int32_t count, const char *name, const char *local_cert)
{
    for (const ocsp_ref *ref = refs; ref < refs + count; ref++)
        if (strcmp(ref->name, name) == 0 && strcmp(ref->local_cert, local_cert) == 0)
            return true;
    return false;
}

static void free_strings(ocsp_ref *ref)
{
    free(ref->name);
    free(ref->local_cert);
    free(ref->certificate);
    free(ref->ocsp_url);
    free(ref->comment);
    *ref = {};
}

void ocsp_ref_insert(ocsp_ref *refs, int32_t *count, uint32_t kind, const char *name, const char *local_cert)
{
    static constexpr int32_t most = std::extent_v<decltype(reorg_cert_remote_state::refs)>;
    if (*count >= most || is_known(refs, *count, name, local_cert))
        return;
    ocsp_ref ref = {strdup(name), strdup(local_cert), nullptr, nullptr, nullptr, kind, 0};
    if (ref.name && ref.local_cert)
        refs[(*count)++] = ref;
    else
        free_strings(&ref);
}

static void take_name(char *target, const config_node *set)
{
    static constexpr size_t room = 71;
    snprintf(target, room, "%s", cnd_std_value(set));
}

/* A consumer ends: it refers to its group only when it also has a certificate of its own. */
static void end_consumer(reorg_cert_remote_state *state, uint32_t kind)
{
    if (state->group_name[0] && state->cert_name[0])
        ocsp_ref_insert(state->refs, &state->count, kind, state->group_name, state->cert_name);
    state->group_name[0] = '\0';
    state->cert_name[0] = '\0';
}

/* One set of a consumer, `set`, whose own certificate is named by the property `certificate`. */
static void read_consumer(reorg_cert_remote_state *state, config_node *set, const char *certificate)
{
    if (cnd_name_is(set, "ocspstapling-group")) {
        take_name(state->group_name, set);
        cnd_del(set);
    } else if (cnd_name_is(set, certificate)) {
        take_name(state->cert_name, set);
    }
}

static void drop_switch(config_node *set)
{
    if (cnd_name_is(set, "ocspstapling"))
        cnd_del(set);
}

static void collect_references(reorg_cert_remote_state *state)
{
    if (top_cfg_is("server-policy,policy")) {
        read_consumer(state, top[4], "certificate");
        drop_switch(top[4]);
        if (top_edt_set_end())
            end_consumer(state, OCSP_POLICY);
    } else if (top_cfg_is("system,certificate,sni")) {
        read_consumer(state, sub[4], "local-cert");
        if (sub_edt_set_end())
            end_consumer(state, OCSP_SNI_MEMBER);
    } else if (top_cfg_is("server-policy,server-pool")) {
        read_consumer(state, sub[4], "certificate");
        drop_switch(sub[4]);
        if (sub_edt_set_end())
            end_consumer(state, OCSP_POOL_MEMBER);
    }
}

static void keep_copy(char **target, const char *value)
{
    if (!value)
        return;
    free(*target);
    *target = strdup(value);
}

/* The first reference to a remote group makes the group its own; a group that nothing refers to goes. */
static void end_remote_edit(reorg_cert_remote_state *state)
{
    ocsp_ref *primary = ocsp_ref_find(state->refs, state->count, cnd_std_name(top[2]));
    if (primary) {
        primary->kind = OCSP_PRIMARY;
        primary->used = 1;
        keep_copy(&primary->certificate, state->certificate);
        keep_copy(&primary->ocsp_url, state->ocsp_url);
        keep_copy(&primary->comment, state->comment);
        cnd_add_prop(top[2], "local-cert", "%s", primary->local_cert);
    } else {
        cnd_del(top[2]);
    }
    state->certificate = nullptr;
    state->ocsp_url = nullptr;
    state->comment = nullptr;
}

static ocsp_ref *primary_of(reorg_cert_remote_state *state, const char *name)
{
    for (ocsp_ref *ref = state->refs; ref < state->refs + state->count; ref++)
        if (ref->kind == OCSP_PRIMARY && strcmp(ref->name, name) == 0)
            return ref;
    return nullptr;
}

static void add_value(config_node *edit, const char *name, const char *value)
{
    if (value)
        cnd_add_prop(edit, name, "%s", value);
}

/* A further consumer of a group gets an entry of its own, numbered within the group, with the same responder. */
static void add_entry(reorg_cert_remote_state *state, ocsp_ref *ref)
{
    static constexpr size_t longest_name = 55;
    static const ocsp_ref   unknown_group = {};
    ocsp_ref               *primary = primary_of(state, ref->name);
    const ocsp_ref         *group = primary ? primary : &unknown_group;
    uint32_t                number = primary ? primary->used++ : 0;
    if (strlen(ref->name) > longest_name)
        ref->name[longest_name] = '\0';
    char name[71];
    snprintf(name, sizeof name, "\"%s-%d\"", ref->name, static_cast<int>(number));
    config_node *edit = cnd_add_edit(top[1], "%s", name);
    cnd_add_prop(edit, "local-cert", "%s", ref->local_cert);
    add_value(edit, "certificate", group->certificate);
    add_value(edit, "ocsp_url", group->ocsp_url);
    add_value(edit, "comment", group->comment);
}

static void forget_references(reorg_cert_remote_state *state)
{
    for (ocsp_ref *ref = state->refs; ref < state->refs + state->count; ref++)
        free_strings(ref);
    state->count = 0;
}

static void rebuild_remote_table(reorg_cert_remote_state *state)
{
    if (top_edt_set_is("certificate"))
        state->certificate = top[4]->value;
    if (top_edt_set_is("ocsp_url"))
        state->ocsp_url = top[4]->value;
    if (top_edt_set_is("comment"))
        state->comment = top[4]->value;
    if (top_edt_set_end())
        end_remote_edit(state);
    if (!top_cfg_set_end())
        return;
    for (ocsp_ref *ref = state->refs; ref < state->refs + state->count; ref++)
        if (ref->kind != OCSP_PRIMARY)
            add_entry(state, ref);
    cnd_rename(top[1], "system,certificate,ocsp-stapling");
    forget_references(state);
}

/*
 * Up to 6.19 a policy, a pool member or a server name's member named a group of remote certificates to staple from;
 * 6.20 has one table whose entries tie a local certificate to a responder. Round 1 collects who refers to what, and
 * takes the old properties away; round 2 turns the groups' table into the new one. Of more than 32 references the rest
 * is lost. Without the old table nothing is built, and the references go at the end of the walk.
 */
void _reorg_cert_remote(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<reorg_cert_remote_state *>(memory);
    if (round == 1)
        collect_references(state);
    else if (top_cfg_is("system,certificate,remote"))
        rebuild_remote_table(state);
    else if (cnd_is_last(top[1]))
        forget_references(state);
}

static constexpr char   connector_folder[] = "/etc/cert/mesh_connector/oci_private_key";
static constexpr size_t connector_path_room = 127;

/* The one file in the connector's folder, folders not counted, as a path. False when there is none or more than one. */
static bool find_only_key(DIR *folder, char *path)
{
    bool found = false;
    while (const dirent *entry = readdir(folder)) {
        char        candidate[connector_path_room];
        struct stat st = {};
        snprintf(candidate, sizeof candidate, "%s/", connector_folder);
        strncat(candidate, entry->d_name, sizeof candidate - strlen(candidate) - 1);
        if (entry->d_name[0] == '.' || (stat(candidate, &st) == 0 && S_ISDIR(st.st_mode)))
            continue;
        if (found)
            return false;
        memcpy(path, candidate, sizeof candidate);
        found = true;
    }
    return found;
}

/* Before 6.20 there was one cloud connector and one key; from then on a key file bears its connector's name, as it is
 * written in the configuration. A name with a slash would put the key over any file of the appliance, so it names
 * none. */
void _rename_msh_con_key_file(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<rename_msh_con_key_file_state *>(memory);
    if (top_cfg_set_is("name"))
        state->name = top[3];
    if (!top_cfg_set_end())
        return;
    config_node *name = state->name;
    state->name = nullptr;
    if (!name || !name->value || strchr(name->value, '/'))
        return;
    DIR *folder = opendir(connector_folder);
    if (!folder)
        return;
    char key[connector_path_room];
    char named[connector_path_room];
    bool found = find_only_key(folder, key);
    closedir(folder);
    snprintf(named, sizeof named, "%s/%s.key", connector_folder, name->value);
    if (found && rename(key, named) == 0)
        ledger::tell_file(MIGR_FILE_MOVED, named, key);
}
