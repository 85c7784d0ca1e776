/*
 * A subcommand as a table: its name, its options, what --help says, and the function that does it. Each file of this
 * folder defines one; command.cpp lists them and is alone in knowing how a command line is taken apart.
 */
#pragma once

#include "system/failure.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace command {

/* What an operator can give, to whichever subcommand. What was not given is as it stands here. */
struct Arguments {
    std::string                root;  /* an appliance's root folder */
    std::string                file;  /* the one file that it is about; "-" for standard input */
    std::vector<std::string>   files; /* or several */
    std::string                output;
    std::string                image; /* folder of the image's files */
    std::string                key;   /* a file with a secret */
    std::string                as;    /* "global" or "domain" */
    std::string                domain;
    std::string                work;    /* folder for a private copy */
    std::string                report;  /* a page to write */
    std::string                release; /* like "6.30"; empty: the image's */
    std::string                kind;    /* of causes */
    std::string                path;    /* a pattern */
    std::string                by;      /* a cause's name */
    std::string                in;      /* a folder of saved appliances */
    std::string                out;     /* a folder of results */
    std::string                hosts;   /* a file that lists them */
    std::string                expect;  /* a file of differences */
    std::string                migr;    /* another version of the command */
    std::vector<std::string>   images;  /* folders of images' files */
    std::string                halt;    /* when a fleet is to stop */
    std::optional<std::string> snapshot;
    std::optional<unsigned>    keep;          /* snapshots */
    std::optional<unsigned>    jobs;          /* that run side by side */
    std::optional<unsigned>    entry_timeout; /* seconds for one appliance of a fleet */
    unsigned                   timeout = 600; /* seconds */
    bool                       accept = false;
    bool                       accept_damage = false;
    bool                       added = false;
    bool                       all = false;
    bool                       dropped = false;
    bool                       dry_run = false;
    bool                       force = false;
    bool                       html = false;
    bool                       json = false;
    bool                       last = false;
    bool                       partial = false;
    bool                       resume = false;
    bool                       sent = false;
    bool                       rewritten = false;
    bool                       show_secrets = false;
    bool                       strict = false;
    bool                       verbose = false;
    bool                       yes = false;
};

struct Option {
    using Target =
        std::variant<std::string Arguments::*, std::vector<std::string> Arguments::*,
                     std::optional<std::string> Arguments::*, bool Arguments::*, unsigned Arguments::*, /* at least 1 */
                     std::optional<unsigned> Arguments::*>;                                             /* at least 0 */

    const char              *names; /* "-o,--output"; one without dashes goes by its position */
    Target                   target;
    const char              *help;
    bool                     required = false;
    std::vector<std::string> choices = {}; /* if any, nothing else is taken */
};

struct Subcommand {
    const char         *name; /* "fleet upgrade" is one of the group "fleet" */
    const char         *help;
    std::vector<Option> options;
    Status (*run)(const Arguments &arguments); /* may throw Failure */
    const char *footer = nullptr;              /* in place of the one that all share */
};

extern const Subcommand convert_command;
extern const Subcommand explain_command;
extern const Subcommand account_command;
extern const Subcommand blame_command;
extern const Subcommand report_command;
extern const Subcommand plan_command;
extern const Subcommand check_command;
extern const Subcommand upgrade_command;
extern const Subcommand rollback_command;
extern const Subcommand snapshots_command;
extern const Subcommand version_command;
extern const Subcommand ml_command;
extern const Subcommand lint_command;
extern const Subcommand fleet_upgrade_command;
extern const Subcommand fleet_list_command;
extern const Subcommand fleet_one_command;
extern const Subcommand fleet_summary_command;
extern const Subcommand anonymize_command;
extern const Subcommand fleet_identity_command;
extern const Subcommand fleet_compare_command;

} // namespace command
