/*
 * What the system refused to whomever in this program, of the calls that open, read, look up, move and remove files.
 * The library goes on without much of it, and a later call overwrites its errno. What the C library calls within itself
 * comes by here only as far as its own functions tell, and failures that say something of a file do not: that it is not
 * there, or not ours.
 */
#pragma once

namespace command {

/* From now on, where nothing is read but files: a call that a signal ended is made again, one that moved a part of a
 * file goes on with the rest, and "Permission denied" is a refusal where no right is missing. Forgets what was refused
 * before. */
void watch_calls();

/* The errno of the first call of this process that failed for want of something, or for the disk's sake, while calls
 * were watched; 0 for none. In a program with AddressSanitizer: always. */
int first_refused_call();

/* Calls are watched as long as it lives. */
struct CallsWatched {
    CallsWatched();
    ~CallsWatched();
    CallsWatched(const CallsWatched &) = delete;
    CallsWatched &operator=(const CallsWatched &) = delete;
};

} // namespace command
