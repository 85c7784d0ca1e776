/* Nodes lie in the order of their numbers. Texts are kept in pieces that never move, so changes point into them. */
#include "ledger/journal.h"

#include "tree/stack.h"

#include <cstring>

namespace {

constexpr size_t piece_size = 65536;

struct text_piece {
    text_piece *before;
    size_t      used;
    size_t      room;
    char       *text;
};

struct author_piece {
    author_piece *before;
    migr_author   author;
};

struct journal {
    stack<migr_journal_node>   nodes;
    stack<migr_journal_change> changes;
    stack<migr_journal_text>   texts;
    text_piece                *pieces;
    author_piece              *authors;
    uint64_t                   first; /* the number of the first node */
    bool                       incomplete;
};

journal kept;

template <typename record> bool push(stack<record> *onto, const record &added)
{
    if (push_record(onto, added) == 0)
        return true;
    kept.incomplete = true;
    return false;
}

text_piece *piece_with(size_t size)
{
    if (kept.pieces && kept.pieces->room - kept.pieces->used >= size)
        return kept.pieces;
    size_t room = size > piece_size ? size : piece_size;
    auto  *piece = static_cast<text_piece *>(malloc(sizeof(text_piece) + room));
    if (!piece)
        return nullptr;
    *piece = {kept.pieces, 0, room, reinterpret_cast<char *>(piece + 1)};
    kept.pieces = piece;
    return piece;
}

/* Null for null, and without memory. */
const char *keep(const char *text)
{
    size_t      size = text ? strlen(text) + 1 : 0;
    text_piece *piece = text ? piece_with(size) : nullptr;
    if (text && !piece)
        kept.incomplete = true;
    if (!piece)
        return nullptr;
    char *copy = static_cast<char *>(memcpy(piece->text + piece->used, text, size));
    piece->used += size;
    return copy;
}

bool is_same(const migr_author &one, const migr_author &other)
{
    return one.release == other.release && one.line == other.line && strcmp(one.mechanism, other.mechanism) == 0 &&
           strcmp(one.name, other.name) == 0;
}

/* Whoever is at work mostly makes several changes. Never null, but without memory. */
const migr_author *keep(const migr_author *author)
{
    if (kept.authors && is_same(kept.authors->author, *author))
        return &kept.authors->author;
    auto *piece = static_cast<author_piece *>(malloc(sizeof(author_piece)));
    if (!piece)
        return nullptr;
    *piece = {kept.authors, *author};
    piece->author.mechanism = keep(author->mechanism);
    piece->author.name = keep(author->name);
    if (!piece->author.mechanism || !piece->author.name) {
        free(piece);
        return nullptr;
    }
    kept.authors = piece;
    return &piece->author;
}

/* Null for a number ahead of the first, and without memory. */
migr_journal_node *node_of(uint64_t number)
{
    if (kept.nodes.count == 0)
        kept.first = number;
    if (number < kept.first)
        return nullptr;
    while (kept.first + kept.nodes.count <= number)
        if (!push(&kept.nodes, migr_journal_node{}))
            return nullptr;
    return &kept.nodes.records[number - kept.first];
}

/* The number of a text, a new one for a file that has not been written since a text was read last: what the split
 * writes is read and written again. 0 without memory. */
uint32_t output_for(const char *file)
{
    for (size_t i = kept.texts.count; i > 0 && kept.texts.records[i - 1].root == 0; i--)
        if (strcmp(kept.texts.records[i - 1].file, file) == 0)
            return static_cast<uint32_t>(i);
    const char *name = keep(file);
    if (!name || !push(&kept.texts, migr_journal_text{name, 0, kept.changes.count}))
        return 0;
    return static_cast<uint32_t>(kept.texts.count);
}

uint32_t text_with_root(uint64_t root)
{
    for (size_t i = kept.texts.count; i > 0; i--)
        if (kept.texts.records[i - 1].root == root)
            return static_cast<uint32_t>(i);
    return 0;
}

void note_opened(const migr_change *change)
{
    if (migr_journal_node *root = node_of(change->node))
        root->kind = MIGR_ROOT;
    if (change->file)
        push(&kept.texts, migr_journal_text{keep(change->file), change->node, kept.changes.count});
}

void note_parsed(const migr_change *change)
{
    const migr_journal_node *above = node_of(change->parent);
    uint32_t                 text = above ? above->in.text : 0;
    if (text == 0)
        text = text_with_root(change->parent);
    migr_journal_node *node = node_of(change->node);
    if (!node)
        return;
    node->parent = change->parent;
    node->kind = change->record->kind;
    node->in = {text, change->first_line, change->last_line, 0};
}

void note_end(const migr_change *change, migr_lines migr_journal_node::*lines)
{
    if (migr_journal_node *node = node_of(change->node))
        (node->*lines).end = change->last_line;
}

void note_written(const migr_change *change)
{
    uint32_t text = output_for(change->file);
    if (migr_journal_node *node = node_of(change->node))
        node->out = {text, change->first_line, change->last_line, 0};
}

/* Puts the change behind the others of its node. */
void chain_change(migr_journal_node *node)
{
    auto number = static_cast<uint32_t>(kept.changes.count);
    if (node->changes == 0)
        node->changes = number;
    else
        kept.changes.records[node->latest - 1].next = number;
    node->latest = number;
}

void note_place(const migr_change *change, migr_journal_node *node)
{
    bool is_new = node->kind == 0;
    if (is_new)
        node->kind = change->record->kind == 0 ? uint32_t{MIGR_SET} : change->record->kind;
    if (change->kind == MIGR_COPIED && is_new)
        node->source = change->source;
    if (change->kind == MIGR_LINKED)
        node->parent = change->parent;
    node->deleted = change->deleted;
    node->hidden = change->hidden;
}

void note_change(const migr_change *change)
{
    migr_journal_change noted = {};
    noted.node = change->node;
    noted.parent = change->parent;
    noted.source = change->source;
    noted.author = keep(change->author);
    noted.before = keep(change->kind == MIGR_MADE ? change->record->name : change->before);
    noted.after = keep(change->kind == MIGR_MADE ? change->record->value : change->after);
    noted.file = keep(change->file);
    noted.kind = change->kind;
    noted.deleted = change->deleted;
    noted.hidden = change->hidden;
    if (!noted.author)
        kept.incomplete = true;
    migr_journal_node *node = change->node && noted.author ? node_of(change->node) : nullptr;
    if (!noted.author || (change->node && !node) || !push(&kept.changes, noted))
        return;
    if (!node)
        return;
    note_place(change, node);
    chain_change(node);
}

} // namespace

void migr_journal_open(void)
{
    migr_journal_close();
}

void migr_journal_note(const migr_change *change)
{
    switch (change->kind) {
    case MIGR_OPENED:
        return note_opened(change);
    case MIGR_PARSED:
        return note_parsed(change);
    case MIGR_PARSED_END:
        return note_end(change, &migr_journal_node::in);
    case MIGR_WRITTEN:
        return note_written(change);
    case MIGR_WRITTEN_END:
        return note_end(change, &migr_journal_node::out);
    case MIGR_INCOMPLETE:
        kept.incomplete = true;
        return;
    default:
        return note_change(change);
    }
}

int32_t migr_journal_is_incomplete(void)
{
    return kept.incomplete;
}

void migr_journal_close(void)
{
    while (text_piece *piece = kept.pieces) {
        kept.pieces = piece->before;
        explicit_bzero(piece->text, piece->used); /* keys among them */
        free(piece);
    }
    while (author_piece *piece = kept.authors) {
        kept.authors = piece->before;
        free(piece);
    }
    free_stack(&kept.nodes);
    free_stack(&kept.changes);
    free_stack(&kept.texts);
    kept = {};
}

size_t migr_journal_texts(void)
{
    return kept.texts.count;
}

size_t migr_journal_changes(void)
{
    return kept.changes.count;
}

const migr_journal_text *migr_journal_text_at(size_t number)
{
    return number == 0 || number > kept.texts.count ? nullptr : &kept.texts.records[number - 1];
}

const migr_journal_change *migr_journal_change_at(size_t number)
{
    return number == 0 || number > kept.changes.count ? nullptr : &kept.changes.records[number - 1];
}

uint64_t migr_journal_first(void)
{
    return kept.first;
}

uint64_t migr_journal_last(void)
{
    return kept.nodes.count == 0 ? 0 : kept.first + kept.nodes.count - 1;
}

const migr_journal_node *migr_journal_node_at(uint64_t number)
{
    if (number < kept.first || number - kept.first >= kept.nodes.count)
        return nullptr;
    const migr_journal_node *node = &kept.nodes.records[number - kept.first];
    return node->kind == 0 ? nullptr : node;
}
