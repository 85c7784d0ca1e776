/*
 * Secrets of a configuration, kept out of what is shown to people. They go by the names of properties and by what a
 * key looks like; a secret under a name of no meaning is shown.
 */
#pragma once

#include <string>

namespace command {

/* Whether the value of such a set, somewhere in that config, is a private key or a password. */
bool is_secret_set(const std::string &config, const std::string &name, const std::string &value);

/* A mark in the place of a secret. Equal secrets have equal marks within one process, so that a diff still shows that
 * one changed, or moved; a mark tells nothing else about its secret. */
std::string hidden_value(const std::string &value);

} // namespace command
