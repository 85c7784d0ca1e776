/* One configuration file of its own, put into a throw-away appliance so that it can be upgraded there. */
#pragma once

#include "appliance/inspect.h"
#include "appliance/root.h"
#include "driver/run_context.h"

#include <string>
#include <vector>

namespace command {

struct SingleRequest {
    std::string file;   /* path; "-" for standard input */
    std::string as;     /* "global", "domain", or empty: told by its name or its content */
    std::string domain; /* the domain's name, or empty */
};

struct SingleFile {
    std::string path;                     /* as it was asked for */
    std::string shown;                    /* how messages call it */
    std::string bytes;                    /* as it came, packed or plain */
    ConfigFacts facts;                    /* of Depth::whole */
    std::string stored;                   /* its name in /data/config of the throw-away root */
    std::string domain;                   /* empty: it is a global file, or a single one from before 5.10 */
    bool        has_certificates = false; /* of a file that is to be upgraded */

    /* A file from before 5.10 is split. */
    bool becomes_two() const
    {
        return facts.release >= 0 && facts.release < MIGR_RELEASE(5, 10);
    }

    bool is_domain() const
    {
        return !domain.empty();
    }
};

/*
 * Reads the file, finds out what it is, and lays it into `root`, an empty folder, as an appliance's configuration.
 * `syntax` is the image's syntax file. Says on standard error what was assumed. Throws Failure that names the file,
 * what is wrong with it and what to do.
 */
SingleFile lay_out_single_file(const SingleRequest &request, const Root &root, const std::string &syntax,
                               Interrupts &interrupts);

/* The throw-away appliance's configuration folder with that file in it. */
ConfigFolder folder_with(const SingleFile &file);

/* Warns of what the result lacks, as other files of the appliance are not there; empty when it lacks nothing. */
std::string what_is_missing(const SingleFile &file);

} // namespace command
