/* Reading whole files, for tests. A file that is not there is an exception: an empty text could be what a test waits
 * for. */
#include "support/files.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace support {

std::string file_text(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace support
