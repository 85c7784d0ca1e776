/* Migrations remove and move files under /data: a bench runs them with a root folder of its own. */
#pragma once

#include <string>
#include <vector>

namespace bench {

/* A file to be had in the sandbox, and where in it. */
struct LaidIn {
    std::string source;
    std::string path;
};

/* Makes a folder with copies of these, in memory where the machine has such a place, and makes it this process's root
 * folder. As a user who is not root the process moves to a user namespace first. Ends the program when that is not to
 * be had. */
void enter_sandbox(const std::vector<LaidIn> &files = {});

/* Back to the machine's root folder; the sandbox is removed. */
void leave_sandbox();

} // namespace bench
