/*
 * What came of one appliance of a fleet, as one line of JSON: all that a summary of thousands needs, and nothing of the
 * configuration's values.
 */
#pragma once

#include "appliance/outcome.h"
#include "explain/account.h"
#include "explain/causes.h"
#include "system/failure.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

/* What the same input gives the same result with. */
struct Identity {
    std::string input;   /* digest_of_entry */
    std::string image;   /* SHA-256 of the image's files */
    std::string version; /* of migr, and the release that it carries files forward to */
    std::string options; /* that change the result: "partial accept-damage" */

    bool operator==(const Identity &) const = default;
};

/* What was found, of which an appliance may have many alike. */
struct CountedFinding {
    bool        is_reason = false; /* against an upgrade; otherwise a warning about its result */
    std::string cause;
    uint64_t    count = 0;
    std::string file; /* of the first, and what was said of it */
    std::string text;
};

struct CountedCause {
    std::string cause; /* "6.10 stage _remove_all_autolearn" */
    std::string kind;
    uint64_t    lines = 0; /* that it dropped */
};

enum class EntryEnd {
    upgraded,
    current, /* nothing of it is older than the image */
    refused, /* by its own fault: nothing was made of it */
    failed,  /* by no fault of its own; another try may do */
};

/* What a failure makes of an appliance. The system is at fault when it cannot do something, and the appliance when
 * something is not there, or no file. */
EntryEnd end_of(const Failure &failure);

/* What its files make of it. One that the system could not read is no fault of the appliance's, whatever came of the
 * others. */
EntryEnd end_of(const std::vector<FileOutcome> &files);

struct EntryResult {
    std::string                 entry;
    std::string                 form;
    Identity                    identity;
    EntryEnd                    end = EntryEnd::failed;
    std::string                 output; /* below the folder of results; empty: there is none */
    double                      seconds = 0;
    std::string                 host;
    uint64_t                    lines = 0, rewritten = 0, dropped = 0, added = 0;
    std::vector<CountedFinding> findings;
    std::vector<CountedCause>   causes; /* of what was dropped */
};

/* "upgraded" and so on. */
const char *name_of(EntryEnd end);

/* Takes in what there is to say of each file. */
void take_findings(const std::vector<FileOutcome> &files, EntryResult &result);

/* One that is no file's. */
void take_reason(const FileFinding &reason, EntryResult &result);

void take_counts(const Account &account, const Causes &causes, EntryResult &result);

/* With a newline at its end. */
std::string line_of(const EntryResult &result);

/* Throws Failure for a line that is none. */
EntryResult result_from(std::string_view line);

} // namespace command
