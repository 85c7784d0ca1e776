/* Only what a pass does to one text: what it costs to unpack and to pack it, and what runs around a pass, is measured
 * elsewhere. */
#include "steps.h"

#include "driver/migr.h"
#include "tree/config_text.h"
#include "walk/walk.h"

#include <cstdio>
#include <cstring>

namespace bench {

const char            plain_file[] = "/tmp/plain.conf";
static constexpr char written_file[] = "/tmp/written.conf";

size_t lay_out(const std::string &text)
{
    FILE *stream = fopen(plain_file, "w");
    need(stream && fwrite(text.data(), 1, text.size(), stream) == text.size() && fclose(stream) == 0, "laying out");
    return text.size();
}

void remove_texts()
{
    remove(plain_file);
    remove(written_file);
}

void parse()
{
    memset(static_cast<void *>(&migr_main), 0, sizeof migr_main);
    migr_main.mode = MIGR_DOMAIN;
    migr_main.cfg_version = MIGR_RELEASE(5, 40);
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    need(setup_tree(&migr_main, plain_file) == 0, "setup_tree");
}

void walk()
{
    new_config_update(&migr_main);
}

void write()
{
    need(new_config_file_GUI(written_file) == 0, "new_config_file_GUI");
}

void release()
{
    free_node(&migr_main.root);
    migr_release_nodes();
}

} // namespace bench
