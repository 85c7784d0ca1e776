/* What the folders of tests/journeys say; its README.md has the form. */
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace journeys {

struct Journey {
    std::filesystem::path folder;
    std::string           sample;
    std::string           release; /* empty: the sample's own */
};

/* In the order of their names. */
std::vector<Journey> all_journeys();

/* The version line with another release in it: the number behind the model, which has one dash or, in a cloud, none. An
 * empty release changes nothing. */
std::string with_release(const std::string &text, const std::string &release);

} // namespace journeys
