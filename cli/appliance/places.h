/*
 * The places of an appliance that an upgrade can change, and what lies there.
 *
 * All functions run inside the appliance's root folder (root.h), and throw PathError.
 */
#pragma once

#include "appliance/entries.h"

#include <string>
#include <vector>

namespace command {

/* What is kept from upgrade to upgrade; never a place. */
inline constexpr char own_folder[] = "/var/lib/migr";

/* Everything of that name, or of a name that matches, in one folder, with all below. */
struct Place {
    std::string folder;
    std::string name;
    bool        pattern = false;         /* the name is a shell pattern */
    bool        keeps_additions = false; /* reached only through a link: others may use it too, so what came there since
                                            is none of ours */

    bool operator==(const Place &) const = default;
};

/* What an upgrade can change. Includes what symbolic links in those places lead to. */
std::vector<Place> places_of_upgrade();

/* All that an upgrade reads or changes: what its private copy has to hold. */
std::vector<Place> places_of_staging();

/* What is there, without the files' sums. Links are not followed. */
Entries look_at(const std::vector<Place> &places);

/* Those entries that lie in one of the places. */
Entries in_places(const Entries &entries, const std::vector<Place> &places);

} // namespace command
