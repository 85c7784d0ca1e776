/*
 * Cookie security and site publishing from 5.60 to 6.10. New policies and pools are numbered by file, so a name
 * may stand in several files; an array holds 64 sets, and what comes behind is lost where it had to move.
 */
#include "stages/policy/cookie_security.h"

#include "tree/version_text.h"
#include "walk/toolkit.h"

/* ---- 5.60 ---- */

static void take_cookie_poison(migr_move_cookie_poison_state *state)
{
    if (!top_edt_set_in("cookie-poison-trigger", "cookie-poison-severity", "cookie-poison-action", "block-period",
                        "cookie-poison"))
        return;
    state->hit = 1;
    if (top_edt_set_is("cookie-poison"))
        cnd_del(top[4]);
    else
        cnd_arr_push(&state->moved, cnd_detach(top[4]));
}

static void add_cookie_security_policy(migr_move_cookie_poison_state *state)
{
    state->counter++;
    config_node *policy = cnd_add_edit(state->target, "\"cookie_security_policy_%d\"", state->counter);
    cnd_arr_attach(&state->moved, policy);
    cnd_add_prop(policy, "http-only", "disable");
    cnd_add_prop(policy, "security-mode", "signed");
    cnd_add_prop(top[2], "cookie-security-policy", "cookie_security_policy_%d", state->counter);
}

/*
 * Protection against poisoned cookies was a switch of an inline profile, with an action beside it; it is now a policy
 * in "waf cookie-security" that the profile refers to. Each profile with any of the sets gets a policy of its own, also
 * one with nothing but the switch, on or off; the sets keep their names and end up in reverse order.
 */
void _migr_move_cookie_poison(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<migr_move_cookie_poison_state *>(memory);
    if (!state->target)
        state->target = cnd_open_top("waf,cookie-security");
    if (!top_edt_set_end()) {
        take_cookie_poison(state);
        return;
    }
    if (!state->hit)
        return;
    add_cookie_security_policy(state);
    cnd_arr_clear(&state->moved);
    state->hit = 0;
}

/* The pool is a config that stands directly in the target, where one would expect an edit. That is its shape. */
static void add_authentication_pool(migr_move_site_publish_rule_state *state)
{
    state->counter++;
    config_node *pool = cnd_add_config(state->target, "\"server_pool_%d\"", state->counter);
    config_node *member = cnd_add_edit(cnd_add_config(pool, "member"), "1");
    cnd_arr_attach(&state->moved, member);
    cnd_arr_clear(&state->moved);
    cnd_add_prop(top[2], "auth-server-pool", "server_pool_%d", state->counter);
}

/* A published site had one authentication server; it is now the one member of a pool that the site refers to. */
void _migr_move_site_publish_rule(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<migr_move_site_publish_rule_state *>(memory);
    if (!state->target)
        state->target = cnd_open_top("waf,site-publish-helper,authentication-server-pool");
    if (top_edt_set_in("auth-method", "ldap-server", "radius-server", "rsa-securid"))
        cnd_arr_push(&state->moved, cnd_detach(top[4]));
    else if (top_edt_set_end() && cnd_arr_count(&state->moved))
        add_authentication_pool(state);
}

/* ---- 5.70 ---- */

/* Replayed cookies are told by what is encrypted in them: without encryption there is no such protection. */
void _change_cookie_security_mode(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<change_cookie_security_mode_state *>(memory);
    if (cnd_nv_is(top[4], "security-mode", "encrypted"))
        state->encrypted = 1;
    if (top_edt_set_is("cookie-replay-protection-type"))
        state->replay = top[4];
    if (!top_edt_set_end())
        return;
    if (!state->encrypted)
        cnd_del_from(state->replay, top[2]);
    *state = {};
}

/* ---- 5.80 ---- */

/* The time limit of a published site's cookie is counted in seconds, no longer in minutes. More seconds than 32 bits
 * hold become as many as they hold. */
void _migr_cookie_timeout_sitepublish(int32_t, void *, int32_t *)
{
    static constexpr int64_t seconds = 60;
    if (top_edt_set_is("cookie-timeout"))
        cnd_fmt_value(top[4], "%d", nearest_number(number_of(top[4]->value) * seconds));
}

/* ---- 5.85 ---- */

/* Without encryption a policy keeps nothing of what only encryption makes possible. An array holds 64 sets; those
 * beyond stay. */
void _change_cookie_security_mode2(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<change_cookie_security_mode2_state *>(memory);
    if (cnd_nv_is(top[4], "security-mode", "encrypted"))
        state->encrypted = 1;
    if (cnd_name_in(top[4], "cookie-replay-protection-type", "allow-suspicious-cookies", "allow-time"))
        cnd_arr_push(&state->doomed, top[4]);
    if (!top_edt_set_end())
        return;
    if (!state->encrypted)
        for (int32_t i = 0; i < cnd_arr_count(&state->doomed); i++)
            cnd_del_from(state->doomed.nodes[i], top[2]);
    state->encrypted = 0;
    cnd_arr_clear(&state->doomed);
}

/* ---- 6.01 ---- */

/* A time for suspicious cookies goes where it means nothing: old releases let it stand beside other modes. Here the
 * last mode of an edit counts. */
void _erase_allow_time_under_wrong_condition(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<erase_allow_time_under_wrong_condition_state *>(memory);
    if (top_edt_set_is("security-mode"))
        state->encrypted = cnd_value_is(top[4], "encrypted");
    if (top_edt_set_is("allow-time"))
        state->allow_time = top[4];
    if (!top_edt_set_end())
        return;
    if (!state->encrypted)
        cnd_del_from(state->allow_time, top[2]);
    *state = {};
}

/* ---- 6.10 ---- */

/* A signed cookie that is suspicious may pass, as it did so far: that has to be said now. It is said beside what the
 * edit may say already. */
void _sync_cookie_security_mode(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<sync_cookie_security_mode_state *>(memory);
    if (cnd_nv_is(top[4], "security-mode", "signed"))
        state->signed_mode = 1;
    if (!top_edt_set_end())
        return;
    if (state->signed_mode)
        cnd_add_prop(top[2], "allow-suspicious-cookies", "Always");
    state->signed_mode = 0;
}

/* The option has long meant any client without cookies, not only the one it was named for. */
void _rename_sph_rule_prop(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("exchange-activesync"))
        cnd_rename(top[4], "cookieless");
}
