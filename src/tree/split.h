/*
 * From 5.10 on an appliance has a global file and one file per domain: the split of an older, single file. Which block
 * goes where is said by a file of the image, and nowhere here.
 */
#ifndef MIGR_TREE_SPLIT_H
#define MIGR_TREE_SPLIT_H

#include "tree/config_node.h"

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MIGR_PATH_NAMES 1024

/* Top-level paths in comma form. Further ones are dropped without a word. */
typedef struct path_node_array path_node_array;
struct path_node_array {
    char   *names[MIGR_PATH_NAMES]; /* heap texts */
    int32_t count;
};

extern path_node_array global_node;
extern path_node_array domain_node;

/* Whether a file of release `cfg_version` goes no further than 5.10 in its first pass towards `img_version`, and is
 * split there: 1 or 0. The line that the file gets and the sections that are loaded for it have to agree on this. */
int32_t stops_at_split(int32_t cfg_version, int32_t img_version);

/* Splits the tree in migr_main by /etc/syntax_v510.txt into the stored global file and the domain "root". 0, or -1. */
int32_t update_to_vdom(void);

/* Reads the syntax file into the two arrays. 0, or -1 when it cannot be opened or memory runs out. */
int32_t load_syntax_to_path_node_array(const char *path);

void    init_path_node(path_node_array *array);
void    release_path_node(path_node_array *array);
int32_t is_path_node(const char *name, const path_node_array *array);

/* Writes both files and compresses them. 0, or -1. */
int32_t vdom_new_config_file(void);

/* Writes each top-level config to the stream that its path belongs to, whatever its own output flags say. */
void vdom_write_node(config_node *root, FILE *global_stream, FILE *domain_stream);

#ifdef __cplusplus
}
#endif

#endif
