/*
 * What came of the library's run, file by file, judged by what lies in the staging folder behind it. Nothing is put
 * right here, and nothing is said yet.
 */
#pragma once

#include "appliance/file_plan.h"
#include "appliance/outcome.h"
#include "run/library_child.h"

#include <vector>

namespace command {

/* That of a file ahead of a run, or without one. */
FileOutcome outcome_of_plan(const FilePlan &plan);

/*
 * Those of all files that had a plan, in that order, and of those that the run has made. To be called inside the
 * staging folder, by a process that may end if memory does. Throws Failure when something went wrong that is no file's
 * fault, and PathError.
 */
std::vector<FileOutcome> outcomes_of_run(const std::vector<FilePlan> &plans, const LibraryRun &run, bool accept_damage);

} // namespace command
