/* A whole configuration, line by line, and the other texts of an appliance. Which file they come from is not known
 * here. */
#pragma once

#include "anonymize/substitution.h"

#include <string>
#include <string_view>
#include <vector>

namespace command {

/*
 * Every line stays where it is: what the language says stays, and names, values, and what the library passes over are
 * replaced by what each is for. Takes any text, damaged ones too.
 */
std::string other_configuration(std::string_view text, Substitution &texts);

/* Values of settings of certificates that hold a password in clear: what may open a key. */
std::vector<std::string> passphrases_in(std::string_view text);

/* The name of a file or folder: an entry's certificate is found by the entry's name. How it ends says what it is. */
std::string other_file_name(std::string_view name, Substitution &texts);

} // namespace command
