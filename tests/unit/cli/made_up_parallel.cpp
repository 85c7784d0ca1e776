/* The program is a script, which takes down what it was called with. */
#include "unit/cli/made_up_parallel.h"

#include <cstdlib>
#include <sstream>

namespace support {

/* Behind it stands what a test wants. */
static std::string script(const std::string &here, const std::string &body)
{
    return "#!/bin/sh\nhere=" + here +
           "\n"
           "sent=$PWD\n"
           "printf '%s\\n' \"$@\" >$here/arguments\n"
           "echo >>$here/calls\n"
           "while [ $# -gt 0 ]; do\n"
           "    case $1 in\n"
           "    --joblog) log=$2 ;;\n"
           "    --arg-file) jobs=$2 ;;\n"
           "    esac\n"
           "    shift\n"
           "done\n"
           "[ \"$log\" ] && echo columns >$log\n" +
           body + "\n";
}

MadeUpParallel::MadeUpParallel(const std::string &body)
{
    const char *path = getenv("PATH");
    path_before_ = path ? path : "";
    setenv("PATH", (folder() + "/bin:" + path_before_).c_str(), 1);
    does(body);
}

MadeUpParallel::~MadeUpParallel()
{
    setenv("PATH", path_before_.c_str(), 1);
}

void MadeUpParallel::does(const std::string &body) const
{
    root_.write("/bin/parallel", script(folder(), body), 0700);
}

std::vector<std::string> MadeUpParallel::arguments() const
{
    std::vector<std::string> all;
    std::istringstream       lines(root_.read("/arguments"));
    for (std::string line; std::getline(lines, line);)
        all.push_back(line);
    return all;
}

size_t MadeUpParallel::calls() const
{
    return root_.exists("/calls") ? root_.read("/calls").size() : 0;
}

} // namespace support
