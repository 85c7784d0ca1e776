/* The command at the mercy of a tracer, which can end it or let one of its writing system calls fail. It knows nothing
 * of what the command does there. */
#pragma once

#include <map>
#include <string>
#include <vector>

namespace support {

/* What happens at one writing system call, counted over the command and its children. */
struct Fault {
    enum class Kind {
        none,
        kill_all,    /* as when the power goes */
        kill_caller, /* the process that makes the call, alone */
        fail,        /* the call is not made, and fails with `error` */
    };
    Kind kind = Kind::none;
    long point = 0; /* which call, from 1 on */
    int  error = 0; /* errno */
    long only = -1; /* count calls of this number only, whether they write or not; -1: all that write */
};

struct TracedRun {
    long                 calls = 0; /* that counted */
    std::map<long, long> calls_by_number;
    bool                 struck = false;
    int                  status = -1; /* the command's exit status, -1 when it was killed */
    std::string          said;        /* on standard output and error */
};

/* `migr ARGUMENTS...` with that fault. */
TracedRun run_traced(const std::vector<std::string> &arguments, const Fault &fault);

/* How many calls of each of those numbers `migr ARGUMENTS...` makes: of those that a Fault of the kind `fail` counts.
 */
std::map<long, long> count_calls(const std::vector<std::string> &arguments, const std::vector<long> &numbers);

/* Whether this machine lets a test trace, and lets it change what a call gives. */
bool may_trace();

} // namespace support
