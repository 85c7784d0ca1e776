/*
 * Secrets of a configuration, kept out of what is shown to people. They go by the names of properties and by what a
 * key looks like; a secret under a name of no meaning is shown.
 */
#pragma once

#include "tree/config_node.h"

#include <string>

namespace command {

/*
 * Puts a mark in place of every private key and password below `root`. Equal secrets get equal marks within one
 * process, so that a diff still shows that one changed, or moved; a mark tells nothing else about its secret.
 */
void hide_secrets(config_node *root);

/* Whether the value of such a set, somewhere in that config, is a private key or a password. */
bool is_secret_set(const std::string &config, const std::string &name, const std::string &value);

} // namespace command
