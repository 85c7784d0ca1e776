/* JSON that migr keeps and reads again, all of whose numbers are whole: accounts and ledgers. */
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace command {

/* Parses it. The JSON library takes a fraction for a whole number wherever one is asked for, and one beyond that
 * number's limits for anything. Throws json::exception for what is no JSON, std::runtime_error for a number that is not
 * whole. */
nlohmann::json json_of_whole_numbers(std::string_view text);

} // namespace command
