/* Works out rollbacks. Making them is the commit's work, asking for them the command's. */
#include "appliance/way_back.h"

#include "appliance/snapshot_store.h"
#include "system/digest.h"
#include "system/failure.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace command {

namespace {

/* The manifests from the newest one back to that of `snapshot`. */
std::vector<Manifest> commits_since(const std::string &snapshot)
{
    std::vector<std::string> names = snapshot_names();
    std::vector<Manifest>    manifests;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        bool follows = manifests.empty() || manifests.back().previous == *name;
        if (!follows)
            throw std::runtime_error("the snapshot " + manifests.back().previous + " between is missing");
        manifests.push_back(read_snapshot(*name));
        if (*name == snapshot)
            return manifests;
    }
    throw std::runtime_error("there is no snapshot " + snapshot);
}

void add_places(std::vector<Place> &places, const std::vector<Place> &more)
{
    for (const Place &place : more)
        if (std::find(places.begin(), places.end(), place) == places.end())
            places.push_back(place);
}

/* What is there now at those paths, with the sums of files. A folder above the places may be among them. */
Entries now_at(const Entries &paths)
{
    Entries found;
    for (const auto &[path, ignored] : paths) {
        std::optional<Entry> entry = entry_if_there(path);
        if (!entry)
            continue;
        if (entry->type == 'f')
            entry->sha256 = sha256_of_path(path);
        found.emplace(path, std::move(*entry));
    }
    return found;
}

std::vector<Since> differences(const Entries &left, const Entries &now, const Entries &touched)
{
    std::vector<Since> found;
    auto               note = [&](const std::string &path, const char *what) {
        found.push_back({path, what, touched.count(path) != 0});
    };
    for (const auto &[path, entry] : left) {
        auto at = now.find(path);
        if (at == now.end())
            note(path, "gone");
        else if (!is_untouched(at->second, entry))
            note(path, "changed");
    }
    for (const auto &[path, entry] : now)
        if (left.count(path) == 0)
            note(path, "new");
    return found;
}

} // namespace

WayBack way_back(const std::string &snapshot)
{
    std::vector<Manifest> commits = commits_since(snapshot);
    WayBack               way;
    Entries touched; /* every path of the commits, with what its commit left or, if nothing, what was there */
    Entries goal_of_touched;
    for (const Manifest &commit : commits) {
        check_snapshot(commit);
        way.undone.push_back(commit.name);
        add_places(way.manifest.places, commit.places);
        for (const Change &change : commit.changes) {
            touched.emplace(change.path, change.after ? *change.after : *change.before);
            goal_of_touched.erase(change.path);
            if (change.before) {
                goal_of_touched.emplace(change.path, *change.before);
                way.kept_in[change.path] = commit.name;
            }
        }
    }
    Entries now = look_at(way.manifest.places);
    way.since = differences(in_places(commits.front().state, way.manifest.places), now, touched);
    way.manifest.name = new_snapshot_name();
    way.manifest.previous = commits.front().name;
    way.manifest.command = "rollback";
    way.manifest.back_to = snapshot;
    way.manifest.from = commits.front().to;
    way.manifest.to = commits.back().from;
    way.manifest.changes = changes_between(now_at(touched), goal_of_touched);
    way.manifest.state = std::move(now);
    return way;
}

void check_snapshot(const Manifest &manifest)
{
    for (const Change &change : manifest.changes) {
        if (!change.before || change.before->type != 'f')
            continue;
        Fd kept = open_in_snapshot(manifest.name, change.path);
        if (sha256_of_file(kept.get(), change.path) != change.before->sha256)
            throw std::runtime_error("its copy of " + change.path + " is damaged");
    }
}

std::string last_upgrade()
{
    std::vector<std::string> names = snapshot_names();
    while (!names.empty()) {
        Manifest manifest = read_snapshot(names.back());
        if (manifest.command != "rollback")
            return names.back();
        auto undone = std::find(names.begin(), names.end(), manifest.back_to);
        if (undone == names.end()) /* pruned, with all that is older: it took the rest back */
            return "";
        names.erase(undone, names.end());
    }
    return "";
}

} // namespace command
