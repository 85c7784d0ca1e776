/* check_built_image FOLDER: ends with 0 when the image there can carry files of any release forward, and otherwise says
 * what is wrong with it. The build asks, since the command does not look through the image that was built with it. */
#include "image/check_image.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string text_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::string   text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open())
        fprintf(stderr, "%s: %s\n", path.c_str(), strerror(errno));
    return text;
}

} // namespace

int main(int count, char **arguments)
{
    if (count != 2) {
        fputs("usage: check_built_image FOLDER\n", stderr);
        return 2;
    }
    std::string folder = std::string(arguments[1]) + "/";
    std::string update_file = text_of(folder + "update_config"), syntax_file = text_of(folder + "syntax_v510.txt");
    std::string predefined = text_of(folder + "system.conf.predefine"), database = text_of(folder + "signature.db");
    bool        is_sound = true;
    for (const command::ImageFault &fault :
         command::faults_of_image({update_file, syntax_file, predefined, database}, 0)) {
        fprintf(stderr, "%s%s\n", folder.c_str(), shown(fault).c_str());
        is_sound = false;
    }
    return is_sound ? 0 : 1;
}
