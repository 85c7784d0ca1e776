/*
 * A tree of tokens whose branches are found by hash. Branches that come to have one path become one, the smaller taken
 * into the larger, so that n renames of n rules take n log n steps.
 */
#include "rules/rule_paths.h"

#include "rules/text_filter.h"

#include <cstring>
#include <utility>

namespace {

constexpr uint32_t none = UINT32_MAX;
constexpr uint32_t root = 0;

path_branch *at(const rule_paths *paths, uint32_t branch)
{
    return &paths->branches.records[branch];
}

/* The branch that has taken this one in. */
uint32_t standing(const rule_paths *paths, uint32_t branch)
{
    while (at(paths, branch)->merged != branch) {
        path_branch *passed = at(paths, branch);
        passed->merged = at(paths, passed->merged)->merged;
        branch = passed->merged;
    }
    return branch;
}

/* ---- Finding a child by its token ---- */

uint32_t *bucket_of(const rule_paths *paths, uint32_t parent, uint64_t hash)
{
    uint64_t mixed = (hash ^ (parent + 1) * 0x9e3779b97f4a7c15) * 0xff51afd7ed558ccd;
    return &paths->buckets.records[(mixed >> 32) & (paths->buckets.count - 1)];
}

void enter(rule_paths *paths, uint32_t branch)
{
    path_branch *entered = at(paths, branch);
    uint32_t    *bucket = bucket_of(paths, entered->parent, entered->hash);
    entered->next_alike = *bucket;
    *bucket = branch;
}

void strike(rule_paths *paths, uint32_t branch)
{
    uint32_t *link = bucket_of(paths, at(paths, branch)->parent, at(paths, branch)->hash);
    while (*link != branch)
        link = &at(paths, *link)->next_alike;
    *link = at(paths, branch)->next_alike;
}

/* As many buckets as branches, at least. */
int32_t make_room(rule_paths *paths)
{
    size_t count = paths->buckets.count;
    if (paths->branches.count < count)
        return 0;
    for (size_t added = count ? count : 64; added > 0; added--)
        if (push_record(&paths->buckets, none) != 0)
            return -1;
    memset(paths->buckets.records, 0xff, paths->buckets.count * sizeof none);
    for (uint32_t branch = root + 1; branch < paths->branches.count; branch++)
        if (at(paths, branch)->parent != none)
            enter(paths, branch);
    return 0;
}

uint32_t child_of(const rule_paths *paths, uint32_t parent, text_piece token)
{
    uint64_t hash = hash_text(NO_TEXT_HASH, token.text, token.length);
    uint32_t child = paths->buckets.count ? *bucket_of(paths, parent, hash) : none;
    for (; child != none; child = at(paths, child)->next_alike) {
        const path_branch *tried = at(paths, child);
        if (tried->parent == parent && tried->hash == hash && tried->token_length == token.length &&
            memcmp(paths->texts.records + tried->token, token.text, token.length) == 0)
            return child;
    }
    return none;
}

/* ---- Hanging branches ---- */

void hang(rule_paths *paths, uint32_t branch, uint32_t parent)
{
    path_branch *hung = at(paths, branch);
    path_branch *above = at(paths, parent);
    hung->parent = parent;
    hung->previous = none;
    hung->next = above->first_child;
    if (hung->next != none)
        at(paths, hung->next)->previous = branch;
    above->first_child = branch;
    above->children++;
    enter(paths, branch);
}

void take_off(rule_paths *paths, uint32_t branch)
{
    path_branch *taken = at(paths, branch);
    path_branch *above = at(paths, taken->parent);
    strike(paths, branch);
    (taken->previous == none ? above->first_child : at(paths, taken->previous)->next) = taken->next;
    if (taken->next != none)
        at(paths, taken->next)->previous = taken->previous;
    above->children--;
    taken->parent = none;
}

int32_t set_token(rule_paths *paths, uint32_t branch, text_piece token)
{
    size_t place = paths->texts.count;
    for (size_t i = 0; i < token.length; i++)
        if (push_record(&paths->texts, token.text[i]) != 0)
            return -1;
    path_branch *named = at(paths, branch);
    named->token = place;
    named->token_length = static_cast<uint32_t>(token.length);
    named->hash = hash_text(NO_TEXT_HASH, token.text, token.length);
    return 0;
}

/* A branch that hangs nowhere, or none without memory. */
uint32_t new_branch(rule_paths *paths)
{
    auto branch = static_cast<uint32_t>(paths->branches.count);
    bool added = push_record(&paths->branches, {none, branch, none, none, none, 0, none, 0, 0, 0}) == 0;
    return added && make_room(paths) == 0 ? branch : none;
}

uint32_t open_child(rule_paths *paths, uint32_t parent, text_piece token)
{
    uint32_t child = child_of(paths, parent, token);
    if (child != none)
        return child;
    child = new_branch(paths);
    if (child == none || set_token(paths, child, token) != 0)
        return none;
    hang(paths, child, parent);
    return child;
}

/* ---- Paths ---- */

/* Cuts the next token off a path. False when no ">" is left. */
bool next_token(text_piece *path, text_piece *token)
{
    const auto *close = static_cast<const char *>(memchr(path->text, '>', path->length));
    if (!close)
        return false;
    *token = {path->text, static_cast<size_t>(close + 1 - path->text)};
    *path = {close + 1, path->length - token->length};
    return true;
}

uint32_t find_branch(const rule_paths *paths, text_piece path)
{
    uint32_t   branch = paths->branches.count ? root : none;
    text_piece token;
    while (branch != none && next_token(&path, &token))
        branch = child_of(paths, branch, token);
    return branch;
}

uint32_t open_branch(rule_paths *paths, text_piece path)
{
    uint32_t   branch = paths->branches.count ? root : new_branch(paths);
    text_piece token;
    while (branch != none && next_token(&path, &token))
        branch = open_child(paths, branch, token);
    return branch;
}

/* ---- Two branches that come to have one path ---- */

/* A branch that hangs in the tree, and one that does not and is to become part of it. */
struct meeting {
    uint32_t hanging;
    uint32_t coming;
};

/* The one with more children takes the other in, so that a branch changes its parent few times. */
void take_place(rule_paths *paths, meeting *pair)
{
    path_branch *hanging = at(paths, pair->hanging);
    path_branch *coming = at(paths, pair->coming);
    if (coming->children <= hanging->children)
        return;
    uint32_t parent = hanging->parent;
    take_off(paths, pair->hanging);
    coming->token = hanging->token;
    coming->token_length = hanging->token_length;
    coming->hash = hanging->hash;
    hang(paths, pair->coming, parent);
    std::swap(pair->hanging, pair->coming);
}

int32_t merge(rule_paths *paths, meeting first)
{
    stack<meeting> waiting = {};
    int32_t        result = push_record(&waiting, first);
    while (result == 0 && waiting.count > 0) {
        meeting pair = waiting.records[--waiting.count];
        take_place(paths, &pair);
        at(paths, pair.coming)->merged = pair.hanging;
        while (result == 0 && at(paths, pair.coming)->first_child != none) {
            uint32_t   child = at(paths, pair.coming)->first_child;
            text_piece token = {paths->texts.records + at(paths, child)->token, at(paths, child)->token_length};
            uint32_t   other = child_of(paths, pair.hanging, token);
            take_off(paths, child);
            if (other == none)
                hang(paths, child, pair.hanging);
            else
                result = push_record(&waiting, {other, child});
        }
    }
    free_stack(&waiting);
    return result;
}

/* Where the last token of a path begins. */
size_t last_token(text_piece path)
{
    const auto *ahead = static_cast<const char *>(memrchr(path.text, '>', path.length - 1));
    return ahead ? static_cast<size_t>(ahead + 1 - path.text) : 0;
}

} // namespace

int32_t add_path(rule_paths *paths, text_piece path)
{
    const auto *end = static_cast<const char *>(memrchr(path.text, '>', path.length));
    path.length = end ? static_cast<size_t>(end + 1 - path.text) : 0;
    uint32_t branch = open_branch(paths, path);
    return branch == none ? -1 : push_record(&paths->rules, {branch, path.length});
}

/* Hangs a branch that is in the tree where the path leads. */
static int32_t rehang(rule_paths *paths, uint32_t branch, text_piece path)
{
    size_t     place = last_token(path);
    text_piece token = {path.text + place, path.length - place};
    uint32_t   parent = open_branch(paths, {path.text, place});
    if (parent == none)
        return -1;
    take_off(paths, branch);
    uint32_t other = child_of(paths, parent, token);
    if (other != none)
        return merge(paths, {other, branch});
    if (set_token(paths, branch, token) != 0)
        return -1;
    hang(paths, branch, parent);
    return 0;
}

int32_t move_path(rule_paths *paths, text_piece from, text_piece to)
{
    uint32_t branch = find_branch(paths, from);
    if (branch == none || (from.length == to.length && memcmp(from.text, to.text, to.length) == 0))
        return 0;
    paths->moved = true;
    int32_t result = rehang(paths, branch, to);
    paths->torn = result != 0;
    return result;
}

char *current_text(rule_paths *paths, size_t rule, const char *text)
{
    if (paths->torn)
        return nullptr;
    const ruled_path *path = &paths->rules.records[rule];
    uint32_t          last = standing(paths, path->branch);
    size_t            length = 0;
    for (uint32_t branch = last; branch != root; branch = at(paths, branch)->parent)
        length += at(paths, branch)->token_length;
    size_t rest = strlen(text) - path->length;
    auto  *current = static_cast<char *>(malloc(length + rest + 1));
    if (!current)
        return nullptr;
    char *end = current + length;
    for (uint32_t branch = last; branch != root; branch = at(paths, branch)->parent) {
        end -= at(paths, branch)->token_length;
        memcpy(end, paths->texts.records + at(paths, branch)->token, at(paths, branch)->token_length);
    }
    memcpy(current + length, text + path->length, rest + 1);
    return current;
}

void free_paths(rule_paths *paths)
{
    free_stack(&paths->branches);
    free_stack(&paths->texts);
    free_stack(&paths->rules);
    free_stack(&paths->buckets);
    *paths = {};
}
