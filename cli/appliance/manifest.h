/* What one commit replaced, written down: the way back, and the record of what is under way. */
#pragma once

#include "appliance/changes.h"
#include "appliance/places.h"

#include <string>
#include <vector>

namespace command {

struct Manifest {
    std::string         name;     /* of the snapshot: when it was made, UTC */
    std::string         previous; /* the snapshot that was the newest then, or empty */
    std::string         command;  /* "upgrade" or "rollback" */
    std::string         back_to;  /* of a rollback: the snapshot to before which it went */
    std::string         from;     /* release of the appliance's global file ahead of it, as text */
    std::string         to;       /* and behind it */
    std::vector<Place>  places;   /* where the changes lie; what else lies there later came since */
    std::vector<Change> changes;
    Entries             state; /* all that lies in the places once the changes are made */
};

/* JSON with a checksum of its own. Paths and link targets are percent-encoded, since they may be any bytes. */
std::string manifest_text(const Manifest &manifest);

/* Throws std::runtime_error that says what is wrong with the text. */
Manifest parse_manifest(const std::string &text);

/* Places and entries alone, for the way from one process to another. */
std::string        places_text(const std::vector<Place> &places);
std::vector<Place> parse_places(const std::string &text);
std::string        entries_text(const Entries &entries);
Entries            parse_entries(const std::string &text);

} // namespace command
