/*
 * Reads a text by lines, cut as a line reader with a fixed buffer would: one in memory, or a file, of which a part at a
 * time is in memory. Lines are copied out, so that whoever has one may cut it up.
 */
#ifndef MIGR_TREE_TEXT_READER_H
#define MIGR_TREE_TEXT_READER_H

#include "tree/config_node.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct text_reader text_reader;
struct text_reader {
    char             *text;     /* all of it, or the part of the file that is in memory */
    size_t            size;     /* of that */
    size_t            at;       /* where the next line starts */
    struct text_file *file;     /* what the text comes from; null when all of it is in memory */
    uint32_t          newlines; /* ahead of `at` */
    uint32_t          line;     /* the number of the line read last */
};

/* Opens the file and reads its first part. 0, or -1 when it cannot be opened or read, or there is no memory. */
int32_t open_text(text_reader *reader, const char *path);

/* Copies the next line, with its newline, to `line`, a buffer of MIGR_LINE_SIZE bytes, and terminates it. A longer
 * line arrives as several; a NUL in a line ends its text. 1, or 0 at the end of the file, which leaves `line` alone. */
int32_t read_line(text_reader *reader, char *line);

/* The number of the line read last, from 1; the pieces of a longer one have the same. */
uint32_t line_number(const text_reader *reader);

/* Whether the lines have ended ahead of the text, as the file could not be read any further. */
int32_t text_is_cut(const text_reader *reader);

void close_text(text_reader *reader);

#ifdef __cplusplus
}
#endif

#endif
