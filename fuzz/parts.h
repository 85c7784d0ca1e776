/* One part of an upgrade on trees of a document, as its first line names it: a stage, a row, the whole walk, a step of
 * the version chain, the rules of the update file, the reconciliation, all of these, or none. */
#pragma once

#include "fuzz/document.h"

#include <string>
#include <vector>

namespace fuzzing {

struct PartResult {
    std::string text;    /* of the tree behind it */
    bool        whole;   /* it was read to its end, and the part came back and gave 0 */
    bool        further; /* the tree had the further text behind its own, and was not empty without it */
};

/* Once for each pass of the document, in a root folder that is laid out, one behind the other. Stops the program at a
 * change that was not told, or at a tree that will not read back as what it is. With a `further` text that is read into
 * each tree behind its own. Gives nothing for a document that has an allocation refused. */
std::vector<PartResult> run_part(const Document &document, const std::string &further);

} // namespace fuzzing
