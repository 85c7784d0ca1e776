/*
 * All that is to be said of an upgrade, as one JSON object: what came of each file, its text, each change to it, and
 * why. Pages are made of this and of nothing else, so whoever keeps it can make the page later.
 */
#pragma once

#include "appliance/outcome.h"
#include "explain/accounting.h"
#include "image/image_files.h"
#include "output/json.h"

#include <string>
#include <vector>

namespace command {

struct LedgerRequest {
    std::string                     subject; /* the appliance's root folder, or the file */
    const std::vector<FileOutcome> &files;
    const Account                  &account; /* with the entries that are kept */
    const ResultTexts              &results;
    bool                            done = false; /* it was committed; otherwise it is what would come of it */
    std::string                     snapshot = {};
    bool                            show_secrets = false;
};

/* Throws PathError when the image cannot be read. */
Json::Members upgrade_ledger(const LedgerRequest &request, const Image &image);

} // namespace command
