#include "command.h"

int main(int count, char **arguments)
{
    return command::run_command(count, arguments);
}
