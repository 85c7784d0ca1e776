/* The machine-learning configuration: one plain file with one header line, outside /data/config. */
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "tree/config_text.h"
#include "tree/file_effects.h"
#include "walk/walk.h"

#include <cstdio>
#include <cstring>

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
    if (!stream)
        return -3;
    /* A parse that fails leaves part of a tree, and that part is written. */
    setup_tree(&migr_main, input);
    new_config_update(&migr_main);
    fputs(migr_main.first_line, stream);
    int32_t result = write_tree(&migr_main.root, 0, stream);
    if (close_written(stream) != 0)
        result = -1;
    free_node(&migr_main.root);
    migr_release_nodes();
    if (result == 0)
        return 0;
    drop_output(output);
    return -3;
}
