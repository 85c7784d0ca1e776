/*
 * The header lines: any text may be a stored configuration. What is held: whoever asks for its release is told the
 * same, the library, the command, and the pass that begins with it; and the line that a pass makes of it is one of the
 * release to which it goes.
 */
#include "appliance/inspect.h"
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "fuzz/document.h"
#include "fuzz/fuzzing.h"
#include "fuzz/root_folder.h"
#include "system/gzip_text.h"
#include "tree/split.h"

#include <unistd.h>

namespace {

using namespace fuzzing;

constexpr char stored[] = "/tmp/stored";

[[noreturn]] void fail(const std::string &what, int32_t one, int32_t other)
{
    tell((what + ": " + std::to_string(one) + " and " + std::to_string(other)).c_str());
    abort();
}

void store(std::string_view text)
{
    write_file(stored, command::gzip(text, command::Packing::fast));
}

void expect_composed_line(int32_t release)
{
    std::string line = migr_main.first_line, second = migr_main.second_line;
    if (line.size() + 1 >= sizeof migr_main.first_line)
        return; /* it may have been cut */
    int32_t target = stops_at_split(release, MIGR_RELEASE_IMAGE) ? MIGR_RELEASE(5, 10) : MIGR_RELEASE_IMAGE;
    store(line + second);
    if (int32_t composed = get_config_version(stored); composed != target)
        fail("the line that was made: " + line, composed, target);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view text(reinterpret_cast<const char *>(data), size);
    Inside           inside;
    lay_out({});
    store(text);
    int32_t release = get_config_version(stored);
    unlink("./qx_migr_unzip_tmp");
    memset(&migr_main, 0, sizeof migr_main);
    bool begins = parse_version(stored, 0) == 0;
    if (migr_main.cfg_version != release)
        fail("the pass and the run", migr_main.cfg_version, release);
    command::ConfigFacts facts = command::inspect_text(text, command::Depth::headers);
    /* The library adds up whatever stands there, and the command refuses what is no release. */
    if (facts.release != release && facts.no_release.empty())
        fail("the command and the library", facts.release, release);
    if (begins != (facts.second_line && release >= 0 && release < MIGR_RELEASE_IMAGE))
        fail("whether a pass begins", begins, facts.second_line);
    if (begins && facts.no_release.empty())
        expect_composed_line(release);
    return 0;
}
