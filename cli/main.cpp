/* The command's entry. All the rest is a library of its own, so that tests can link it. */
#include "command.h"

int main(int count, char **arguments)
{
    return command::run_command(count, arguments);
}
