/*
 * The header lines: any text may be a stored configuration. What is held: whoever asks for its release is told the
 * same, the library, the command, and the pass that begins with it; the line that a pass makes of it is one of the
 * release to which it goes; and a machine-learning file that has been upgraded is not upgraded again.
 */
#include "appliance/inspect.h"
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "fuzz/document.h"
#include "fuzz/fuzzing.h"
#include "fuzz/root_folder.h"
#include "system/gzip_text.h"
#include "tree/split.h"

#include <algorithm>
#include <unistd.h>

namespace {

using namespace fuzzing;

constexpr char stored[] = "/tmp/stored";

[[noreturn]] void fail(const std::string &what, int32_t one, int32_t other)
{
    tell((what + ": " + std::to_string(one) + " and " + std::to_string(other)).c_str());
    abort();
}

/* The name of a model that is written without a dash counts wherever it stands in the line, also in what the new line
 * has no more: then that is read otherwise. Such names begin with these letters; one may stand where a model does. A
 * NUL makes one line of two. */
bool has_stray_model(std::string_view text)
{
    static constexpr std::string_view mark = "#config-version=";
    size_t                            at = text.find(mark);
    std::string_view line = text.substr(at == std::string_view::npos ? 0 : std::min(at + mark.size() + 2, text.size()));
    size_t           end = line.find('\n');
    if (line.substr(0, end).find('\0') != std::string_view::npos)
        end = line.find('\n', end == std::string_view::npos ? end : end + 1);
    line = line.substr(0, end);
    return line.find("QB") != std::string_view::npos || line.find("QQ") != std::string_view::npos;
}

void store(std::string_view text)
{
    write_file(stored, command::gzip(text, command::Packing::none));
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

/* Of a plain file. */
int32_t release_in(const char *path)
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    return get_config_version_and_save_first_line(path);
}

/* A machine-learning configuration has the first line alone, and is a plain text. What has come to the image's release
 * gets no further, unless a NUL has run its first line into the next, or another line stands ahead of it: the command
 * refuses both. */
void upgrade_as_machine_learning(std::string_view text, bool is_regular)
{
    static constexpr char    before[] = "/tmp/before", after[] = "/tmp/after";
    static constexpr int32_t not_newer = -2;
    write_file(before, text);
    int32_t result = migr_machine_learning_upgrade(before, after);
    bool    has_line = text.starts_with("#config-version=") && text.find('\0') == std::string_view::npos;
    if (result != 0 || !is_regular || !has_line || release_in(before) < MIGR_RELEASE(5, 10))
        return;
    if (int32_t again = migr_machine_learning_upgrade(after, before); again != not_newer)
        fail("a second upgrade of a machine-learning file", again, not_newer);
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
    bool is_regular = facts.no_release.empty() && !has_stray_model(text);
    if (begins && is_regular)
        expect_composed_line(release);
    upgrade_as_machine_learning(text, is_regular);
    return 0;
}
