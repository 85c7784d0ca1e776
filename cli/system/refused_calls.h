/*
 * What the system refused to whomever in this program, of the calls that open, read, look up, move and remove files.
 * The library goes on without much of it, and a later call overwrites its errno. What a shared library calls within the
 * C library does not come by here, nor do failures that say something of a file: that it is not there, or not ours.
 */
#pragma once

namespace command {

/* The errno of the first call of this process that failed for want of something, or for the disk's sake, since that was
 * last forgotten; 0 for none. In a program with AddressSanitizer: always. */
int  first_refused_call();
void forget_refused_calls();

} // namespace command
