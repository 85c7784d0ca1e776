/*
 * The way back from a tree to the compressed file that is stored. What is at stake here is the appliance's only copy:
 * the text is whole on disk before the stored file is touched.
 */
#include "tree/stored_files.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "platform/platform.h"
#include "tree/config_text.h"
#include "tree/file_effects.h"

#include <cstring>
#include <unistd.h>

/* The plain text of "sys_*" files is kept in /var/log, where it is the one recovery point if the compression fails. */
static void keep_plain_copy(const char *path)
{
    char plain[72];
    snprintf(plain, sizeof plain, "%s", path);
    size_t length = strlen(plain);
    plain[length < 3 ? 0 : length - 3] = '\0';
    const char *name = strstr(plain, "/sys_");
    if (!name)
        return;
    char copy[128];
    snprintf(copy, sizeof copy, "/var/log/%s", name + 1);
    copy_over(MIGR_NEW_TEXT, copy);
}

int32_t write_configuration(FILE *stream, const char *file)
{
    ledger::written_text text = {file,
                                 ledger::lines_in(migr_main.first_line) + ledger::lines_in(migr_main.second_line)};
    ledger::set_author(migr_main.img_version, "write");
    ledger::write_on(&text);
    fputs(migr_main.first_line, stream);
    fputs(migr_main.second_line, stream);
    int32_t result = write_tree(&migr_main.root, 0, stream);
    ledger::write_on(nullptr);
    return result;
}

int32_t write_new_text(const char *path)
{
    FILE *stream = create_private_file(MIGR_NEW_TEXT);
    if (!stream || close_output(stream, MIGR_NEW_TEXT, write_configuration(stream, path)) != 0)
        return -1;
    keep_plain_copy(path);
    return 0;
}

int32_t store_new_text(const char *path)
{
    unlink(path);
    if (compress_text(MIGR_NEW_TEXT, path) != 0)
        return -1;
    unlink(MIGR_NEW_TEXT);
    return 0;
}

int32_t new_config_file(const char *path)
{
    return write_new_text(path) == 0 ? store_new_text(path) : -1;
}

int32_t compress_text(const char *text, const char *path)
{
    if (cvgzip(text, path) >= 0)
        return 0;
    message("[update_signature]: [cvgzip] compress failed\n");
    unlink(text);
    return -1;
}
