/*
 * A configuration for people outside the house: of an appliance's folder all that an upgrade reads, or one file. What
 * is there is only read. What came of it is for others to tell.
 */
#pragma once

#include "anonymize/substitution.h"
#include "appliance/root.h"

#include <string>
#include <vector>

namespace command {

/* A file of /data/config. */
struct RenamedFile {
    std::string old_name;
    std::string new_name;
};

struct Anonymized {
    Replacements             counts;
    std::vector<RenamedFile> configurations;
    std::vector<std::string> emptied;    /* files that are there without their content, which no upgrade reads */
    std::vector<std::string> unreadable; /* configurations that cannot be unpacked; in their places stand others */
    std::vector<std::string> left_out;   /* devices and the like */
};

/* Everything that takes place does so under this. */
struct AnonymizeKey {
    const KnownWords &known;
    std::string       secret;
};

/* `out` is the open, empty folder that the appliance's other self goes to. Throws Failure. */
Anonymized anonymize_appliance(const Root &appliance, int out, const AnonymizeKey &key, Interrupts &interrupts);

/* The bytes of one configuration, packed if they were. */
struct AnonymizedFile {
    std::string  bytes;
    Replacements counts;
};

/* `shown` is how messages call the file. Throws Failure. */
AnonymizedFile anonymize_file(const std::string &bytes, const std::string &shown, const AnonymizeKey &key,
                              Interrupts &interrupts);

} // namespace command
