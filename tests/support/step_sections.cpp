/* Sections as an update file has them, one for each step of the chain, from the chain's own table. */
#include "support/step_sections.h"

#include "chain/steps.h"

namespace support {

std::vector<int32_t> step_releases()
{
    std::vector<int32_t> releases;
    for (int32_t release; (release = chain_step_version(static_cast<int32_t>(releases.size()))) >= 0;)
        releases.push_back(release);
    return releases;
}

std::string step_sections(int32_t left_out)
{
    std::string text;
    for (int32_t release : step_releases())
        if (release != left_out)
            text += "[" + section_name(release) + "]\n";
    return text;
}

std::string section_name(int32_t release)
{
    return std::to_string(release >> 16) + "." + std::to_string(release & 0xffff);
}

} // namespace support
