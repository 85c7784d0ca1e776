/* A C host built against an installed library: reads a file's release, upgrades nothing, writes an empty tree. */
#include <migr.h>

#include <stdio.h>
#include <string.h>

int main(int count, char **arguments)
{
    if (count != 3 || get_config_version(arguments[1]) != -1)
        return 1;
    migr_main.root.kind = MIGR_ROOT;
    strcpy(migr_main.first_line, "#config-version=\n");
    if (new_config_file_GUI(arguments[2]) != 0)
        return 2;
    puts("host: ok");
    return 0;
}
