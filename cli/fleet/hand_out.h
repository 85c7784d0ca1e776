/*
 * Jobs handed out to the processors of this machine by GNU parallel, which knows when to start one, when one has taken
 * too long, and when enough have failed. A job is a line of a file, a command for a shell. What jobs do is not known
 * here.
 */
#pragma once

#include "run/interrupts.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace command {

struct HandOut {
    std::string              folder;    /* where it all runs; empty: here */
    std::string              jobs;      /* a file with a command a line; empty: none, as `further` says what is done */
    std::string              log;       /* where a line for each job that has ended is written, anew */
    std::optional<unsigned>  at_once;   /* how many run side by side; as many as there are processors */
    std::optional<unsigned>  timeout;   /* seconds for a job */
    std::string              halt;      /* when to stop, as parallel's --halt; empty: never */
    std::vector<std::string> template_; /* what to run for each line, in place of the line itself; may be empty */
    std::vector<std::string> further;   /* options of parallel */

    /* Is told each line that a job has printed, and each complaint. */
    std::function<void(const std::string &line)> printed;
    std::function<void(const std::string &line)> complained;
};

/* How a job ended that had something wrong. */
struct BadEnd {
    size_t number = 0; /* its line in the file of jobs, from 1 */
    int    status = 0; /* exit status; -1 for a job that took too long */
    int    signal = 0;
};

/* Throws Failure when there is no parallel. Whether it is GNU's shows when it has something to do. */
void require_parallel();

/* Waits until all jobs have ended. A signal ends those that run: they get time to clean up. False then. Throws Failure.
 */
bool hand_out(const HandOut &request, Interrupts &interrupts);

/* Those of a log. Throws PathError. */
std::vector<BadEnd> bad_ends(const std::string &log);

} // namespace command
