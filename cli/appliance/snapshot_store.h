/*
 * What migr keeps in an appliance's own folder, /var/lib/migr, readable by its owner only:
 *
 *   snapshots/NAME/manifest.json    what a commit changed
 *   snapshots/NAME/account.json.gz  what became of each line, of an upgrade
 *   snapshots/NAME/files/...        the files that it replaced or removed, under their own paths
 *   snapshots/.NAME                 the same while the commit is being prepared or made
 *   commit                          the record of a commit that is being made: its snapshot's name and its direction
 *   staging-...                     the private copy that an upgrade works on
 *
 * All functions run inside the appliance's root folder, by its lock's holder, and throw PathError.
 */
#pragma once

#include "appliance/manifest.h"
#include "system/file_descriptor.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace command {

inline constexpr char staging_prefix[] = "staging-";
inline constexpr char snapshots_folder[] = "/var/lib/migr/snapshots";

/* Removes the private copies that killed processes left. */
void sweep_staging();

/* Makes the folder and those above it, for their owner alone. */
void make_own_folders();

/* A name for a snapshot made now: the time, UTC. It sorts behind those that are there, also when the clock has been put
 * back. */
std::string new_snapshot_name();

/* ---- a snapshot on its way ---- */

/* Makes the hidden folder and its manifest, on disk when this returns. */
void begin_snapshot(const Manifest &manifest);

/* Keeps a file as it is: by a link where the disk allows it and nobody else can change the file by another name of it,
 * otherwise as a copy. */
void store_in_snapshot(const std::string &name, const std::string &path, const Entry &entry);

/* Puts the account of what the commit changes beside the manifest; and gives it, of a finished snapshot, or nothing. */
void                       keep_account(const std::string &name, const std::string &bytes);
std::optional<std::string> account_in_snapshot(const std::string &name);

/* How many bytes store_in_snapshot will write. */
uint64_t bytes_to_store(const std::string &path, const Entry &entry);

/* Syncs all folders of a hidden snapshot, so that whoever makes it known later makes it known whole. */
void sync_snapshot(const std::string &name);

/* Puts what the hidden snapshot has of `path` to `target`, by a link or as a copy with those attributes. */
void take_from_snapshot(const std::string &name, const std::string &path, const std::string &target,
                        const Entry &entry);

/* Gives the hidden snapshot its name. Doing it twice is fine. */
void publish_snapshot(const std::string &name);

/* The other way round, for a commit that has been taken back: what is hidden counts for nothing without a record. */
void hide_snapshot(const std::string &name);

/* Removes the snapshot of a commit that is not made, or has been taken back. */
void drop_snapshot(const std::string &name);

/* Removes all hidden ones; `clean_up` gets each manifest that was written whole. Whether there were any. */
bool drop_unfinished_snapshots(const std::function<void(const Manifest &)> &clean_up);

/* ---- finished snapshots ---- */

/* Their names, the oldest first. */
std::vector<std::string> snapshot_names();

/* Throws PathError, or std::runtime_error that says what is wrong with it. */
Manifest read_snapshot(const std::string &name);

/* Opens what a finished snapshot has of a file. */
Fd open_in_snapshot(const std::string &name, const std::string &path);

/* Removes one that is not wanted any more. */
void remove_snapshot(const std::string &name);

/* ---- the record ---- */

enum class Direction {
    forward,
    back, /* a step failed, and the rest is being taken back */
};

struct Record {
    std::string snapshot;
    Direction   direction = Direction::forward;
};

/* On disk when this returns. */
void write_record(const Record &record);

/* Nothing when no commit is being made. Throws std::runtime_error for a record that is none. */
std::optional<Record> read_record();

/* Gone from the disk when this returns. */
void remove_record();

/* The manifest of the record's snapshot, hidden or, when the record is all that was left to do, not any more. */
Manifest manifest_of(const Record &record);

} // namespace command
