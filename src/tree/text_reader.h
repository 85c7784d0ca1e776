/*
 * Reads a text file by lines: the whole file at once, cut into lines as a line reader with a fixed buffer would. Lines
 * are copied out, so that whoever has one may cut it up.
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
    char    *text;
    size_t   size;
    size_t   at;       /* where the next line starts */
    size_t   gone;     /* up to here forget_read_text has given the memory back */
    uint32_t newlines; /* ahead of `at` */
    uint32_t line;     /* the number of the line read last */
};

/* Reads the file into memory. 0, or -1 when it cannot be opened or read, or there is no memory. */
int32_t open_text(text_reader *reader, const char *path);

/* Copies the next line, with its newline, to `line`, a buffer of MIGR_LINE_SIZE bytes, and terminates it. A longer
 * line arrives as several; a NUL in a line ends its text. 1, or 0 at the end of the file, which leaves `line` alone. */
int32_t read_line(text_reader *reader, char *line);

/* The number of the line read last, from 1; the pieces of a longer one have the same. */
uint32_t line_number(const text_reader *reader);

/* Gives back most of the memory of what has been read, whenever that is much. For a reader that open_text has opened
 * and that is not set back: of what was read nothing is left. */
void forget_read_text(text_reader *reader);

void close_text(text_reader *reader);

#ifdef __cplusplus
}
#endif

#endif
