/*
 * The split writes both texts whole before it compresses either. Behind that a failure may leave a new global file
 * beside an old domain file, or none, and only who has kept a copy can go back.
 */
#include "tree/split.h"

#include "driver/run_context.h"
#include "ledger/tell.h"
#include "tree/config_text.h"
#include "tree/file_effects.h"
#include "tree/stored_files.h"
#include "tree/text_reader.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <unistd.h>

path_node_array global_node;
path_node_array domain_node;

namespace {

constexpr char syntax_file[] = "/etc/syntax_v510.txt";
constexpr char global_text[] = "/tmp/system_global.conf";
constexpr char domain_text[] = "/tmp/system_domain.root.conf";
constexpr char global_file[] = MIGR_CONFIG_FOLDER "/" MIGR_GLOBAL_FILE;
constexpr char domain_file[] = MIGR_CONFIG_FOLDER "/sys_domain.root.conf.gz";

/* Where a path of that scope goes; null for a word that is no scope. */
path_node_array *array_of_scope(const char *scope)
{
    if (strcasecmp(scope, "GLOBAL") == 0 || strcasecmp(scope, "BOTH") == 0)
        return &global_node;
    return strcasecmp(scope, "DOMAIN") == 0 ? &domain_node : nullptr;
}

bool is_path_type(const char *type)
{
    return strcasecmp(type, "TABLE") == 0 || strcasecmp(type, "COMPLEX") == 0;
}

/* 0, or -1 without memory. What a full array cannot take is dropped without a word. */
int32_t add_path(path_node_array *array, const char *path)
{
    if (array->count >= MIGR_PATH_NAMES)
        return 0;
    char *copy = strdup(path);
    if (!copy)
        return -1;
    array->names[array->count++] = copy;
    return 0;
}

/* One line: scope, type, path. A line without these is dropped. 0, or -1 without memory. */
int32_t load_syntax_line(char *line)
{
    if (line[0] == '#')
        return 0;
    char             word[MIGR_NAME_SIZE];
    char            *rest = get_first_word(line, word);
    path_node_array *array = array_of_scope(word);
    rest = get_first_word(rest, word);
    if (!array || !is_path_type(word) || !get_second_name(rest, word))
        return 0;
    char path[MIGR_NAME_SIZE];
    get_path_name(word, path);
    get_raw_name(path);
    return add_path(array, path);
}

/* A file's text on its way. */
struct split_text {
    FILE                *stream;
    ledger::written_text text;
};

/* The text of a top-level config. A path of both arrays is global; null for one of neither, which is dropped. */
split_text *text_of(const config_node *node, split_text *global, split_text *domain)
{
    if (is_path_node(node->name, &global_node))
        return global;
    return is_path_node(node->name, &domain_node) ? domain : nullptr;
}

/* The node's own output flags are not asked here: old splits carry marked top-level configs along. */
int32_t write_top(config_node *node, split_text *text)
{
    ledger::write_on(&text->text);
    commas_to_blanks(node->name);
    fprintf(text->stream, "config %s\n", node->name);
    if (ledger::is_watched())
        ledger::tell_written(node, false);
    int32_t result = write_tree(node, 1, text->stream);
    fputs("end\n", text->stream);
    if (ledger::is_watched())
        ledger::tell_written_end(node);
    ledger::write_on(nullptr);
    return result;
}

/* 0, or -1 when a config was not written whole. */
int32_t write_split(config_node *root, FILE *global_stream, FILE *domain_stream)
{
    if (!root || root->kind != MIGR_ROOT)
        return 0;
    uint32_t   header = ledger::lines_in(migr_main.first_line) + ledger::lines_in(migr_main.second_line);
    split_text global = {global_stream, {global_file, header}};
    split_text domain = {domain_stream, {domain_file, header}};
    int32_t    result = 0;
    if (ledger::is_watched()) {
        ledger::tell_unwritten(root->set_list);
        ledger::tell_unwritten(root->edit_list);
    }
    for (config_node *child = root->top_list; child; child = child->next) {
        split_text *text = text_of(child, &global, &domain);
        if (text && write_top(child, text) != 0)
            result = -1;
        if (!text && ledger::is_watched())
            ledger::tell_left_out(child);
    }
    return result;
}

/* Both texts, closed whatever happens. 0 when all of both has reached the files. */
int32_t write_both(FILE *global_stream, FILE *domain_stream)
{
    fprintf(global_stream, "%s%s", migr_main.first_line, migr_main.second_line);
    fprintf(domain_stream, "%s%s", migr_main.first_line, migr_main.second_line);
    int32_t split = write_split(&migr_main.root, global_stream, domain_stream);
    int32_t global_closed = close_written(global_stream);
    int32_t domain_closed = close_written(domain_stream);
    return split == 0 && global_closed == 0 && domain_closed == 0 ? 0 : -1;
}

/* A domain text that cannot be opened leaves the global one behind, empty. */
int32_t write_texts()
{
    unlink(global_text);
    unlink(domain_text);
    FILE *global_stream = create_private_file(global_text);
    if (!global_stream)
        return -1;
    FILE *domain_stream = create_private_file(domain_text);
    if (!domain_stream) {
        fclose(global_stream);
        return -1;
    }
    if (write_both(global_stream, domain_stream) == 0)
        return 0;
    unlink(global_text);
    unlink(domain_text);
    return -1;
}

} // namespace

int32_t stops_at_split(int32_t cfg_version, int32_t img_version)
{
    return cfg_version < MIGR_RELEASE(5, 10) && img_version >= MIGR_RELEASE(5, 10);
}

/* From 5.10 on an appliance has a global file and one for each domain, so the one file of before is divided between the
 * global file and the domain "root", and a block that belongs to neither goes. */
int32_t update_to_vdom(void)
{
    ledger::set_author(MIGR_RELEASE(5, 10), "split", "update_to_vdom");
    init_path_node(&global_node);
    init_path_node(&domain_node);
    int32_t result = load_syntax_to_path_node_array(syntax_file);
    if (result == 0)
        result = vdom_new_config_file();
    release_path_node(&global_node);
    release_path_node(&domain_node);
    return result;
}

int32_t load_syntax_to_path_node_array(const char *path)
{
    text_reader stream;
    if (open_text(&stream, path) != 0) {
        puts("ERROR: open syntax file err.");
        return -1;
    }
    int32_t result = 0;
    while (result == 0 && read_line(&stream, migr_main.line_buf))
        result = load_syntax_line(migr_main.line_buf);
    if (text_is_cut(&stream))
        result = -1;
    close_text(&stream);
    return result;
}

void init_path_node(path_node_array *array)
{
    *array = {};
}

void release_path_node(path_node_array *array)
{
    for (int32_t i = 0; i < array->count; i++)
        free(array->names[i]);
    array->count = 0;
}

int32_t is_path_node(const char *name, const path_node_array *array)
{
    for (int32_t i = 0; i < array->count; i++)
        if (strcmp(array->names[i], name) == 0)
            return 1;
    return 0;
}

int32_t vdom_new_config_file(void)
{
    if (write_texts() != 0)
        return -1;
    /* The stored files are not unlinked first, and a failure leaves the other text behind. */
    if (compress_text(global_text, global_file) != 0 || compress_text(domain_text, domain_file) != 0)
        return -1;
    unlink(global_text);
    unlink(domain_text);
    return 0;
}

void vdom_write_node(config_node *root, FILE *global_stream, FILE *domain_stream)
{
    write_split(root, global_stream, domain_stream);
}
