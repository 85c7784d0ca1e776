/*
 * The library at work, in a child process of its own whose root folder is the appliance's.
 *
 * The child tells on one pipe which file it takes up and where it got stuck; what it prints comes over another.
 */
#pragma once

#include "run/confinement.h"
#include "run/interrupts.h"
#include "run/progress.h"
#include "run/read_back.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace command {

/* One pass of the library over a file. */
struct Pass {
    std::string               path; /* as the child sees it */
    std::chrono::microseconds time{0};
    std::string               phase;     /* the last part of the work that was done (migr.h); empty: none was */
    int                       error = 0; /* errno at the pass's end: the last thing that the system refused it */
};

/* Something in a file's finished tree that will not be read back as it is written. */
struct FileMisreading {
    std::string path; /* of the file */
    Misreading  misreading;
};

enum class End {
    done,
    exited,      /* it ended by itself, ahead of the work's end */
    crashed,     /* a signal ended it */
    stalled,     /* the library reached one of the places that never return */
    timed_out,   /* it went too long without progress */
    interrupted, /* the operator stopped migr */
};

struct LibraryRun {
    End               end = End::exited;
    int               code = 0;    /* exit code or signal */
    std::string       place;       /* of a stall; or why the child could not begin or go on */
    int               error = 0;   /* errno at the work's end */
    int               refused = 0; /* that of the first call that the system refused; 0 when it refused none */
    std::vector<Pass> passes;      /* the last one is that of the file being worked on when it ended */
    std::vector<FileMisreading> misreadings;
    std::string                 output; /* what it printed, standard output and error, the first part of it */

    /* "The upgrade crashed (Segmentation fault), at sys_global.conf.gz." Empty when all went well. */
    std::string trouble() const;

    /* What it went on without, to another result, and what can be done about that. Empty when it got all. */
    std::string lack() const;
};

/*
 * Runs `work` in the child and waits for its end. A signal to this process, or `timeout` without a new pass, kills the
 * child. Throws PathError when no child can be made.
 */
LibraryRun run_library(const Confinement &confinement, const std::function<void()> &work,
                       std::chrono::milliseconds timeout, Interrupts &interrupts, Progress &progress);

/* In the child, ahead of the library's work: `watch` is called when a part of the work on a tree is done, as
 * migr_on_section (migr.h) is. */
void watch_sections(std::function<void(int32_t release, const char *phase)> watch);

/* In the child, ahead of the library's work: what comes of it will be unpacked, and need not be small. */
void let_results_be_large();

/* In the child: the path of the file that the library is working on. */
const std::string &current_pass();

} // namespace command
