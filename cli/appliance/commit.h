/*
 * The commit: a set of changes put into an appliance's folder so that every stored file is there whole, old or new, at
 * every moment, and so that a process that is killed anywhere leaves something the next one can finish or drop.
 *
 *   prepare   in /var/lib/migr/snapshots/.NAME: the manifest, then all that is going to be replaced, linked or copied;
 *             each new file beside its place, synced. Nothing that anybody reads has changed so far.
 *   record    /var/lib/migr/commit is written and synced: from here on the changes will be made.
 *   apply     folders, renames, removals. Each step may be done twice.
 *   finish    the snapshot gets its name, the record goes.
 *
 * All functions run inside the appliance's root folder (root.h), by its lock's holder.
 */
#pragma once

#include "appliance/manifest.h"
#include "appliance/root.h"
#include "system/file_descriptor.h"

#include <functional>
#include <string>

namespace command {

/* Opens the new content of a change that has a file as `after`. Throws PathError. */
using ContentOf = std::function<Fd(const Change &change)>;

/*
 * Makes the manifest's changes and keeps what they replace as the snapshot `manifest.name`. The `before` of each
 * change has to be what is there now; owners and extended attributes of what is replaced are carried over, and new
 * files belong to the owner of the folder they come into. Throws Failure: with the status `unusable` when nothing was
 * touched, `failed` when it was begun and all is as it was again, or, as the text then says, waits for the next
 * command to go on with it. `root` is the folder that all this is in; its name stands in messages.
 * The bytes of an account, if any, are kept with the snapshot.
 */
void commit(const Root &root, Manifest manifest, const ContentOf &content, const std::string &account = "");

/* What an earlier process left behind. */
enum class Leftover {
    none,
    dropped,  /* it was killed ahead of its commit: nothing had changed, and what it had prepared is gone */
    finished, /* its commit has been carried to the end */
    undone,   /* its commit had failed and was being taken back; that is done now */
};

/* Finishes or drops what a killed process left. Throws Failure that names the file that stands in the way. */
Leftover recover();

/* Whether a commit has been cut off and waits to be finished. Changes nothing. */
bool is_commit_pending();

} // namespace command
