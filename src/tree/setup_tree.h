/*
 * Reading a whole configuration file. It stands in a header of its own, since a host calls it too, by way of migr.h,
 * and shall not have to see the rest of the configuration language.
 */
#ifndef MIGR_TREE_SETUP_TREE_H
#define MIGR_TREE_SETUP_TREE_H

#include "driver/run_context.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Parses a plain configuration file into context->root, which is zeroed first. Its first line, the version line, is
 * thrown away.
 * 0, or -1 when the file cannot be read, a `set` line has no value, or memory runs out; what had been read by then
 * stays in the tree. Nodes belong to the library: see migr_release_nodes in migr.h.
 */
int32_t setup_tree(run_context *context, const char *path);

#ifdef __cplusplus
}
#endif

#endif
