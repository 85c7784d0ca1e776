/*
 * Snapshots of an appliance's changeable places, in /var/lib/migr/snapshots/<UTC time>/ of the appliance itself:
 *
 *   files/...       the files, as they were, under their own paths
 *   manifest.json   what they are; written last, so a snapshot without it does not count
 *
 * Readable by their owner only. /var/lib/migr/unfinished names the snapshot of a run that has not ended yet.
 */
#pragma once

#include "appliance/manifest.h"
#include "appliance/root.h"
#include "run/interrupts.h"

#include <string>
#include <vector>

namespace command {

/* ---- from the parent; throw Failure ---- */

/* Makes a snapshot, on disk in full when this returns, and gives its name. Half ones of earlier runs go. */
std::string make_snapshot(const Root &root, bool image_files, const std::string &release, Interrupts &interrupts);

/* One snapshot for a list. */
struct SnapshotSummary {
    std::string name;
    std::string release;
    std::string trouble; /* why it cannot be used, or empty */
    uint64_t    files = 0;
    uint64_t    bytes = 0;
};

/* Oldest first. */
std::vector<SnapshotSummary> list_snapshots(const Root &root);

/* How messages call it. */
std::string shown_snapshot(const Root &root, const std::string &name);

/* The mark of a run under way. It goes when all that was written is on disk. */
void        mark_unfinished(const Root &root, const std::string &snapshot);
void        clear_unfinished(const Root &root);
std::string unfinished_snapshot(const Root &root); /* empty: none */

/* ---- inside the root folder, or with descriptors opened there; throw PathError ---- */

/* Opens a snapshot's folder. */
Fd open_snapshot(const std::string &name);

/* Reads and checks the manifest. Throws Failure. */
Manifest read_manifest(const Root &root, const std::string &name);

/* Copies what lies in those places to the folder `store`, and gives its manifest's places and entries. */
Manifest store_files(const std::vector<Place> &places, int store);

/* Opens the stored form of a file. */
Fd open_stored(int store, const std::string &path);

/* Throws Failure unless every file is in the folder `store` as the manifest has it. */
void check_stored(const Manifest &manifest, int store, const std::string &shown);

} // namespace command
