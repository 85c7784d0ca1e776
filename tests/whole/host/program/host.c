/*
 * A host as a firmware has one: a C program that loads platform and library by hand.
 *
 *   c_host FOLDER ROOT ACTION...    libraries in FOLDER; ROOT becomes the root folder once they are loaded
 *
 * Prints what each action gives. Exits 0, 2 when a library or name cannot be had, 3 for a bad call.
 */
#define _GNU_SOURCE
#include "driver/migr.h"
#include "tree/config_text.h"
#include "tree/operations.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static void *library;

/* The library calls these by itself if it finds them in the host. */
void migr_on_file(const char *path, uint32_t mode)
{
    printf("pass over %s, mode %u\n", path, (unsigned)mode);
}

static int changes_are_printed;

void migr_on_change(const migr_change *change)
{
    if (changes_are_printed)
        printf("change %u: node %llu %s below %llu, lines %u to %u, %s\n", (unsigned)change->kind,
               (unsigned long long)change->node, change->record ? change->record->name : "(none)",
               (unsigned long long)change->parent, (unsigned)change->first_line, (unsigned)change->last_line,
               change->author->mechanism);
}

static void *load(const char *folder, const char *file, int mode)
{
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", folder, file);
    void *loaded = dlopen(path, mode);
    if (!loaded)
        printf("%s\n", dlerror());
    return loaded;
}

static void *need(const char *name)
{
    void *found = dlsym(library, name);
    if (!found) {
        printf("no %s\n", name);
        fflush(stdout);
        _Exit(2);
    }
    return found;
}

/* ISO C has no conversion from a data pointer to a function; the bytes are the same. */
#define CALL(name) (*(*(name##_call **)memcpy(&(name##_call *){0}, &(void *){need(#name)}, sizeof(void *))))

typedef void    migr_main_do_all_call(void);
typedef int32_t get_config_version_call(const char *);
typedef int32_t parse_version_call(const char *, int32_t);
typedef int32_t setup_tree_call(run_context *, const char *);
typedef int32_t adjust_tree_call(void);
typedef int32_t new_config_file_GUI_call(const char *);
typedef int32_t migr_machine_learning_upgrade_call(const char *, const char *);
typedef void    migr_release_nodes_call(void);
typedef int32_t parse_config_call(FILE *, config_node *);
typedef void    add_to_tail_call(config_node **, config_node *);
typedef int32_t copy_node_call(const config_node *, config_node *);
typedef void    write_node_call(config_node *, int32_t, FILE *);
typedef void    free_node_call(config_node *);
typedef void    cfg_del_conf_call(config_node *, config_node *);

static void print_version(const char *path)
{
    printf("version %#x\n", (unsigned)CALL(get_config_version)(path));
}

static void upgrade(void)
{
    CALL(migr_main_do_all)();
    printf("upgraded\n");
}

static void print_context(void)
{
    const run_context *context = need("migr_main");
    printf("cfg %#x img %#x build %d to %d mode %u modified %u domain \"%s\"\n", (unsigned)context->cfg_version,
           (unsigned)context->img_version, (int)context->cfg_build, (int)context->img_build, (unsigned)context->mode,
           (unsigned)context->modified, context->adom_name);
    printf("model %.6s first %ssecond %sold %s", context->model_text, context->first_line, context->second_line,
           (const char *)need("bak_line"));
    printf("root kind %u\n", (unsigned)context->root.kind);
}

static void print_tree(void)
{
    const run_context *context = need("migr_main");
    for (const config_node *top = context->root.top_list; top; top = top->next) {
        printf("top %s\n", top->name);
        for (const config_node *set = top->set_list; set; set = set->next)
            printf("  set %s=%s\n", set->name, set->value ? set->value : "(null)");
    }
}

static void upgrade_by_hand(const char *path, const char *output)
{
    run_context *context = need("migr_main");
    printf("parse_version %d\n", (int)CALL(parse_version)(path, 1));
    printf("setup_tree %d\n", (int)CALL(setup_tree)(context, "/tmp/system1.conf"));
    print_tree();
    printf("adjust_tree %d\n", (int)CALL(adjust_tree)());
    printf("new_config_file_GUI %d\n", (int)CALL(new_config_file_GUI)(output));
    CALL(migr_release_nodes)();
}

static void print_globals(void)
{
    const config_node *empty = need("EMPTY_NODE");
    const config_node *end = need("EOB_NODE");
    const config_node *kept = need("tmp_tree_root");
    printf("EMPTY_NODE %u EOB_NODE %u tmp_tree_root %u\n", (unsigned)empty->kind, (unsigned)end->kind,
           (unsigned)kept->kind);
    printf("vdom_update_flag %d is_found %d qb01a %d\n", *(int32_t *)need("vdom_update_flag"),
           *(int32_t *)need("is_found"), *(int32_t *)need("qb01a"));
    printf("found_node %s sig_db %s\n", *(void **)need("found_node") ? "set" : "null",
           *(void **)need("sig_db") ? "open" : "closed");
}

static config_node *own_record(uint32_t kind, const char *name, const char *value)
{
    config_node *node = calloc(1, sizeof *node);
    node->kind = kind;
    strcpy(node->name, name);
    node->value = value ? strdup(value) : NULL;
    return node;
}

/* A block of the host's own, with a set and an edit: the rest comes from `lines`, up to the `end` among them. */
static config_node *own_block(const char *name, FILE *lines)
{
    config_node *block = own_record(MIGR_TOP, name, NULL);
    CALL(add_to_tail)(&block->set_list, own_record(MIGR_SET, "own", "1"));
    CALL(add_to_tail)(&block->edit_list, own_record(MIGR_EDIT, "own", NULL));
    CALL(add_to_tail)(&block->edit_list->set_list, own_record(MIGR_SET, "inner", "2"));
    printf("parse_config %d\n", (int)CALL(parse_config)(lines, block));
    return block;
}

/* Two blocks of records that the host made: one is deleted, one stays to the end. */
static void link_own_records(const char *path)
{
    run_context *context = need("migr_main");
    config_node  copy = {.kind = MIGR_ROOT};
    FILE        *lines = fopen(path, "r");
    char         line[64] = "";
    context->root.kind = MIGR_ROOT;
    CALL(add_to_tail)(&context->root.top_list, own_block("kept,block", lines));
    CALL(add_to_tail)(&context->root.top_list, own_block("deleted,block", lines));
    printf("behind %s", fgets(line, sizeof line, lines));
    fclose(lines);
    CALL(copy_node)(&context->root, &copy);
    config_node *deleted = context->root.top_list->next;
    CALL(cfg_del_conf)(deleted, &context->root);
    printf("deleted %s\n", deleted->name);
    free(deleted);
    CALL(write_node)(&context->root, 0, stdout);
    printf("copy\n");
    CALL(write_node)(&copy, 0, stdout);
    CALL(free_node)(&context->root);
    context->root.top_list = NULL;
    CALL(migr_release_nodes)();
}

static void print_changes(const char *path)
{
    changes_are_printed = 1;
    printf("setup_tree %d\n", (int)CALL(setup_tree)(need("migr_main"), path));
    CALL(migr_release_nodes)();
}

/* For each name: whether the library exports it. */
static void look_for(char **names)
{
    for (; *names; names++)
        printf("%s %s\n", *names, dlsym(library, *names) ? "yes" : "no");
}

static int act(char **action)
{
    if (strcmp(action[0], "version") == 0 && action[1])
        print_version(action[1]);
    else if (strcmp(action[0], "upgrade") == 0)
        upgrade();
    else if (strcmp(action[0], "by-hand") == 0 && action[1] && action[2])
        upgrade_by_hand(action[1], action[2]);
    else if (strcmp(action[0], "machine-learning") == 0 && action[1] && action[2])
        printf("machine learning %d\n", (int)CALL(migr_machine_learning_upgrade)(action[1], action[2]));
    else if (strcmp(action[0], "own-records") == 0 && action[1])
        return link_own_records(action[1]), 0;
    else if (strcmp(action[0], "changes") == 0 && action[1])
        return print_changes(action[1]), 0;
    else if (strcmp(action[0], "symbols") == 0)
        return look_for(action + 1), 0;
    else
        return 3;
    print_globals();
    print_context();
    return 0;
}

int main(int argc, char **argv)
{
    if (argc < 4)
        return 3;
    int real_root = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (strcmp(argv[3], "without-platform") != 0 && !load(argv[1], "libmigr_platform.so", RTLD_NOW | RTLD_GLOBAL))
        return 2;
    library = load(argv[1], "libmigr.so", RTLD_NOW);
    if (!library)
        return 2;
    umask(077);
    if (chroot(argv[2]) != 0 || chdir("/") != 0)
        return 3;
    int result = act(argv + 3);
    fflush(stdout);
    return fchdir(real_root) == 0 && chroot(".") == 0 ? result : 3;
}
