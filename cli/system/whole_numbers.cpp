/* What a number stands for is its reader's business. */
#include "system/whole_numbers.h"

#include <stdexcept>

namespace command {

nlohmann::json json_of_whole_numbers(std::string_view text)
{
    using nlohmann::json;
    auto look = [](int, json::parse_event_t, const json &value) {
        if (value.is_number_float())
            throw std::runtime_error("it holds a number that is not whole");
        return true;
    };
    return json::parse(text, look);
}

} // namespace command
