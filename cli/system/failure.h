/*
 * What can go wrong, as the operator learns of it. A path is named as the operator knows it, so who finds a failure
 * inside a root folder throws PathError and leaves the rest to others.
 */
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace command {

/* The command's exit status. */
enum class Status {
    done = 0,       /* all done, or nothing to do */
    left_alone = 1, /* some file could not be carried forward; its reason has been told */
    unusable = 2,   /* wrong usage or unusable root; nothing was touched */
    failed = 3,     /* the run failed and all is as it was before */
};

/* A failure whose text names the file, what is wrong with it and the next step. */
struct Failure : std::runtime_error {
    Failure(Status status_of_exit, const std::string &text, std::vector<std::string> all_details = {})
        : std::runtime_error(text), status(status_of_exit), details(std::move(all_details))
    {
    }
    Failure(Status status_of_exit, const std::string &text, int errno_of_system)
        : std::runtime_error(text), status(status_of_exit), error(errno_of_system)
    {
    }
    Status                   status;
    std::vector<std::string> details;   /* what was found, a line each, to be told ahead of the text */
    int                      error = 0; /* errno, where it was the system that failed; ECHILD: a child did not answer */
};

/* A system call that failed on a path. Whoever knows what the path belongs to makes a Failure of it. */
struct PathError {
    std::string doing; /* "read", "write" */
    std::string path;
    int         error;       /* errno; 0 when `advice` tells all */
    std::string advice = {}; /* what to do, in place of what usually helps against that errno */
};

/* What an exception says, in words that are no program's: of std::bad_alloc that there is not enough memory. */
std::string text_of(const std::exception &error);

/* What an operator can do about an errno. */
std::string next_step(int error);

/* "PATH: cannot DOING it: why. What to do." */
Failure failure_of(const PathError &error, const std::string &shown_path);

} // namespace command
