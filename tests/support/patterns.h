/*
 * Regular expressions in tests. Only patterns.cpp includes the library's, which cost each file that uses them up to two
 * seconds. Patterns are ECMAScript's; each is compiled once in a program.
 */
#pragma once

#include <string>
#include <vector>

namespace support {

/* Whether all of the text is such, and whether a part of it is. */
bool matches(const std::string &text, const std::string &pattern);
bool has_match(const std::string &text, const std::string &pattern);

/* All of a match, then what each of its groups has, nothing where that has no part in it. */
using Groups = std::vector<std::string>;

/* Of the text as a whole; empty when it does not match. */
Groups groups_of(const std::string &text, const std::string &pattern);

/* Of each match in the text. */
std::vector<Groups> all_groups(const std::string &text, const std::string &pattern);

/* The text with each match replaced; $1 in `by` is the first group. */
std::string replaced(const std::string &text, const std::string &pattern, const std::string &by);

} // namespace support
