/* Comparison of two states. What the changes then need on disk is the commit's concern. */
#include "appliance/changes.h"

#include <utility>

namespace command {

namespace {

bool is_same(const Entry &one, const Entry &other)
{
    if (one.type != other.type)
        return false;
    if (one.type == 'l')
        return one.target == other.target;
    if (one.type == 'f' && (one.size != other.size || one.sha256 != other.sha256))
        return false;
    return one.mode == other.mode;
}

bool is_device(const Entry &entry)
{
    return entry.type == 'o';
}

} // namespace

std::vector<Change> changes_between(const Entries &before, const Entries &after)
{
    std::vector<Change> changes;
    auto                was = before.begin();
    auto                is = after.begin();
    while (was != before.end() || is != after.end()) {
        bool gone = is == after.end() || (was != before.end() && was->first < is->first);
        bool came = was == before.end() || (is != after.end() && is->first < was->first);
        if (gone && !is_device(was->second))
            changes.push_back({was->first, was->second, std::nullopt});
        else if (came)
            changes.push_back({is->first, std::nullopt, is->second});
        else if (!gone && !is_device(was->second) && !is_same(was->second, is->second))
            changes.push_back({was->first, was->second, is->second});
        if (!came)
            ++was;
        if (!gone)
            ++is;
    }
    return changes;
}

Entries applied(Entries state, const std::vector<Change> &changes)
{
    for (const Change &change : changes) {
        if (change.after)
            state.insert_or_assign(change.path, *change.after);
        else
            state.erase(change.path);
    }
    return state;
}

std::vector<Change> reversed(std::vector<Change> changes)
{
    for (Change &change : changes)
        std::swap(change.before, change.after);
    return changes;
}

} // namespace command
