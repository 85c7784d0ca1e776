/* The slots as they are outside a walk: every depth is empty. Nothing but the walk changes them. */
#include "walk/slots.h"

config_node EMPTY_NODE = {nullptr, MIGR_EMPTY, "", nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr};
config_node EOB_NODE = {nullptr, MIGR_END, "", nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr};

char        sbuf_suffix[MIGR_NAME_SIZE];
static char no_suffix[] = "";

config_node *top[5] = {reinterpret_cast<config_node *>(sbuf_suffix), &EMPTY_NODE, &EMPTY_NODE, &EMPTY_NODE,
                       &EMPTY_NODE};
config_node *sub[5] = {reinterpret_cast<config_node *>(no_suffix), &EMPTY_NODE, &EMPTY_NODE, &EMPTY_NODE, &EMPTY_NODE};
