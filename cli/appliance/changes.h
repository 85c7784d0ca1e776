/*
 * What has to happen on disk to get from one state of an appliance to another. Pure: nothing here touches a disk.
 */
#pragma once

#include "appliance/entries.h"

#include <optional>
#include <string>
#include <vector>

namespace command {

/* One path that is to become something else. At least one of the two is there, and they differ. */
struct Change {
    std::string          path;
    std::optional<Entry> before; /* empty: nothing was there */
    std::optional<Entry> after;  /* empty: nothing will be there */

    /* Whether something new has to be put there whole: a file's content or a link. A file of which only the mode
     * changes is put there anew as well, so that it is one or the other at every moment. */
    bool puts_something() const
    {
        return after && after->type != 'd';
    }
    bool makes_folder() const
    {
        return after && after->type == 'd' && !(before && before->type == 'd');
    }
    bool removes() const
    {
        return before && (!after || (before->type == 'd') != (after->type == 'd'));
    }
};

/*
 * By path, so that a folder stands ahead of what is in it. Content, target, type and mode count; owner and times alone
 * do not. Devices, pipes and sockets are left alone: what `before` has as such is in no change.
 */
std::vector<Change> changes_between(const Entries &before, const Entries &after);

/* The state that those changes lead to. */
Entries applied(Entries state, const std::vector<Change> &changes);

/* The same way back. */
std::vector<Change> reversed(std::vector<Change> changes);

} // namespace command
