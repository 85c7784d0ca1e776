/* What each author of changes did to each file, taken down as diffs while the library works. */
#pragma once

#include "appliance/root.h"
#include "explain/authors.h"
#include "explain/part_diff.h"

#include <functional>
#include <string>
#include <vector>

namespace command {

/* What one author did in one part of the work on a file. */
struct ExplainedChange {
    std::string file; /* its name in /data/config */
    Author      author;
    std::string diff; /* unified, without head lines */
};

struct Explanation {
    std::vector<ExplainedChange> changes;
    bool                         is_incomplete = false; /* memory ran out */
};

struct ExplanationRequest {
    DiffView                            view;
    std::function<bool(const Author &)> takes; /* whether to show what he did */
};

/* In the place of the upgrade run: runs it, and gives the explanation. */
Explanation explanation_of_run(const ExplanationRequest &request);

/* The same in the library's child, which leaves the explanation in the root folder for read_explanation. Throws
 * PathError. */
void run_and_explain(const ExplanationRequest &request);

/* In the order in which things were done; of a pass that was begun anew only the last attempt. Empty when the run did
 * not come to its end. Throws Failure. */
Explanation read_explanation(const Root &root);

} // namespace command
