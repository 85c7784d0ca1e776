/*
 * Content routing and persistence in 5.50. Only the words are changed: whether a policy makes sense with them is
 * not looked at.
 */
#include "stages/policy/content_routing.h"

#include "tree/operations.h"
#include "walk/toolkit.h"

/* ---- 5.50 ---- */

static void lower_value(config_node *set)
{
    char *before = begin_value_edit(set);
    strlwr(set->value);
    end_value_edit(set, before);
}

static void change_persistence_type()
{
    cnd_rename(top[4], "type");
    if (cnd_value_in(top[4], "ASP-SESSIONID", "JSP_SESSIONID", "PHP-SESSIONID", "Persistent-Cookie")) {
        lower_value(top[4]);
    } else if (cnd_value_is(top[4], "Insert-Cookie")) {
        cnd_del(top[4]);
        cnd_add_prop(top[2], "cookie-name", "cookiesession2");
        cnd_add_prop(top[2], "type", "insert-cookie");
    } else {
        cnd_fmt_value(top[4], "source-ip");
    }
}

/*
 * The kinds of persistence were written with capitals, and one of them had its underscore, which stays. The inserted
 * cookie gets the name that it always had. Every other kind, also one that nobody knows, is by source address now.
 */
void _migr_change_persistence_policy(int32_t, void *, int32_t *)
{
    if (top_edt_set_is("Persistence-type"))
        change_persistence_type();
    else if (top_edt_set_is("persistence-timeout"))
        cnd_rename(top[4], "timeout");
}

static void change_match_object(migr_change_content_routing_state *state)
{
    if (cnd_value_in(sub[4], "HTTP-HOST", "HTTP-Referer", "Source-IP", "HTTP-Request")) {
        lower_value(sub[4]);
    } else if (cnd_value_is(sub[4], "HTTP-Request-Cookie")) {
        cnd_fmt_value(sub[4], "http-cookie");
        state->cookie_object = sub[4];
    }
}

static void change_match_condition(migr_change_content_routing_state *state)
{
    state->condition = sub[4];
    if (cnd_value_in(sub[4], "Match-Begin", "Match-Dir", "Match-Domain", "Match-End", "Match-Reg", "Match-Sub"))
        lower_value(sub[4]);
}

static void change_match_set(migr_change_content_routing_state *state)
{
    if (sub_edt_set_is("match-object")) {
        change_match_object(state);
    } else if (sub_edt_set_is("match-condition")) {
        change_match_condition(state);
    } else if (sub_edt_set_in("regular-expression", "match-string")) {
        cnd_rename(sub[4], "match-expression");
    } else if (sub_edt_set_is("cookie-name-reg")) {
        cnd_rename(sub[4], "name");
        cnd_add_prop(sub[2], "name-match-condition", "match-reg");
    } else if (sub_edt_set_is("cookie-value-reg")) {
        cnd_rename(sub[4], "value");
        cnd_add_prop(sub[2], "value-match-condition", "match-reg");
    }
}

/*
 * The words of a match were written with capitals, and a match on a cookie was a condition like any other; it now has
 * conditions of its own, one for the cookie's name and one for its value, so that the common one goes; and what is
 * matched moves behind them.
 */
void _migr_change_content_routing(int32_t, void *memory, int32_t *)
{
    auto *state = static_cast<migr_change_content_routing_state *>(memory);
    if (sub_edt_set_end()) {
        if (state->seen && state->cookie_object) {
            cnd_add_prop(sub[2], state->cookie_object->name, "%s", state->cookie_object->value);
            cnd_del_from(state->cookie_object, sub[2]);
            cnd_del_from(state->condition, sub[2]);
        }
        *state = {};
        return;
    }
    if (!sub_cfg_is("content-routing-match-list"))
        return;
    state->seen = 1;
    change_match_set(state);
}
