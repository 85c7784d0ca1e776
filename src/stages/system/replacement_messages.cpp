/*
 * Replacement messages in 5.50, 5.51 and 6.20. Pages are taken as texts: what is inserted goes to a place that a
 * search finds, and a page without that place stays as it is.
 */
#include "stages/system/replacement_messages.h"

#include "platform/platform.h"
#include "tree/operations.h"
#include "tree/version_text.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include <cstring>
#include <type_traits>

/* clang-format off */
const rmsg_tag taglist[20] = {
    {"%%URL%%", "www.example.com/", 1},
    {"%%SOURCE_IP%%", "192.168.1.11", 1},
    {"%%DEST_IP%%", "198.51.100.1", 1},
    {"%%VSERVER_IP%%", "192.168.4.15", 1},
    {"%%EVENT_ID%%", "200000010", 1},
    {"%%MSG_ID%%", "000000000010", 1},
    {"%%ORG_LOCATION_VAL%%", "", 2},
    {"%%LOGIN_POST_URL%%", "", 2},
    {"%%TOKEN_POST_URL%%", "", 2},
    {"%%RSA_LOGIN_POST_URL%%", "", 2},
    {"%%RSAC_POST_URL%%", "", 2},
    {"%%CPW_POST_URL%%", "", 2},
    {"%%REPLY_TAG%%", "", 2},
    {"%%DISPLAY_OR_HIDE%%", "", 2},
    {"%%ACCOUNT%%", "account1", 2},
    {"%%PERIOD_TIME%%", "10", 2},
    {"%%CAPTCHA_POST_URL%%", "", 4},
    {"%%CAPTCHA_VCODE_STR%%", "", 4},
    {"%%CAPTCHA_REQ_DATA%%", "", 4},
    {"%%CAPTCHA_IMG_SRC%%", "", 4},
};
/* clang-format on */

/* Texts to insert; they go through a format pass, which halves their percent signs. */
static constexpr char reply_heading[] = "<h2>%%%%REPLY_TAG%%%%</h2>";
static constexpr char passcode_heading[] = "<h2>Please enter your passcode to continue.</h2>";
/* A page stands inside a quoted value, so its own quotes have a backslash. */
static constexpr char change_password_box[] =
    R"(<div class=\"fel\" style=\"display: %%%%DISPLAY_OR_HIDE%%%%\"><table><tr><td width=\"75px\" align=\"right\">)"
    R"(<input type=\"checkbox\" name=\"sph_cpw\" autocomplete=\"off\" /></td><td style=\"padding-left: 15px\">)"
    R"(<label style=\"font-size: 12px\">I want to change my password after logging in</label></td></tr></table></div>)";

/* The first `needle` in the text, in any case, or null; the text may be null. */
static char *find_any_case(char *text, const char *needle)
{
    return text ? v_memcasestr(text, strlen(text), needle, strlen(needle)) : nullptr;
}

static char *behind(char *found, const char *needle)
{
    return found ? found + strlen(needle) : nullptr;
}

char *_find_login_insert_location(char *text)
{
    char *form = behind(find_any_case(text, "<form"), "<form");
    char *heading = behind(find_any_case(form, "<h1"), "<h1");
    if (heading)
        return behind(find_any_case(heading, "</h1>"), "</h1>");
    return form ? behind(strchr(form, '>'), ">") : nullptr;
}

char *_find_login_change_pwd_location(char *text)
{
    if (!text || *text == '\0')
        return nullptr;
    if (const char *user = strstr(text, "sph_username"))
        return v_memrstr(text, static_cast<size_t>(user - text), "<div ", strlen("<div "));
    return behind(v_memrstr(text, strlen(text), "</h2>", strlen("</h2>")), "</h2>");
}

char *_find_challenge_insert_location(char *text)
{
    char *tag = text ? strstr(text, "%%REPLY_TAG%%") : nullptr;
    return behind(find_any_case(behind(tag, "%%REPLY_TAG%%"), "</h2>"), "</h2>");
}

/* 5.50: login pages tell why a login failed and offer to change the password, and the challenge says what it wants. */
void _migr_change_replace_msg(int32_t, void *, int32_t *)
{
    char **text = &top[4]->value;
    char  *before = begin_value_edit(top[4]);
    if (top_edt_in("login", "rsa-login") && top_edt_set_is("buffer")) {
        realloc_insert_str(text, _find_login_insert_location(*text), reply_heading);
        if (top_edt_is("login"))
            realloc_insert_str(text, _find_login_change_pwd_location(*text), change_password_box);
    }
    if (top_edt_is("rsa-challenge"))
        realloc_insert_str(text, _find_challenge_insert_location(*text), passcode_heading);
    end_value_edit(top[4], before);
}

/* 5.51: headings end without a full stop. Only pages named in quotes were ever changed, so a page without them keeps
 * its stop. */
void _migr_change_replace_msg2(int32_t, void *, int32_t *)
{
    static constexpr char sentence[] = "to continue.";
    if (!top_edt_set_is("buffer") || !top[4]->value)
        return;
    if (!cnd_name_in(top[2], "\"login\"", "\"token\"", "\"rsa-challenge\"", "\"change-passwd\"", "\"rsa-login\""))
        return;
    if (char *found = strstr(top[4]->value, sentence)) {
        char *before = begin_value_edit(top[4]);
        char *stop = found + strlen(sentence) - 1;
        memmove(stop, stop + 1, strlen(stop + 1) + 1);
        end_value_edit(top[4], before);
    }
}

void _cvt_rmsg_value(char *text)
{
    char *end = text;
    for (; *text; text++)
        if (*text != '\n')
            *end++ = *text;
    *end = '\0';
}

void _rmove_escape_in_rmsg(const char *in, char *out)
{
    static constexpr size_t room = 4096;
    if (strlen(in) < room)
        for (; *in; in++)
            if (*in != '\\')
                *out++ = *in;
    *out = '\0';
}

static bool differs_from_default_text(const config_node *page, const config_node *buffer)
{
    char        stripped[4096];
    const char *text = find_default_msg_by_name(cnd_std_name(page));
    _rmove_escape_in_rmsg(cnd_std_value(buffer), stripped);
    return text && strcmp(text, stripped) != 0;
}

static bool differs_from_default_code(const config_node *page, const config_node *code)
{
    const char *name = cnd_std_name(page);
    int32_t     number = number_of(cnd_std_value(code));
    /* A platform may fill its table when it is first asked for a text, and a page's code may stand ahead of its text.
     */
    if (!rmsg_def_pages)
        find_default_msg_by_name(name);
    for (int32_t i = 0; i < rmsg_def_page_size; i++)
        if (strcmp(rmsg_def_pages[i].name, name) == 0 && rmsg_def_pages[i].code != number)
            return true;
    return false;
}

static void look_for_customized_page(adjust_replacemsg_state *state)
{
    if (top_edt_is("pre-login-disclaimer"))
        return;
    if (top_edt_set_is("buffer") && differs_from_default_text(top[2], top[4]))
        state->customized = 1;
    if (top_edt_set_is("code") && differs_from_default_code(top[2], top[4]))
        state->customized = 1;
}

/* The eleventh page is the last one that was ever held; a twelfth stays where it is. */
static void take_page_out(adjust_replacemsg_state *state)
{
    static constexpr int32_t most = std::extent_v<decltype(adjust_replacemsg_state::pages)>;
    if (top_edt_is("pre-login-disclaimer")) {
        state->disclaimer = cnd_detach(top[2]);
        return;
    }
    config_node *page = state->count < most ? cnd_detach(top[2]) : nullptr;
    if (page)
        state->pages[state->count++] = page;
}

static void join_lines(config_node *text)
{
    char *before = begin_value_edit(text);
    _cvt_rmsg_value(text->value);
    end_value_edit(text, before);
}

/* A page in a group has a text, named otherwise than before, a code and a group, and nothing else. */
static void convert_page(config_node *page)
{
    for (config_node **link = &page->set_list; *link;) {
        config_node *set = *link;
        if (cnd_name_is(set, "buffer")) {
            if (set->value && strstr(set->value, "Server Unavailable"))
                join_lines(set);
            cnd_rename(set, "msg");
        } else if (!cnd_name_in(set, "code", "group")) {
            link = delete_at(link, &page->set_list, page);
            continue;
        }
        link = &set->next;
    }
}

/* Puts the pages into a group of their own, in their old order. False when the group cannot be made. */
static bool group_pages(const adjust_replacemsg_state *state)
{
    config_node *list = cnd_add_config(cnd_add_edit(top[1], "User-customized-message"), "page-list");
    if (!list)
        return false;
    for (int32_t i = state->count - 1; i >= 0; i--) {
        cnd_attach(state->pages[i], list);
        convert_page(state->pages[i]);
    }
    return true;
}

static void move_disclaimer(config_node *disclaimer)
{
    config_node *edit = cnd_add_edit(cnd_add_path(nullptr, "system,replacemsg-admin"), "pre-login-disclaimer");
    for (config_node *set = disclaimer->set_list; set; set = set->next) {
        if (!cnd_name_is(set, "buffer"))
            continue;
        cnd_add_prop(edit, "msg", "%s", set->value ? set->value : "");
        return;
    }
}

static void name_group_in_policies(const char *group)
{
    config_node *policies = cnd_find_top("server-policy,policy");
    for (config_node *policy = policies ? policies->edit_list : nullptr; policy; policy = policy->next)
        cnd_add_prop(policy, "replacemsg", "%s", group);
}

static void end_messages(adjust_replacemsg_state *state)
{
    bool grouped = !state->customized || group_pages(state);
    /* Pages that are all as the image has them are gone: its defaults serve now. */
    state->count = 0;
    if (!grouped)
        return;
    if (state->disclaimer)
        move_disclaimer(state->disclaimer);
    state->disclaimer = nullptr;
    name_group_in_policies(state->customized ? "User-customized-message" : "Predefined");
}

/*
 * Up to 6.19 an appliance had one set of pages; from 6.20 on it has groups of pages, one of them the image's own, and a
 * policy names its group. Round 1 asks whether any page of the file differs from the image's, round 2 moves them: one
 * changed page takes all of them along. The disclaimer goes to a configuration of its own.
 */
void _adjust_replacemsg(int32_t round, void *memory, int32_t *)
{
    auto *state = static_cast<adjust_replacemsg_state *>(memory);
    if (!top_suffix_is_empty())
        return;
    if (round == 1)
        look_for_customized_page(state);
    else if (top_edt_set_end())
        take_page_out(state);
    else if (top_cfg_set_end())
        end_messages(state);
}
