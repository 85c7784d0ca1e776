/*
 * The stage to 5.80 reads certificates, keys and passwords from files into the configuration. The files stay;
 * texts that may be secret are cleansed where this file made a copy of them, and nowhere else.
 */
#include "stages/system/certificate_files.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "platform/platform.h"
#include "tree/operations.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstdlib>
#include <cstring>
#include <openssl/crypto.h>

config_node *_top_edt_load_prop(const char *folder, const char *extension, const char *property)
{
    if (!top_edt_set_end())
        return nullptr;
    const char *name = cnd_std_name(top[2]);
    /* A name with a slash would lead to another domain's files. */
    if (strchr(name, '/'))
        return nullptr;
    char *text = cnd_read_prop("%s/%s/%s/%s.%s", 1, "/data/etc", folder, migr_main.adom_name, name, extension);
    if (!text)
        return nullptr;
    bool         plain = strcmp(property, "passwd") == 0;
    config_node *set =
        plain ? cnd_add_prop(top[2], property, "%s", text) : cnd_add_prop(top[2], property, "\"%s\"", text);
    OPENSSL_cleanse(text, strlen(text));
    if (set && ledger::is_watched())
        ledger::tell_filled(set);
    return set;
}

config_node *_escape_prop_value(config_node *node)
{
    const char *value = node->value ? node->value : "";
    size_t      room = 2 * strlen(value) + sizeof "\"\"";
    char       *escaped = static_cast<char *>(malloc(room));
    if (!escaped)
        return nullptr;
    char *end = escaped;
    *end++ = '"';
    for (; *value; value++) {
        if (strchr("'\\\"", *value))
            *end++ = '\\';
        *end++ = *value;
    }
    strcpy(end, "\"");
    config_node *result = cnd_fmt_value(node, "%s", escaped);
    OPENSSL_cleanse(escaped, room);
    free(escaped);
    return result;
}

static void load_password(const char *folder)
{
    config_node *password = _top_edt_load_prop(folder, "password", "passwd");
    if (password)
        _escape_prop_value(password);
}

/* Encrypts a key's value. The platform takes the closing quote of the text away, and it comes back here. Without
 * memory, and when nothing comes back behind the opening quote, the clear key stays. Nothing of it stays behind an
 * encrypted text that is shorter. */
static void encrypt_key(config_node *key)
{
    size_t length = strlen(key->value);
    size_t room = 2 * length + sizeof "\"";
    char  *text = static_cast<char *>(malloc(room));
    if (!text)
        return;
    memcpy(text, key->value, length + 1);
    key_encrypt(text[0] == '"' ? text + 1 : text);
    size_t encrypted = strlen(text);
    bool   empty = text[text[0] == '"'] == '\0';
    if (empty || encrypted + sizeof "\"" > room) {
        OPENSSL_cleanse(text, room);
        free(text);
        return;
    }
    strcpy(text + encrypted, "\"");
    OPENSSL_cleanse(text + encrypted + sizeof "\"", room - encrypted - sizeof "\"");
    char *before = begin_value_edit(key);
    OPENSSL_cleanse(key->value, length);
    free(key->value);
    key->value = text;
    end_value_edit(key, before);
}

/*
 * Up to 5.79 an entry of the local certificates was a name and a type, and its material lay in files; from 5.80 on the
 * entry holds it. What the entry holds already is not asked for: old files with a key inline get a second one.
 */
void _change_local_certificate(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<change_local_certificate_state *>(memory);
    if (!top_edt_set_end()) {
        if (top_edt_set_is("type"))
            state->is_request = cnd_value_is(top[4], "csr");
        return;
    }
    load_password("cert/local");
    if (config_node *key = _top_edt_load_prop("cert/local", "key", "private-key"))
        encrypt_key(key);
    _top_edt_load_prop("cert/local", state->is_request ? "csr" : "cer", "certificate");
    state->is_request = 0;
}

/* Certificates of authorities move from files into their entries, like those of the appliance. */
void _change_ca_certificate(int32_t, void *, int32_t *)
{
    _top_edt_load_prop("cert/ca", "cer", "certificate");
}

/* Intermediate certificates move from files into their entries, like those of the appliance. */
void _change_intermediate_certificate(int32_t, void *, int32_t *)
{
    _top_edt_load_prop("cert/intmed", "cer", "certificate");
}

/* Revocation lists move from files into their entries, like certificates. */
void _change_crl_certificate(int32_t, void *, int32_t *)
{
    _top_edt_load_prop("cert/crl", "crl", "certificate");
}

/* From 5.80 on the image brings the default certificate of the administration itself. */
void _remove_default_local_admin_certificate(int32_t, void *, int32_t *)
{
    if (top_edt_set_end() && top_edt_is("defaultcert"))
        cnd_del(top[2]);
}

/*
 * The administration's certificates move from files into their entries. They could be inline already, and such an entry
 * loads nothing, not even the password. A key from a file stays clear: the row that encrypts keys has passed this entry
 * by then, and old appliances read it so.
 */
void _change_local_admin_certificate(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<change_local_admin_certificate_state *>(memory);
    if (!top_edt_set_end()) {
        if (top_edt_set_in("certificate", "private-key"))
            state->has_material = 1;
        if (top_edt_set_is("type"))
            state->is_request = cnd_value_is(top[4], "csr");
        return;
    }
    if (!state->has_material) {
        load_password("globalcert/local");
        _top_edt_load_prop("globalcert/local", "key", "private-key");
        _top_edt_load_prop("globalcert/local", state->is_request ? "csr" : "cer", "certificate");
    }
    *state = {};
}

/* The authorities that administrators are checked against move from files into their entries. */
void _change_ca_admin_certificate(int32_t, void *, int32_t *)
{
    _top_edt_load_prop("globalcert/ca", "cer", "certificate");
}

/* Keys that stood inline before 5.80 were clear; from then on a stored key is encrypted. */
void _encrypt_local_certificate_key(int32_t, void *, int32_t *)
{
    if (!top_suffix_in("certificate,local", "admin-certificate,local"))
        return;
    config_node *key = top_edt_set_is("private-key");
    if (key && key->value && !strstr(key->value, "ENCRYPTED"))
        encrypt_key(key);
}
