/*
 * The roads that end in a plain text for the caller: the machine-learning configuration, which is one file with one
 * header line outside /data/config, and a host that has filled the context by itself.
 */
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "ledger/tell.h"
#include "tree/config_text.h"
#include "tree/file_effects.h"
#include "tree/stored_files.h"
#include "walk/walk.h"

#include <cstdio>
#include <cstring>

/* A parse that fails leaves part of a tree, and that part is written. */
static int32_t write_machine_learning(FILE *stream, const char *input, const char *output)
{
    setup_tree(&migr_main, input);
    new_config_update(&migr_main);
    ledger::written_text text = {output, ledger::lines_in(migr_main.first_line)};
    ledger::set_author(migr_main.img_version, "write");
    ledger::write_on(&text);
    fputs(migr_main.first_line, stream);
    int32_t result = write_tree(&migr_main.root, 0, stream);
    ledger::write_on(nullptr);
    ledger::tell_pass_ends();
    free_node(&migr_main.root);
    migr_release_nodes();
    return result;
}

int32_t migr_machine_learning_upgrade(const char *input, const char *output)
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_main.mode = MIGR_MACHINE_LEARNING;
    migr_main.img_version = get_osimage_version();
    migr_main.cfg_version = get_config_version_and_save_first_line(input);
    if (migr_main.cfg_version == -1)
        return -1;
    if (migr_main.img_version <= migr_main.cfg_version)
        return -2;
    FILE *stream = create_output(output);
    if (!stream || close_output(stream, output, write_machine_learning(stream, input, output)) != 0)
        return -3;
    return 0;
}

int32_t new_config_file_GUI(const char *path)
{
    FILE *stream = create_output(path);
    return stream ? close_output(stream, path, write_configuration(stream, path)) : -1;
}
