/* Entries lie in the order of the nodes' numbers. Nodes that are gone keep theirs, since a number never comes back. */
#include "ledger/second_book.h"

#include "ledger/identities.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

/* A node as it was told. A number that was never told has no kind. */
struct entry {
    char    *name;
    char    *value;
    uint64_t parent; /* one of its places; the others are in `further` */
    uint64_t seen;   /* by a check: the parent below which it was met last */
    uint32_t kind;
    uint32_t round; /* the check in which that was */
    uint32_t count; /* of nodes that stand below it in lists that are written */
    uint8_t  deleted;
    uint8_t  hidden;
    bool     is_gone;
};

struct second_book {
    stack<entry>         entries;
    stack<ledger::place> further;
    uint64_t             first; /* the number of the first entry */
    uint32_t             round;
    int32_t              differences;
    bool                 incomplete;
    void (*report)(const char *difference);
};

second_book book;

constexpr int32_t most_reports = 20;

__attribute__((format(printf, 1, 2))) void differ(const char *format, ...)
{
    char    text[512];
    va_list arguments;
    if (++book.differences > most_reports || !book.report)
        return;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    book.report(text);
}

/* Null for a number that was never told, or whose node is gone. */
entry *entry_of(uint64_t number)
{
    if (number < book.first || number - book.first >= book.entries.count)
        return nullptr;
    entry *found = &book.entries.records[number - book.first];
    return found->kind == 0 || found->is_gone ? nullptr : found;
}

/* Numbers are given in ascending order, but those of a host's block come as they are met. */
entry *new_entry(uint64_t number)
{
    if (book.entries.count == 0)
        book.first = number;
    while (book.first + book.entries.count <= number)
        if (push_record(&book.entries, entry{}) != 0)
            return nullptr;
    return &book.entries.records[number - book.first];
}

void keep_text(char **kept, const char *text)
{
    char *copy = text ? strdup(text) : nullptr;
    if (text && !copy)
        book.incomplete = true;
    free(*kept);
    *kept = copy;
}

void keep_content(entry *noted, const migr_change *change)
{
    keep_text(&noted->name, change->record->name);
    keep_text(&noted->value, change->record->value);
    noted->kind = change->record->kind == 0 ? uint32_t{MIGR_SET} : change->record->kind;
    noted->deleted = change->deleted;
    noted->hidden = change->hidden;
}

void note_new(const migr_change *change)
{
    entry *noted = entry_of(change->node);
    if (!noted)
        noted = new_entry(change->node);
    if (noted)
        keep_content(noted, change);
    else
        book.incomplete = true;
}

/* An entry's list of entries is no part of its text, and neither is what stands outside of all blocks. */
bool is_counted(const entry *above, const entry *below)
{
    if (above->kind == MIGR_ROOT)
        return below->kind == MIGR_TOP;
    return above->kind != MIGR_EDIT || below->kind != MIGR_EDIT;
}

void count_place(uint64_t parent, const entry *below, int32_t step)
{
    entry *above = entry_of(parent);
    if (above && is_counted(above, below))
        above->count += static_cast<uint32_t>(step);
}

/* Where the place is in `further`, or its end. */
size_t further_place(uint64_t node, uint64_t parent)
{
    size_t at = 0;
    while (at < book.further.count &&
           (book.further.records[at].node != node || book.further.records[at].parent != parent))
        at++;
    return at;
}

bool stands_below(const entry *noted, uint64_t node, uint64_t parent)
{
    return noted->parent == parent || further_place(node, parent) < book.further.count;
}

void drop_further(size_t at)
{
    book.further.records[at] = *top_record(&book.further);
    book.further.count--;
}

void note_linked(const migr_change *change)
{
    entry *noted = entry_of(change->node);
    if (!noted || !entry_of(change->parent))
        return differ("a link of %s below a parent that was never told of", change->record->name);
    if (stands_below(noted, change->node, change->parent))
        return differ("%s is linked below a parent where it stands already", noted->name);
    if (noted->parent == 0)
        noted->parent = change->parent;
    else if (push_record(&book.further, ledger::place{change->node, change->parent}) != 0)
        book.incomplete = true;
    count_place(change->parent, noted, 1);
}

/* Another of its places, if it has any, becomes the first. */
void promote(entry *noted, uint64_t node)
{
    for (size_t i = 0; i < book.further.count; i++)
        if (book.further.records[i].node == node) {
            noted->parent = book.further.records[i].parent;
            return drop_further(i);
        }
    noted->parent = 0;
}

void note_unlinked(const migr_change *change)
{
    entry *noted = entry_of(change->node);
    if (!noted || !stands_below(noted, change->node, change->parent))
        return differ("%s is unlinked where it was never told to stand", change->record->name);
    count_place(change->parent, noted, -1);
    if (noted->parent == change->parent)
        promote(noted, change->node);
    else
        drop_further(further_place(change->node, change->parent));
}

void note_released(const migr_change *change)
{
    entry *noted = entry_of(change->node);
    if (!noted)
        return;
    while (noted->parent != 0) {
        count_place(noted->parent, noted, -1);
        promote(noted, change->node);
    }
    noted->is_gone = true;
    keep_text(&noted->name, nullptr);
    keep_text(&noted->value, nullptr);
}

bool alike(const char *one, const char *other)
{
    return one && other ? strcmp(one, other) == 0 : one == other;
}

void note_text(const migr_change *change, char *entry::*text)
{
    entry *noted = entry_of(change->node);
    if (!noted)
        return differ("a text of %s, which was never told of", change->record->name);
    if (!alike(noted->*text, change->before))
        differ("%s had \"%s\" before, which was told as \"%s\"", noted->name, noted->*text ? noted->*text : "(null)",
               change->before ? change->before : "(null)");
    keep_text(&(noted->*text), change->after);
}

void note_marked(const migr_change *change)
{
    entry *noted = entry_of(change->node);
    if (!noted)
        return differ("a mark of %s, which was never told of", change->record->name);
    noted->deleted = change->deleted;
    noted->hidden = change->hidden;
}

/* ---- Comparing ---- */

/* Whoever writes a tree turns the commas of a top-level name into blanks, which is not told. */
bool names_alike(const char *told, const char *name)
{
    for (; told && *name && (*told == *name || (*told == ',' && *name == ' ')); told++, name++)
        ;
    return told && *told == *name;
}

void compare(const entry *noted, const config_node *node)
{
    if (node->kind == MIGR_TOP ? !names_alike(noted->name, node->name) : !alike(noted->name, node->name))
        differ("%s is told to be named %s", node->name, noted->name ? noted->name : "(null)");
    if (!alike(noted->value, node->value))
        differ("%s has the value \"%s\", told is \"%s\"", node->name, node->value ? node->value : "(null)",
               noted->value ? noted->value : "(null)");
    if (noted->deleted != node->deleted || noted->hidden != node->hidden)
        differ("%s has the flags %d %d, told are %d %d", node->name, node->deleted, node->hidden, noted->deleted,
               noted->hidden);
}

/* What is compared of a list, and where its nodes wait for what hangs below them. */
struct comparison {
    uint64_t                   parent;
    uint32_t                   met;
    stack<const config_node *> waiting;
};

void compare_list(const config_node *list, comparison *compared)
{
    for (const config_node *node = list; node; node = node->next) {
        uint64_t number = migr_identity_of(node);
        entry   *noted = entry_of(number);
        if (!noted || !stands_below(noted, number, compared->parent)) {
            differ("%s stands where it was never told to", node->name);
            continue;
        }
        if (noted->seen == compared->parent && noted->round == book.round)
            continue;                             /* by another list of the same parent */
        bool is_new = noted->round != book.round; /* two blocks may share their lists */
        noted->seen = compared->parent;
        noted->round = book.round;
        compared->met++;
        if (!is_new)
            continue;
        compare(noted, node);
        if (push_record(&compared->waiting, node) != 0)
            book.incomplete = true;
    }
}

/* The lists that are written are looked into, as they are for each kind. */
void compare_children(const config_node *node, comparison *compared)
{
    uint64_t     number = migr_identity_of(node);
    const entry *noted = entry_of(number);
    compared->parent = number;
    compared->met = 0;
    if (node->kind == MIGR_ROOT)
        compare_list(node->top_list, compared);
    if (node->kind == MIGR_TOP || node->kind == MIGR_CONFIG)
        compare_list(node->edit_list, compared);
    if (node->kind >= MIGR_TOP && node->kind <= MIGR_EDIT) {
        compare_list(node->config_list, compared);
        compare_list(node->set_list, compared);
    }
    if (noted && noted->count != compared->met && node->kind <= MIGR_EDIT)
        differ("%s has %u nodes below it, told are %u", node->name, compared->met, noted->count);
}

} // namespace

void migr_book_open(void)
{
    migr_book_close();
}

void migr_book_note(const migr_change *change)
{
    switch (change->kind) {
    case MIGR_OPENED:
    case MIGR_MADE:
    case MIGR_COPIED:
        return note_new(change);
    case MIGR_PARSED:
        note_new(change);
        return note_linked(change);
    case MIGR_LINKED:
        return note_linked(change);
    case MIGR_UNLINKED:
        return note_unlinked(change);
    case MIGR_RENAMED:
        return note_text(change, &entry::name);
    case MIGR_REVALUED:
        return note_text(change, &entry::value);
    case MIGR_MARKED:
        return note_marked(change);
    case MIGR_RELEASED:
        return note_released(change);
    case MIGR_INCOMPLETE:
        book.incomplete = true;
        return;
    default:
        return;
    }
}

int32_t migr_book_check(const config_node *root, void (*report)(const char *difference))
{
    comparison compared = {};
    book.report = report;
    book.round++;
    if (!entry_of(migr_identity_of(root)))
        differ("the root was never told of");
    else if (push_record(&compared.waiting, root) != 0)
        book.incomplete = true;
    while (compared.waiting.count > 0 && !book.incomplete)
        compare_children(compared.waiting.records[--compared.waiting.count], &compared);
    free_stack(&compared.waiting);
    int32_t differences = book.incomplete ? 0 : book.differences;
    book.differences = 0;
    return differences;
}

int32_t migr_book_is_incomplete(void)
{
    return book.incomplete;
}

void migr_book_close(void)
{
    for (size_t i = 0; i < book.entries.count; i++) {
        free(book.entries.records[i].name);
        free(book.entries.records[i].value);
    }
    free_stack(&book.entries);
    free_stack(&book.further);
    book = {};
}
