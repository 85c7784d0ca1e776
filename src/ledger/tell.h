/*
 * Telling an observer of changes, for the functions that make them. Whoever changes a tree asks is_watched() first, and
 * that is all that a change costs which nobody wants to know of. Nothing here changes a tree.
 */
#ifndef MIGR_LEDGER_TELL_H
#define MIGR_LEDGER_TELL_H

#include "driver/change.h"

namespace ledger {

/* Seen inside the library alone, so that no load of an address comes ahead of the test. The observer is null while
 * nobody asked; the author is that of the changes to come. */
extern __attribute__((visibility("hidden"))) migr_change_observer *observer;
extern __attribute__((visibility("hidden"))) migr_author           author;

inline bool is_watched()
{
#ifdef MIGR_UNWATCHED /* for the bench: what it costs that somebody could watch */
    return false;
#else
    return __builtin_expect(observer != nullptr, 0);
#endif
}

/* Who is at work from now on, whether watched or not. The texts must stay as long as they are. */
inline void set_author(int32_t release, const char *mechanism, const char *name = "")
{
    author = {release, mechanism, name, 0};
}

inline void set_author_name(const char *name, uint32_t line = 0)
{
    author.name = name;
    author.line = line;
}

/* All that follow are for when somebody watches. Reading: a root and the file that is read into it; a node, ahead of
 * its coming to stand last in its list; a block's last line. Lines are 0 when nobody knows them. */
void tell_opened(const config_node *root, const char *path);
void tell_kept_root(const config_node *root); /* of what outlives a pass; nothing is read into it */
void tell_parsed(const config_node *node, const config_node *parent, uint32_t first_line, uint32_t last_line);
void tell_parsed_end(const config_node *node, uint32_t line);

/* A node that has its content and stands nowhere; one that has got the content of another. Between true and false
 * nodes outlive the pass. */
void tell_made(const config_node *node);
void tell_copied(const config_node *node, const config_node *source);
void nodes_outlive_pass(bool outlive);

/* Links, ahead of the change. `link` is a list's head or a node's `next`. */
void tell_linking(config_node **link, const config_node *node);
void tell_adopting(config_node **list, const config_node *first);
void tell_unlinking(config_node **link, const config_node *node);
void tell_exchanging(const config_node *one, const config_node *other);

/* Content: a name ahead of the change, a value ahead of the release of the old one, flags when they are set. Texts that
 * are alike are no change, and neither is what is done to a node that has never been told of. */
void tell_renaming(const config_node *node, const char *name);
void tell_revalued(const config_node *node, const char *before, const char *after);
void tell_marked(const config_node *node);

/* A file that was read, and a node whose value is, or is made from, the content of the one read last. */
void tell_read_file(const char *path);
void tell_filled(const config_node *node);

/* Ahead of the release of a record. */
void tell_releasing(const config_node *node);

/* A text that is written, and how many lines it has by now. */
struct written_text {
    const char *file; /* for which it is meant */
    uint32_t    lines;
};

uint32_t lines_in(const char *text);

/* Nodes are written to this text from now on; to null: to one that nobody is told of. */
void write_on(written_text *text);
bool tells_writing();

/* A node, with its value or without, and the last line of a block, which is one line; when they have been written. */
void tell_written(const config_node *node, bool with_value);
void tell_written_end(const config_node *node);

/* A node that stands in none of the texts into which a tree is split; the nodes of a list that no text has. What was
 * linked there without a word is no node of it. */
void tell_left_out(const config_node *node);
void tell_unwritten(const config_node *first);

/* A file or folder, when it is done, whether anybody watches or not. `before` is where it was or what it was copied
 * from, or null. */
void tell_file(migr_change_kind kind, const char *path, const char *before);

/* All nodes of the pass, or of the run, will be gone, and none of them is told of any more. */
void tell_pass_ends();
void tell_run_ends();

} // namespace ledger

#endif
