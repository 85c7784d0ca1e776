/* Reads from the start, since the child has moved the position that it shares with us. It takes no pipe. */
#include "support/child_output.h"

#include <unistd.h>

namespace support {

std::string drain(int fd)
{
    std::string text;
    char        part[65536];
    lseek(fd, 0, SEEK_SET);
    for (ssize_t got; (got = read(fd, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(got));
    close(fd);
    return text;
}

} // namespace support
