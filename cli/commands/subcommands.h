/*
 * The command's subcommands. Each lives in a file of its own, with a function that tells the argument parser about it;
 * the table in command.cpp lists them.
 */
#pragma once

#include "system/failure.h"

#include <CLI/CLI.hpp>
#include <functional>

namespace command {

/* What the operator asked for, set when the arguments have been read. May throw Failure. */
using Action = std::function<Status()>;

void add_upgrade(CLI::App &app, Action &chosen);
void add_rollback(CLI::App &app, Action &chosen);
void add_version(CLI::App &app, Action &chosen);
void add_ml(CLI::App &app, Action &chosen);
void add_lint(CLI::App &app, Action &chosen);
void add_check(CLI::App &app, Action &chosen);
void add_convert(CLI::App &app, Action &chosen);
void add_explain(CLI::App &app, Action &chosen);
void add_plan(CLI::App &app, Action &chosen);

} // namespace command
