/*
 * An upgrade in a staging folder: what is to be carried forward, the library's run, and whether its result is good. The
 * appliance itself is not touched by anything here.
 */
#pragma once

#include "appliance/file_plan.h"
#include "appliance/outcome.h"
#include "appliance/root.h"
#include "image/image_files.h"
#include "run/interrupts.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace command {

struct RunRequest {
    bool                                     partial = false;       /* go on without the files that cannot go */
    bool                                     accept_damage = false; /* carry files forward with what they lose */
    bool                                     unpacks_soon = false;  /* results need not be small */
    std::chrono::milliseconds                timeout = std::chrono::seconds(600);
    std::function<void()>                    library;            /* what runs in the child; empty: the upgrade run */
    std::function<void(const std::string &)> tell;               /* is told what goes on, line by line; may be empty */
    FILE                                    *progress = nullptr; /* where progress is shown; null: nowhere */
    std::optional<ConfigFolder>              before; /* what there is to upgrade, if somebody has looked already */
    std::vector<std::string>                 wanted; /* paths of files there that are to be brought out behind a run */
};

struct StagedRun {
    std::vector<FileOutcome> files;
    std::vector<std::string> withheld; /* names of files that the library was not shown: the appliance keeps its own */
    std::vector<std::string> notes;    /* what the library printed */
    std::vector<std::string> brought;  /* the bytes of the wanted files, nothing of one that is not there; with `ran` */
    Status                   status = Status::done;
    bool                     ran = false; /* there is a result in the staging folder that may be committed */
};

/*
 * Lays the image's files into the staging folder, looks at its configuration, runs the library and verifies. Throws
 * Failure when the run itself failed.
 */
StagedRun run_staged(const Root &staging, const Image &image, const RunRequest &request, Interrupts &interrupts);

} // namespace command
