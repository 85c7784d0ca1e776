/*
 * What is wrong with configuration files ahead of an upgrade, each looked at whole. Changes nothing, and does not ask
 * what the image's files are like.
 */
#pragma once

#include "appliance/root.h"
#include "language/damage.h"
#include "run/interrupts.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

struct CheckedFile {
    std::string              name;         /* how messages call it */
    int32_t                  release = -1; /* version code, or -1 without one */
    std::vector<std::string> reasons;      /* of the file as a whole: it cannot be upgraded at all */
    std::vector<Damage>      damage;
    size_t                   more_damage = 0; /* how much there is beyond that */

    bool is_sound() const
    {
        return reasons.empty() && damage.empty();
    }
};

/* All files that an upgrade of the appliance would look at, and the global one if it is missing. Throws Failure when
 * there are none. */
std::vector<CheckedFile> check_appliance(const Root &root);

/* One file of its own, packed or plain; "-" is standard input. Throws PathError when it cannot be read. */
CheckedFile check_file(const std::string &path, Interrupts &interrupts);

} // namespace command
