/*
 * Header lines are found and read by the rules of old releases, which go by columns and dashes: a line that looks right
 * to a person may be none. All decisions of a run rest on what is read here.
 */
#include "driver/version_lines.h"

#include "driver/migr.h"
#include "platform/platform.h"
#include "tree/line_words.h"
#include "tree/split.h"
#include "tree/stored_files.h"
#include "tree/text_reader.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr char version_probe[] = "./qx_migr_unzip_tmp";
constexpr char version_mark[] = MIGR_VERSION_MARK;
constexpr char second_mark[] = "#conf_file_ver=";

/* Models without a dash, less their first letter, which the scan never sees. */
constexpr const char *dashless_models[] = {
    "QB01A", "QB02A", "QB03A", "QB04A", "QB05A", "QB06A", "QB07A", "QB08A", "QQWS1",
    "QB10A", "QQZE1", "QB12A", "QB13A", "QB14A", "QB15A", "QQZE2", "QQWS2", "QB18A",
};

bool has_dashless_model(const char *text)
{
    for (const char *model : dashless_models)
        if (strstr(text, model))
            return true;
    return false;
}

/*
 * Looks for the line that holds `mark` at the scan position. The position starts at the first column and is not put
 * back between lines: white space moves it on for good, so a header line is found only at the column that the lines
 * ahead of it have left. It may lie behind the end of a shorter line. Gives the mark's place in line_buf, or null.
 */
char *find_header_line(text_reader *reader, const char *mark)
{
    size_t at = 0;
    size_t mark_length = strlen(mark);
    while (read_line(reader, migr_main.line_buf)) {
        size_t length = strlen(migr_main.line_buf);
        while (at < length && is_white(migr_main.line_buf[at]))
            at++;
        if (at + mark_length < length && strncmp(migr_main.line_buf + at, mark, mark_length) == 0)
            return migr_main.line_buf + at;
    }
    return nullptr;
}

/* What a version line holds; -1 as code when it ends too early, and then nothing else. */
struct version_scan {
    int32_t     code;
    int32_t     build;
    const char *version; /* where the version starts */
    const char *rest;    /* the ":" behind the date */
    bool        cut;     /* the line ends in the build or the date */
};

constexpr version_scan no_version = {-1, 0, nullptr, nullptr, false};
constexpr version_scan cut_short = {-1, 0, nullptr, nullptr, true};

/* What stands behind the next `c`; null when that is nothing, and for null. */
const char *behind(const char *text, char c)
{
    const char *found = text ? strchr(text, c) : nullptr;
    return found && found[1] != '\0' ? found + 1 : nullptr;
}

/*
 * Reads the version out of the line at `mark`, from the second character of the model on. Only the characters looked
 * for count, wherever they stand: a model of the list anywhere in the line makes the line one without a dash in its
 * model.
 */
version_scan scan_version_line(const char *mark)
{
    const char *model = mark + sizeof version_mark; /* its first letter is never looked at */
    const char *major = behind(has_dashless_model(model) ? model + 1 : behind(model, '-'), '-');
    const char *minor = major ? behind(major + 1, '.') : nullptr;
    const char *build = minor ? behind(behind(minor + 1, '-'), '-') : nullptr;
    if (!build)
        return no_version;
    if (strlen(build) < 6)
        return cut_short;
    if (strncmp(build, "build", 5) == 0)
        build += 5;
    const char *date = behind(build + 1, '-');
    if (!date)
        return no_version;
    if (strlen(date) < 7)
        return cut_short;
    const char *rest = strchr(date + 6, ':');
    if (!rest)
        return no_version;
    return {version_code(number_of(major), number_of(minor)), number_of(build), major, rest, false};
}

void compose_first_line(const version_scan &scan)
{
    int32_t image = migr_main.img_version;
    int32_t target = stops_at_split(scan.code, image) ? MIGR_RELEASE(5, 10) : image;
    auto    ahead = static_cast<int>(scan.version - migr_main.line_buf);
    snprintf(migr_main.first_line, sizeof migr_main.first_line, "%.*s%d.%02d-CV-build%s-%s%s", ahead,
             migr_main.line_buf, target >> 16, target & 0xffff, MIGR_IMAGE_BUILD, MIGR_IMAGE_DATE, scan.rest);
}

void copy_line(char *target)
{
    memcpy(target, migr_main.line_buf, strlen(migr_main.line_buf) + 1);
}

} // namespace

int32_t get_osimage_version(void)
{
    return MIGR_RELEASE_IMAGE;
}

int32_t get_config_version(const char *path)
{
    if (cvgunzip(path, version_probe) != 0)
        return -1;
    text_reader reader;
    if (open_text(&reader, version_probe) != 0) {
        unlink(version_probe);
        return -1;
    }
    const char  *mark = find_header_line(&reader, version_mark);
    version_scan scan = mark ? scan_version_line(mark) : no_version;
    close_text(&reader);
    /* A line that is cut short in its build or date leaves the unpacked text behind, as it always has. */
    if (!scan.cut)
        unlink(version_probe);
    return scan.code;
}

int32_t save_first_line(text_reader *reader)
{
    const char *mark = find_header_line(reader, version_mark);
    if (!mark)
        return -1;
    snprintf(migr_main.model_text, sizeof migr_main.model_text, "%s", mark + sizeof version_mark);
    version_scan scan = scan_version_line(mark);
    if (!scan.rest)
        return -1;
    compose_first_line(scan);
    migr_main.cfg_build = scan.build;
    migr_main.img_build = number_of(MIGR_IMAGE_BUILD);
    return scan.code;
}

int32_t save_second_line(text_reader *reader)
{
    if (!find_header_line(reader, second_mark))
        return -1;
    copy_line(migr_main.second_line);
    return 0;
}

int32_t get_config_version_and_save_first_line(const char *path)
{
    text_reader reader;
    if (open_text(&reader, path ? path : MIGR_OLD_TEXT) != 0)
        return -1;
    int32_t code = save_first_line(&reader);
    close_text(&reader);
    return code;
}

int32_t save_second_line_of_config_file(void)
{
    text_reader reader;
    if (open_text(&reader, MIGR_OLD_TEXT) != 0)
        return -1;
    int32_t result = save_second_line(&reader);
    close_text(&reader);
    return result;
}

/* Everything of parse_version behind the unpacking. */
static int32_t read_header_lines(int32_t force)
{
    migr_main.img_version = get_osimage_version();
    migr_main.cfg_version = get_config_version_and_save_first_line(nullptr);
    copy_line(bak_line);
    if (save_second_line_of_config_file() != 0)
        return -1;
    if (migr_main.cfg_version < 0 || migr_main.img_version < 0)
        return -1;
    return force || migr_main.cfg_version < migr_main.img_version ? 0 : -1;
}

int32_t parse_version(const char *path, int32_t force)
{
    unlink(MIGR_OLD_TEXT);
    if (cvgunzip(path, MIGR_OLD_TEXT) != 0)
        return -1;
    int32_t result = read_header_lines(force);
    if (result != 0)
        unlink(MIGR_OLD_TEXT);
    return result;
}
