/* The system calls that a child which reads configurations may make. What it sees of the file system is
 * confinement's business. */
#pragma once

namespace command {

/*
 * In a child, for good: holds it to calls that work on files, on its own memory and on the time. One that would open a
 * connection, start a program or a process, or reach into another ends it by SIGSYS; any other fails with ENOSYS, as in
 * a kernel that is older than the C library. Where the kernel has no such filters nothing happens. Throws PathError.
 */
void hold_to_listed_calls();

} // namespace command
