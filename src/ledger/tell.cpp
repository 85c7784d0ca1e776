/*
 * From what a function does to a link to what that means: which node stands below whom from now on, and which no
 * longer. Links are looked at as they are, so that also a list which two nodes share, or a node that is linked where it
 * did not leave, is told as it will be written.
 */
#include "ledger/tell.h"

#include "driver/hooks.h"
#include "ledger/identities.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace ledger {

migr_change_observer *observer = migr_on_change;
migr_author           author = {0, "host", "", 0};

namespace {

using numbers = stack<uint64_t>;

identities all;
uint64_t   last_number;
bool       outliving;  /* nodes that are made now outlive the pass */
bool       incomplete; /* memory ran out in this pass */
char       file_read[512];

written_text *written; /* null: none that is told of */

migr_change change_of(migr_change_kind kind)
{
    migr_change change = {};
    change.kind = kind;
    change.author = &author;
    return change;
}

migr_change change_of(migr_change_kind kind, const config_node *node, uint64_t number)
{
    migr_change change = change_of(kind);
    change.record = node;
    change.node = number;
    change.deleted = node->deleted;
    change.hidden = node->hidden;
    return change;
}

void run_out_of_memory()
{
    if (incomplete)
        return;
    incomplete = true;
    migr_change change = change_of(MIGR_INCOMPLETE);
    observer(&change);
}

identity *known(const config_node *node)
{
    return find_identity(&all, node);
}

/* A number for a node that has none. */
identity *give_number(const config_node *node)
{
    identity *given = add_identity(&all, node, last_number + 1, outliving);
    if (!given) {
        run_out_of_memory();
        return nullptr;
    }
    last_number++;
    return given;
}

void tell(migr_change_kind kind, const identity *node)
{
    migr_change change = change_of(kind, node->node, node->number);
    observer(&change);
}

void tell_place(migr_change_kind kind, const identity *node, uint64_t parent)
{
    migr_change change = change_of(kind, node->node, node->number);
    change.parent = parent;
    observer(&change);
}

void tell_places(migr_change_kind kind, const identity *node, const numbers &parents)
{
    for (size_t i = 0; i < parents.count; i++)
        tell_place(kind, node, parents.records[i]);
}

void put(identity *node, uint64_t parent)
{
    if (!node || stands_below(&all, node, parent))
        return;
    if (!add_place(&all, node, parent))
        return run_out_of_memory();
    tell_place(MIGR_LINKED, node, parent);
}

void take(identity *node, uint64_t parent)
{
    if (!node || !stands_below(&all, node, parent))
        return;
    remove_place(&all, node, parent);
    tell_place(MIGR_UNLINKED, node, parent);
}

void push_places_of(const config_node *node, numbers *parents)
{
    const identity *found = known(node);
    if (found && !push_places(&all, found, parents))
        run_out_of_memory();
}

/* Whose list a head is: a node keeps its heads in its own record. Null when it is no told node's. */
const identity *owner_of(config_node **list)
{
    static constexpr size_t heads[] = {offsetof(config_node, set_list), offsetof(config_node, edit_list),
                                       offsetof(config_node, config_list), offsetof(config_node, top_list)};
    for (size_t head : heads)
        if (const identity *owner = known(reinterpret_cast<config_node *>(reinterpret_cast<char *>(list) - head)))
            return owner;
    return nullptr;
}

/* The parents below whom stands what a link leads to. A `next` comes first in its record, so such a link lies where its
 * node does. */
void push_parents_at(config_node **link, numbers *parents)
{
    static_assert(offsetof(config_node, next) == 0);
    auto *ahead = reinterpret_cast<config_node *>(link);
    if (known(ahead))
        return push_places_of(ahead, parents);
    const identity *owner = owner_of(link);
    if (owner && push_record(parents, owner->number) != 0)
        run_out_of_memory();
}

/* A record that a host made is told when it is linked, with all that hangs below it. */
void introduce(const config_node *node)
{
    stack<const config_node *> waiting = {};
    if (known(node))
        return;
    const identity *given = give_number(node);
    if (given)
        tell(MIGR_MADE, given);
    int32_t result = given ? push_record(&waiting, node) : 0;
    while (result == 0 && waiting.count > 0) {
        const config_node *above = waiting.records[--waiting.count];
        uint64_t           parent = known(above)->number;
        const config_node *lists[] = {above->set_list, above->edit_list, above->config_list, above->top_list};
        for (const config_node *child : lists)
            for (; child && result == 0; child = child->next) {
                identity *below = known(child);
                bool      is_new = !below;
                if (is_new && !(below = give_number(child)))
                    break;
                if (is_new)
                    tell(MIGR_MADE, below);
                put(below, parent);
                if (is_new)
                    result = push_record(&waiting, child);
            }
    }
    if (result != 0)
        run_out_of_memory();
    free_stack(&waiting);
}

/* What stands behind a node goes along with it, away from these parents or to them. */
void take_all(const config_node *first, const numbers &parents)
{
    for (; parents.count > 0 && first; first = first->next)
        for (size_t i = 0; i < parents.count; i++)
            take(known(first), parents.records[i]);
}

void put_all(const config_node *first, const numbers &parents)
{
    for (; parents.count > 0 && first; first = first->next)
        for (size_t i = 0; i < parents.count; i++)
            put(known(first), parents.records[i]);
}

void introduce_all(const config_node *first)
{
    for (; first; first = first->next)
        introduce(first);
}

/* The names of authors may go with the pass. */
void forget(bool of_run)
{
    set_author(0, "host");
    remove_all(&all, of_run);
    incomplete = false;
    outliving = false;
}

} // namespace

void tell_opened(const config_node *root, const char *path)
{
    if (identity *stale = known(root))
        remove_identity(&all, stale);
    const identity *given = give_number(root);
    if (!given)
        return;
    migr_change change = change_of(MIGR_OPENED, root, given->number);
    change.file = path;
    observer(&change);
}

void tell_kept_root(const config_node *root)
{
    bool before = outliving;
    outliving = true;
    tell_opened(root, nullptr);
    outliving = before;
}

void tell_parsed(const config_node *node, const config_node *parent, uint32_t first_line, uint32_t last_line)
{
    if (!known(parent))
        introduce(parent);
    const identity *above = known(parent);
    uint64_t        below = above ? above->number : 0;
    identity       *given = above ? give_number(node) : nullptr;
    if (!given)
        return;
    add_place(&all, given, below);
    migr_change change = change_of(MIGR_PARSED, node, given->number);
    change.parent = below;
    change.first_line = first_line;
    change.last_line = last_line;
    observer(&change);
}

void tell_parsed_end(const config_node *node, uint32_t line)
{
    const identity *found = known(node);
    if (!found)
        return;
    migr_change change = change_of(MIGR_PARSED_END, node, found->number);
    change.last_line = line;
    observer(&change);
}

void tell_made(const config_node *node)
{
    if (const identity *given = give_number(node))
        tell(MIGR_MADE, given);
}

void tell_copied(const config_node *node, const config_node *source)
{
    const identity *from = known(source);
    uint64_t        number = from ? from->number : 0;
    const identity *target = known(node);
    if (!target)
        target = give_number(node);
    if (!target)
        return;
    migr_change change = change_of(MIGR_COPIED, node, target->number);
    change.source = number;
    observer(&change);
}

void nodes_outlive_pass(bool outlive)
{
    outliving = outlive;
}

/* A node that still stands elsewhere is led away from what stood behind it, and what it now leads to stands there
 * too. */
void tell_linking(config_node **link, const config_node *node)
{
    numbers to = {};
    numbers from = {};
    introduce(node);
    push_parents_at(link, &to);
    push_places_of(node, &from);
    take_all(from.count > 0 ? node->next : nullptr, from);
    put_all(from.count > 0 ? *link : nullptr, from);
    for (size_t i = 0; i < to.count; i++)
        put(known(node), to.records[i]);
    free_stack(&to);
    free_stack(&from);
}

void tell_adopting(config_node **list, const config_node *first)
{
    numbers to = {};
    introduce_all(first);
    push_parents_at(list, &to);
    put_all(first, to);
    free_stack(&to);
}

void tell_unlinking(config_node **link, const config_node *node)
{
    numbers from = {};
    push_parents_at(link, &from);
    for (size_t i = 0; i < from.count; i++)
        take(known(node), from.records[i]);
    free_stack(&from);
}

void tell_exchanging(const config_node *one, const config_node *other)
{
    identity *first = known(one);
    identity *second = known(other);
    if (!first || !second)
        return;
    numbers places_of_one = {};
    numbers places_of_other = {};
    push_places_of(one, &places_of_one);
    push_places_of(other, &places_of_other);
    tell_places(MIGR_UNLINKED, first, places_of_one);
    tell_places(MIGR_UNLINKED, second, places_of_other);
    exchange_numbers(&all, first, second);
    tell_places(MIGR_LINKED, first, places_of_one);
    tell_places(MIGR_LINKED, second, places_of_other);
    free_stack(&places_of_one);
    free_stack(&places_of_other);
}

void tell_renaming(const config_node *node, const char *name)
{
    const identity *found = strcmp(node->name, name) == 0 ? nullptr : known(node);
    if (!found)
        return;
    migr_change change = change_of(MIGR_RENAMED, node, found->number);
    change.before = node->name;
    change.after = name;
    observer(&change);
}

void tell_revalued(const config_node *node, const char *before, const char *after)
{
    bool            alike = before && after ? strcmp(before, after) == 0 : before == after;
    const identity *found = alike ? nullptr : known(node);
    if (!found)
        return;
    migr_change change = change_of(MIGR_REVALUED, node, found->number);
    change.before = before;
    change.after = after;
    observer(&change);
}

void tell_marked(const config_node *node)
{
    if (const identity *found = known(node))
        tell(MIGR_MARKED, found);
}

void tell_read_file(const char *path)
{
    snprintf(file_read, sizeof file_read, "%s", path);
}

void tell_filled(const config_node *node)
{
    const identity *found = known(node);
    if (!found)
        return;
    migr_change change = change_of(MIGR_FILLED, node, found->number);
    change.file = file_read;
    observer(&change);
}

void tell_releasing(const config_node *node)
{
    identity *found = known(node);
    if (!found)
        return;
    tell(MIGR_RELEASED, found);
    remove_identity(&all, found);
}

uint32_t lines_in(const char *text)
{
    uint32_t lines = 0;
    for (; (text = strchr(text, '\n')) != nullptr; text++)
        lines++;
    return lines;
}

void write_on(written_text *text)
{
    written = text;
}

bool tells_writing()
{
    return is_watched() && written;
}

void tell_written(const config_node *node, bool with_value)
{
    if (!written)
        return;
    const identity *found = known(node);
    uint32_t        first_line = written->lines + 1;
    written->lines += 1 + lines_in(node->name) + (with_value && node->value ? lines_in(node->value) : 0);
    if (!found)
        return;
    migr_change change = change_of(MIGR_WRITTEN, node, found->number);
    change.first_line = first_line;
    change.last_line = written->lines;
    change.file = written->file;
    observer(&change);
}

void tell_written_end(const config_node *node)
{
    if (!written)
        return;
    written->lines++;
    const identity *found = known(node);
    if (!found)
        return;
    migr_change change = change_of(MIGR_WRITTEN_END, node, found->number);
    change.last_line = written->lines;
    change.file = written->file;
    observer(&change);
}

void tell_left_out(const config_node *node)
{
    if (const identity *found = known(node))
        tell(MIGR_LEFT_OUT, found);
}

void tell_unwritten(const config_node *first)
{
    for (const config_node *node = first; node; node = node->next) {
        const identity *found = known(node);
        if (!found || found->parent == 0)
            return;
        if (!node->deleted && !node->hidden)
            tell(MIGR_LEFT_OUT, found);
    }
}

void tell_file(migr_change_kind kind, const char *path, const char *before)
{
    if (!observer)
        return;
    migr_change change = change_of(kind);
    change.file = path;
    change.before = before;
    observer(&change);
}

void tell_pass_ends()
{
    forget(false);
}

void tell_run_ends()
{
    forget(true);
}

} // namespace ledger

void migr_observe_changes(migr_change_observer *observer)
{
    ledger::observer = observer ? observer : migr_on_change;
    ledger::forget(false);
    ledger::forget(true);
}

uint64_t migr_identity_of(const config_node *node)
{
    const ledger::identity *found = ledger::find_identity(&ledger::all, node);
    return found ? found->number : 0;
}
