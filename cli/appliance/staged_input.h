/*
 * A private copy of what somebody only wants to look at: an appliance's folder, or one configuration file in a
 * throw-away appliance. What is done there is for others.
 */
#pragma once

#include "appliance/single_file.h"
#include "appliance/staging.h"
#include "image/image_files.h"

#include <memory>
#include <optional>
#include <string>

namespace command {

/* Whether that path is an appliance's folder. Anything else is taken for a file. */
bool is_root_folder(const std::string &path);

struct StagedInput {
    std::unique_ptr<Root>          appliance; /* with its lock; null for a file */
    std::unique_ptr<StagingFolder> staging;
    std::string                    only;   /* the name of the one file that it is about; empty: all that are there */
    std::optional<ConfigFolder>    before; /* of a file: what its folder holds */

    const Root &root() const
    {
        return staging->root();
    }
};

/* Of a folder all that an upgrade reads or changes. Throws Failure. */
StagedInput stage_input(const SingleRequest &request, const Image &image, Interrupts &interrupts);

/* The file alone, laid out below `root`, an empty folder. What its result will lack is told on standard error. */
SingleFile lay_out_input(const SingleRequest &request, const Root &root, const Image &image, Interrupts &interrupts);

} // namespace command
