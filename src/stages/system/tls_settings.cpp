/*
 * TLS settings from 5.52 to 5.85. Values are taken as they are written, so a list in quotes is no list of the
 * defaults.
 */
#include "stages/system/tls_settings.h"

#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

constexpr char old_default_ciphers[] =
    "DHE-RSA-SEED-SHA DHE-DSS-SEED-SHA SEED-SHA ECDHE-RSA-RC4-SHA ECDHE-ECDSA-RC4-SHA ECDH-RSA-RC4-SHA "
    "ECDH-ECDSA-RC4-SHA RC4-SHA RC4-MD5";
static_assert(sizeof old_default_ciphers == 132 + 1);

constexpr char new_default_ciphers[] =
    "ECDHE-ECDSA-AES256-GCM-SHA384 ECDHE-RSA-AES256-GCM-SHA384 ECDHE-ECDSA-CHACHA20-POLY1305 "
    "ECDHE-RSA-CHACHA20-POLY1305 ECDHE-ECDSA-AES128-GCM-SHA256 ECDHE-RSA-AES128-GCM-SHA256 "
    "ECDHE-ECDSA-AES256-SHA384 ECDHE-RSA-AES256-SHA384 ECDHE-ECDSA-AES128-SHA256 ECDHE-RSA-AES128-SHA256 "
    "ECDHE-ECDSA-AES256-SHA ECDHE-RSA-AES256-SHA ECDHE-ECDSA-AES128-SHA ECDHE-RSA-AES128-SHA AES256-GCM-SHA384 "
    "AES128-GCM-SHA256 AES256-SHA256 AES128-SHA256";
static_assert(sizeof new_default_ciphers == 425 + 1);

/* Dropped with whatever follows in the token. */
constexpr const char *weak_prefixes[] = {"RC4-SHA", "RC4-MD5"};

/* A token is dropped when it is the beginning of one of these. */
constexpr const char *weak_ciphers[] = {
    "DES-CBC3-SHA",
    "ECDH-RSA-RC4-SHA",
    "ECDHE-RSA-RC4-SHA",
    "ECDH-ECDSA-RC4-SHA",
    "ECDHE-ECDSA-RC4-SHA",
    "ECDH-RSA-AES256-SHA",
    "ECDH-RSA-AES128-SHA",
    "EDH-RSA-DES-CBC3-SHA",
    "EDH-DSS-DES-CBC3-SHA",
    "ECDH-ECDSA-AES256-SHA",
    "ECDH-RSA-DES-CBC3-SHA",
    "ECDH-ECDSA-AES128-SHA",
    "ECDH-RSA-AES256-SHA384",
    "ECDHE-RSA-DES-CBC3-SHA",
    "ECDH-RSA-AES128-SHA256",
    "ECDH-ECDSA-DES-CBC3-SHA",
    "ECDH-ECDSA-AES128-SHA256",
    "ECDH-ECDSA-AES256-SHA384",
    "ECDHE-ECDSA-DES-CBC3-SHA",
    "ECDH-RSA-AES256-GCM-SHA384",
    "ECDH-RSA-AES128-GCM-SHA256",
    "ECDH-ECDSA-AES256-GCM-SHA384",
    "ECDH-ECDSA-AES128-GCM-SHA256",
};
static_assert(std::size(weak_prefixes) + std::size(weak_ciphers) == 25);

constexpr const char *seed_prefixes[] = {"DHE-DSS-SEED-SHA", "SEED-SHA"};

struct token {
    const char *text;
    size_t      length;
};

bool begins_with(token word, const char *prefix)
{
    size_t length = strlen(prefix);
    return word.length >= length && strncmp(word.text, prefix, length) == 0;
}

bool is_weak(token word)
{
    for (const char *prefix : weak_prefixes)
        if (begins_with(word, prefix))
            return true;
    /* An empty token begins every name, so runs of blanks collapse. */
    for (const char *cipher : weak_ciphers)
        if (strncmp(word.text, cipher, word.length) == 0)
            return true;
    return false;
}

bool is_seed(token word)
{
    for (const char *prefix : seed_prefixes)
        if (begins_with(word, prefix))
            return true;
    return false;
}

/* A kept token takes the blank behind it along, so a list whose last token goes ends with a blank. */
char *without_tokens(const char *value, bool (*is_dropped)(token))
{
    char *kept = static_cast<char *>(malloc(strlen(value) + 1));
    if (!kept)
        return nullptr;
    char *end = kept;
    for (;;) {
        token  word = {value, strcspn(value, " ")};
        bool   last = word.text[word.length] == '\0';
        size_t taken = word.length + (last ? 0 : 1);
        if (!is_dropped(word)) {
            memcpy(end, word.text, taken);
            end += taken;
        }
        if (last)
            break;
        value += taken;
    }
    *end = '\0';
    return kept;
}

} // namespace

char *get_ssl_custom_cipher_value(const char *value)
{
    if (!value || *value == '\0')
        return nullptr;
    if (strcmp(value, old_default_ciphers) == 0)
        return strdup(new_default_ciphers);
    return without_tokens(value, is_weak);
}

char *get_ssl_custom_cipher_value_585(const char *value)
{
    if (!value || *value == '\0')
        return nullptr;
    return without_tokens(value, is_seed);
}

/* From 5.52 on the switch "ssl" alone stands for all protocols; a member that lists every one of them says just so. */
void _change_server_pool_ssl_protocol(int32_t, void *memory, int32_t *)
{
    static constexpr uint32_t all_protocols = 31;
    auto                     *state = static_cast<change_server_pool_ssl_protocol_state *>(memory);
    if (sub_cfg_is("pserver-list")) {
        int32_t position = sub_edt_set_in("tls-v12", "tls-v11", "tls-v10", "ssl-v3", "ssl");
        if (position)
            state->protocols |= 1U << (position - 1);
    }
    if (!sub_edt_set_end())
        return;
    if (state->protocols == all_protocols)
        cnd_del_by_name(sub[2], "tls-v12", "tls-v11", "tls-v10", "ssl-v3");
    state->protocols = 0;
}

/* 5.83 speaks SSL 3 nowhere, so the switch against it went. */
void _remove_global_no_ssl3(int32_t, void *, int32_t *)
{
    if (top_cfg_set_is("no-sslv3"))
        cnd_del(top[3]);
}

void _adjust_policy_ssl(config_node *node)
{
    if (cnd_name_is(node, "ssl-v3") || cnd_name_is(node, "ssl-rc4-first") || cnd_name_is(node, "ssl-chacha-cipher") ||
        cnd_name_is(node, "ssl-pfs")) {
        cnd_del(node);
        return;
    }
    if (!cnd_name_is(node, "ssl-custom-cipher"))
        return;
    if (char *kept = get_ssl_custom_cipher_value(node->value)) {
        cnd_fmt_value(node, "%s", kept);
        free(kept);
    }
}

/* 5.83 has no SSL 3 and no weak ciphers; the switches for them leave a policy. */
void _remove_policy_ssl3(int32_t, void *, int32_t *)
{
    _adjust_policy_ssl(top[4]);
}

/* 5.83 has no SSL 3 and no weak ciphers; the switches for them leave a pool's members as well. */
void _change_server_pool_ssl(int32_t, void *, int32_t *)
{
    if (sub_cfg_is("pserver-list"))
        _adjust_policy_ssl(sub[4]);
}

/* Where nothing comes back the list goes, for want of memory too: unlike in 5.83, an empty list is no list here. */
static void drop_seed_ciphers(config_node *list)
{
    char *kept = get_ssl_custom_cipher_value_585(list->value);
    if (kept)
        cnd_fmt_value(list, "%s", kept);
    else
        cnd_del(list);
    free(kept);
}

/* 5.85 no longer has the SEED ciphers, so they leave the lists of a pool's members. One of the three was forgotten, and
 * stays. */
void _change_server_pool_ssl_cipher(int32_t, void *, int32_t *)
{
    if (sub_cfg_is("pserver-list") && sub_edt_set_is("ssl-custom-cipher"))
        drop_seed_ciphers(sub[4]);
}

/* 5.85 no longer has the SEED ciphers, so a policy loses the same two. */
void _change_policy_ssl_cipher(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("ssl-custom-cipher"))
        drop_seed_ciphers(top[4]);
}
