/*
 * What two upgrades of the same appliances did otherwise, by what was done and who did it: the regression test of an
 * image or of the command. Both are folders of results (results_folder.h); what is compared is their ledgers, so of
 * secrets it is seen what was done with them, and not what they are.
 */
#pragma once

#include "output/json.h"
#include "run/interrupts.h"

#include <functional>
#include <string>
#include <vector>

namespace command {

/* Something that one side has and the other has not, of as many appliances as there may be. */
struct Difference {
    bool        is_new = false; /* the new side has it */
    std::string what;           /* "dropped", "rewritten", "added", "moved"; "result", "reason", "warning", "effect" */
    std::string cause;          /* "6.20 delete <x><y>"; of a finding, what it says of all */
    std::string path;           /* "waf signature / * / set x" */
    uint64_t    appliances = 0;
    uint64_t    count = 0;
    std::string first; /* the first appliance by name */
    std::string example;

    /* Whether it is the same difference: how many have it does not count. */
    bool is_like(const Difference &other) const;
};

/* By what and who, those of the old side first. Throws Failure. */
std::vector<Difference> differences_of(const std::string &old_results, const std::string &new_results,
                                       Interrupts &interrupts);

/* The differences of a file that write_differences has written, or a person. Throws Failure that names the line. */
std::vector<Difference> read_differences(const std::string &path);

/* A line of JSON each, in an order that does not change with the appliances, to be kept and reviewed. */
void write_differences(const std::string &path, const std::vector<Difference> &differences, Interrupts &interrupts);

Json difference_json(const Difference &difference);

} // namespace command
