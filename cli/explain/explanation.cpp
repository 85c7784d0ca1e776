/*
 * The tree is written to text when each part of the work is done, and compared with the text before. What changed it
 * inside a part is not known here.
 */
#include "explain/explanation.h"

#include "appliance/inspect.h"
#include "driver/migr.h"
#include "explain/secrets.h"
#include "explain/unified_diff.h"
#include "run/library_child.h"
#include "system/codec.h"
#include "system/failure.h"
#include "system/files.h"
#include "tree/config_text.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace command {

static auto fields_of(SectionChange &change)
{
    return std::tie(change.file, change.release, change.by, change.diff);
}

namespace {

constexpr char changes_path[] = "/changes";
constexpr char split_into_two[] = "split into a global and a domain file";

/* What is known of a file since its last pass. */
struct Known {
    int32_t     release = -1; /* as read */
    std::string text;         /* as the last part left it */
};

struct Recorder {
    std::vector<SectionChange>   changes;
    std::map<std::string, Known> files;
    bool                         split = false; /* a file from before 5.10 has become two */
    bool                         show_secrets = false;
};

std::unique_ptr<Recorder> recorder; /* in the library's child alone */

const char *name_of(std::string_view phase)
{
    static constexpr struct {
        std::string_view phase;
        const char      *name;
    } names[] = {
        {"bridges", "removal of old bridges"},
        {"step", "version step"},
        {"delete", "delete rules"},
        {"modify", "modify rules"},
        {"readd", "re-add rules"},
        {"stage", "stage"},
        {"signatures", "signature database"},
    };
    for (const auto &row : names)
        if (row.phase == phase)
            return row.name;
    return "the library";
}

/* The tree as it is shown: in a copy, since the writer changes names in what it writes, and so does whoever hides
 * secrets. */
std::string text_of_tree()
{
    config_node copy = {};
    char       *text = nullptr;
    size_t      size = 0;
    FILE       *stream = open_memstream(&text, &size);
    copy.kind = migr_main.root.kind;
    bool whole = stream && copy_node(&migr_main.root, &copy) == 0;
    if (whole && !recorder->show_secrets)
        hide_secrets(&copy);
    whole = whole && write_tree(&copy, 0, stream) == 0;
    free_node(&copy);
    if (!stream || fclose(stream) != 0 || !whole) {
        fputs("not enough memory to explain this run\n", stderr);
        fflush(nullptr);
        _exit(1);
    }
    std::string result(text, size);
    free(text);
    return result;
}

void note(const std::string &file, int32_t release, const char *by, const std::string &text)
{
    std::string &last = recorder->files[file].text;
    if (last != text)
        recorder->changes.push_back({file, release, by, unified_diff(last, text)});
    last = text;
}

/* A file from before 5.10 comes back as two of 5.10. One that comes back as it was is one whose pass failed, and with
 * it all that was noted. */
void begin_file(const std::string &file, int32_t release, const std::string &text)
{
    Known &known = recorder->files[file];
    bool   again = known.release >= 0;
    if (again && known.release == release)
        std::erase_if(recorder->changes, [&](const SectionChange &change) { return change.file == file; });
    recorder->split = recorder->split || (again && known.release != release);
    if (recorder->split && (again || file == first_domain_name))
        note(file, release, split_into_two, text);
    known = {release, text};
}

void take_down(int32_t release, std::string_view phase)
{
    std::string file = std::filesystem::path(current_pass()).filename().string();
    if (phase == "read")
        begin_file(file, release, text_of_tree());
    else
        note(file, release, name_of(phase), text_of_tree());
}

} // namespace

void run_and_take_down(bool show_secrets)
{
    recorder = std::make_unique<Recorder>();
    recorder->show_secrets = show_secrets;
    watch_sections(take_down);
    migr_main_do_all();
    try {
        write_new(changes_path, encoded(recorder->changes));
    } catch (const PathError &error) {
        fputs(failure_of(error, error.path).what(), stderr);
        fflush(nullptr);
        _exit(1);
    }
    recorder.reset();
}

std::vector<SectionChange> read_changes(const Root &root)
{
    std::string bytes = root.run([] {
        struct stat st = {};
        bool        ran = lstat(changes_path, &st) == 0;
        return ran ? read_file(changes_path, Links::refuse) : "";
    });
    return bytes.empty() ? std::vector<SectionChange>() : decoded<std::vector<SectionChange>>(bytes);
}

} // namespace command
