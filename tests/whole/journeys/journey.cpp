/* Reads what a journey's folder says. It runs nothing. */
#include "journey.h"

#include "support/places.h"

#include <algorithm>
#include <cctype>
#include <fstream>

namespace fs = std::filesystem;

namespace journeys {

static Journey read_journey(const fs::path &folder)
{
    Journey       journey = {folder, "", ""};
    std::ifstream words(folder / "journey");
    for (std::string key, value; words >> key >> value;)
        (key == "sample" ? journey.sample : journey.release) = value;
    return journey;
}

std::vector<Journey> all_journeys()
{
    std::vector<Journey> all;
    for (const fs::directory_entry &entry : fs::directory_iterator(support::source_path("/tests/journeys")))
        if (fs::exists(entry.path() / "journey"))
            all.push_back(read_journey(entry.path()));
    std::sort(all.begin(), all.end(),
              [](const Journey &one, const Journey &other) { return one.folder < other.folder; });
    return all;
}

std::string with_release(const std::string &text, const std::string &release)
{
    if (release.empty())
        return text;
    size_t start = text.find('-', text.find('=')) + 1;
    if (!isdigit(static_cast<unsigned char>(text[start])))
        start = text.find('-', start) + 1;
    size_t end = text.find('-', start);
    return text.substr(0, start) + release + text.substr(end);
}

} // namespace journeys
