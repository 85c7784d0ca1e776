/*
 * The way back to before a commit.
 *
 * A snapshot holds what one commit replaced, an upgrade's or a rollback's. So the way back to before a commit undoes
 * those that came after it as well, the newest first. All functions run inside the appliance's root folder, by its
 * lock's holder, and throw PathError and std::runtime_error.
 */
#pragma once

#include "appliance/manifest.h"

#include <map>
#include <string>
#include <vector>

namespace command {

/* What is not as the newest commit left it. */
struct Since {
    std::string path;
    std::string what;             /* "changed", "new", "gone" */
    bool        replaced = false; /* the way back puts something else in its place */
};

struct WayBack {
    Manifest                           manifest; /* of the commit that goes there, under a new name */
    std::map<std::string, std::string> kept_in;  /* by path: the snapshot that has what will be there */
    std::vector<std::string>           undone;   /* snapshots whose commits are taken back, the newest first */
    std::vector<Since>                 since;
};

/* Works out the way back to before the commit of that snapshot, and checks that all it needs is there as it was kept.
 * Changes nothing. */
WayBack way_back(const std::string &snapshot);

/* Throws std::runtime_error unless every file that the snapshot keeps is as it was. */
void check_snapshot(const Manifest &manifest);

/* The snapshot of the newest upgrade that no rollback has taken back; empty when there is none. */
std::string last_upgrade();

} // namespace command
