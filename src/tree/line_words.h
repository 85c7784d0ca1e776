/*
 * The words of a line, for the parser and for whoever reads the firmware's own texts, whose words look alike. Words are
 * taken as they stand, quotes included; nothing here knows of nodes.
 */
#ifndef MIGR_TREE_LINE_WORDS_H
#define MIGR_TREE_LINE_WORDS_H

#include "tree/config_node.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* White space as the language knows it: blank, tab, newline, vertical tab, form feed, carriage return. */
static inline int32_t is_white(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/* The first character of the text that is no white space; the terminator of a blank text. */
char *skip_white(const char *text);

/* Copies `length` characters and a NUL; what does not fit `room` bytes is cut. */
void copy_cut(char *output, size_t room, const char *text, size_t length);

/* Copies the characters ahead of `end` and puts one comma in place of each run of white space that another character
 * follows. What does not fit `room` bytes, with the NUL, is cut. */
void join_words(const char *text, const char *end, char *output, size_t room);

/*
 * Readers of one line's words. `text` is null or a terminated text, `output` a buffer of MIGR_NAME_SIZE bytes that is
 * always filled, with an empty text if need be. The result is the position reached, or null for null and blank text.
 *   get_first_word    up to white space
 *   get_path_name     all words, joined by commas; looks at 127 characters behind leading white space
 *   get_path_name_2   the same without that limit: `output` holds at least as many bytes as the text with its NUL
 *   get_second_name   up to white space outside the first pair of double quotes; keeps the quotes
 */
char *get_first_word(char *text, char *output);
char *get_path_name(char *text, char *output);
char *get_path_name_2(char *text, char *output);
char *get_second_name(char *text, char *output);

/* Strips one pair of enclosing double quotes in place; text without both stays as it is. */
void get_raw_name(char *text);

#ifdef __cplusplus
}
#endif

#endif
