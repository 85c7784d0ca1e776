/*
 * A host that is linked with the library, and has names of its own that the library has too: functions, which the
 * library must not call, and static variables.
 *
 *   linked_host ROOT    upgrades the appliance in ROOT
 */
#define _GNU_SOURCE
#include "driver/migr.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

static int top = 1;
static int sub = 2;
static int found_node = 3;

static void wrong_one(const char *name)
{
    printf("the library called the host's %s\n", name);
    fflush(stdout);
    _Exit(1);
}

#define OWN(name)                                                                                                      \
    void name(void);                                                                                                   \
    void name(void)                                                                                                    \
    {                                                                                                                  \
        wrong_one(#name);                                                                                              \
    }

OWN(parse_config)
OWN(add_to_tail)
OWN(copy_node)
OWN(free_node)
OWN(write_node)
OWN(new_node)
OWN(release_node)
OWN(read_line)
OWN(skip_white)
OWN(cfg_del_conf)
OWN(top_cfg_is)
OWN(cnd_del)
OWN(migr_hardcode)
OWN(new_config_file)

int main(int argc, char **argv)
{
    int real_root = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    umask(077);
    if (argc != 2 || chroot(argv[1]) != 0 || chdir("/") != 0)
        return 3;
    migr_main_do_all();
    printf("top %d sub %d found_node %d\n", top, sub, found_node);
    fflush(stdout);
    return fchdir(real_root) == 0 && chroot(".") == 0 ? 0 : 3;
}
