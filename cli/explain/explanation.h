/* What each author of changes did to each file, taken down as diffs while the library works. */
#pragma once

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

/* Where the library's child leaves an explanation in the staging folder. */
inline constexpr char explanation_path[] = "/explanation";

/* The same in the library's child, which leaves the explanation there. Throws PathError. */
void run_and_explain(const ExplanationRequest &request);

/* Of the bytes of that file, in the order in which things were done; of a pass that was begun anew only the last
 * attempt. Empty when the run did not come to its end. Throws Failure. */
Explanation explanation_from(const std::string &bytes);

} // namespace command
