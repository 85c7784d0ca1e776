#include "driver/version_lines.h"

#include "driver/migr.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/text_reader.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr char unpacked_file[] = "/tmp/system1.conf";
constexpr char version_probe[] = "./qx_migr_unzip_tmp";
constexpr char version_mark[] = "#config-version=";
constexpr char second_mark[] = "#conf_file_ver=";
constexpr char image_build[] = "0727";
constexpr char image_date[] = "191023";

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

/* What a version line holds. */
struct version_scan {
    int32_t     code; /* -1 when the text ran out */
    int32_t     build;
    bool        cut;     /* the text was too short in the build or the date */
    const char *version; /* where the version starts */
    const char *rest;    /* the ":" behind the date */
};

/* The states of the scan, named for what they wait for; each consumes at least one character. */
enum class wait_for { model_dash, version_dash, major, point, minor, build_dash, build, date, colon };

/* One character of the scan. True when the scan goes on. */
bool scan_step(version_scan *scan, wait_for *state, const char **text, bool dashless, bool *dash)
{
    const char *at = *text;
    switch (*state) {
    case wait_for::model_dash:
        if (*at == '-' || dashless)
            *state = wait_for::version_dash;
        return true;
    case wait_for::version_dash:
        if (*at == '-')
            *state = wait_for::major;
        return true;
    case wait_for::major:
        scan->version = at;
        scan->code = version_code(number_of(at), 0);
        *state = wait_for::point;
        return true;
    case wait_for::point:
        if (*at == '.')
            *state = wait_for::minor;
        return true;
    case wait_for::minor:
        scan->code = version_code(scan->code >> 16, number_of(at));
        *state = wait_for::build_dash;
        return true;
    case wait_for::build_dash: /* the dash behind the minor, then the one behind the product */
        if (*at != '-')
            return true;
        if (*dash)
            *state = wait_for::build;
        *dash = !*dash;
        return true;
    case wait_for::build:
        if (strlen(at) < 6)
            return false;
        if (strncmp(at, "build", 5) == 0)
            at += 5;
        scan->build = number_of(at);
        *text = at;
        *state = wait_for::date;
        return true;
    case wait_for::date:
        if (!*dash) {
            *dash = *at == '-';
            return true;
        }
        if (strlen(at) < 7)
            return false;
        *text = at + 5;
        *dash = false;
        *state = wait_for::colon;
        return true;
    default:
        return *at != ':';
    }
}

/* Reads the version out of the line at `mark`, from the second character of the model on. */
version_scan scan_version_line(const char *mark)
{
    version_scan scan = {};
    const char  *text = mark + sizeof version_mark; /* one more than the mark is long */
    bool         dashless = has_dashless_model(text);
    bool         dash = false;
    wait_for     state = wait_for::model_dash;
    for (; *text != '\0'; text++) {
        if (scan_step(&scan, &state, &text, dashless, &dash))
            continue;
        scan.cut = state != wait_for::colon;
        scan.rest = text;
        if (scan.cut)
            scan.code = -1;
        return scan;
    }
    scan.code = -1;
    return scan;
}

/* A file from before 5.10 stops at 5.10 on its way to a newer image, as the update file's loader does: there it is
 * split in two. */
int32_t target_version(int32_t read)
{
    if (migr_main.img_version >= MIGR_RELEASE_5_10 + 1 && read < MIGR_RELEASE_5_10)
        return MIGR_RELEASE_5_10;
    return migr_main.img_version;
}

void compose_first_line(const version_scan &scan)
{
    int32_t target = target_version(scan.code);
    auto    ahead = static_cast<int>(scan.version - migr_main.line_buf);
    snprintf(migr_main.first_line, sizeof migr_main.first_line, "%.*s%d.%02d-CV-build%s-%s%s", ahead,
             migr_main.line_buf, target >> 16, target & 0xffff, image_build, image_date, scan.rest);
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
    version_scan scan = {-1, 0, false, nullptr, nullptr};
    if (mark)
        scan = scan_version_line(mark);
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
    if (!scan.rest || scan.cut)
        return -1;
    compose_first_line(scan);
    migr_main.cfg_build = scan.build;
    migr_main.img_build = number_of(image_build);
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
    if (open_text(&reader, path ? path : unpacked_file) != 0)
        return -1;
    int32_t code = save_first_line(&reader);
    close_text(&reader);
    return code;
}

int32_t save_second_line_of_config_file(void)
{
    text_reader reader;
    if (open_text(&reader, unpacked_file) != 0)
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
    unlink(unpacked_file);
    if (cvgunzip(path, unpacked_file) != 0)
        return -1;
    int32_t result = read_header_lines(force);
    if (result != 0)
        unlink(unpacked_file);
    return result;
}

int32_t get_cvw_type(char *output)
{
    const char *mark = output ? strstr(bak_line, version_mark) : nullptr;
    if (!mark)
        return -1;
    const char *model = mark + sizeof version_mark - 1;
    const char *dash = strchr(model, '-');
    dash = dash ? strchr(dash + 1, '-') : nullptr;
    size_t length = dash ? static_cast<size_t>(dash - model) : strlen(model);
    memcpy(output, model, length);
    output[length] = '\0';
    return 0;
}
