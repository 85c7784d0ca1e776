/* What a snapshot holds, written down. */
#pragma once

#include "appliance/places.h"

#include <string>
#include <vector>

namespace command {

struct Manifest {
    std::string        made;    /* UTC */
    std::string        release; /* of the appliance's global file then */
    std::vector<Place> places;  /* where the entries come from; what else lies there later was added */
    Entries            entries;
};

/* JSON with a checksum of its own. Paths and link targets are percent-encoded, since they may be any bytes. */
std::string manifest_text(const Manifest &manifest);

/* Throws std::runtime_error that says what is wrong with the text. */
Manifest parse_manifest(const std::string &text);

} // namespace command
