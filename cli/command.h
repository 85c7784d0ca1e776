/*
 * The command migr: the host process of the library. It may be run several times in a process, as tests do, but by one
 * thread.
 */
#pragma once

namespace command {

/* Runs the command, and gives its exit status. */
int run_command(int count, const char *const *arguments);

/* What must be settled ahead of the first child: once per process. run_command does it. */
void prepare_process();

} // namespace command
