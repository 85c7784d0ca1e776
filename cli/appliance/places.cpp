/*
 * The places are a table; what is found there, and where links in it lead, is looked up anew each time. Only names and
 * kinds count here, no content.
 */
#include "appliance/places.h"

#include "system/failure.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fnmatch.h>
#include <iterator>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* What the migrations of any release, or the run itself, write to, move or remove. */
const Place upgrade_places[] = {
    {"/data", "config"},
    {"/data/etc", "cert"},
    {"/data/etc", "globalcert"},
    {"/data/etc", "xmlproxy"},
    {"/data/etc", "ws_security"},
    {"/data/etc", "wvs"},
    {"/etc/cert", "mesh_connector"},
    {"/var/log", "sys_*.conf", true},
    {"/var/log", "vir*", true},
    {"/var/log", "libav.so"},
    {"/var/log", "aven.fc.lastgood"},
    {"/var/log", "data_analysis*", true},
    {"/var/log", "da_pdfdir"},
    {"/var/log", "geo_db"},
    {"/var/log", "wvs"},
    {"/var/log", "autolearn_adom"},
};

/* What is only read: keys' passphrase, antivirus originals, the image's files. */
const Place read_places[] = {
    {"/data", "etc"},
    {"/data/lib", "*.orig", true},
};

bool names(const Place &place, const std::string &name)
{
    return place.pattern ? fnmatch(place.name.c_str(), name.c_str(), FNM_PERIOD) == 0 : place.name == name;
}

bool is_missing(int error)
{
    return error == ENOENT || error == ENOTDIR;
}

std::vector<std::string> names_in(const std::string &folder)
{
    std::error_code          error;
    std::vector<std::string> found;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        found.push_back(at->path().filename().string());
    if (error && !is_missing(error.value()))
        throw PathError{"read", folder, error.value()};
    return found;
}

void look_below(const std::string &top, Entries &entries)
{
    std::vector<std::string> folders;
    auto                     note = [&](const std::string &path) {
        Entry entry = entry_at(path);
        if (entry.type == 'd')
            folders.push_back(path);
        entries.emplace(path, std::move(entry));
    };
    note(top);
    while (!folders.empty()) {
        std::string folder = std::move(folders.back());
        folders.pop_back();
        for (const std::string &name : names_in(folder))
            note(joined(folder, name));
    }
}

std::vector<std::string> found_of(const Place &place)
{
    std::vector<std::string> found;
    if (place.pattern) {
        for (const std::string &name : names_in(place.folder))
            if (names(place, name))
                found.push_back(joined(place.folder, name));
        return found;
    }
    struct stat st = {};
    std::string path = joined(place.folder, place.name);
    if (lstat(path.c_str(), &st) == 0)
        found.push_back(path);
    else if (!is_missing(errno))
        throw PathError{"read", path, errno};
    return found;
}

bool is_below(const std::string &path, const std::string &folder)
{
    return folder == "/" || path == folder || path.starts_with(folder + "/");
}

bool holds(const Place &place, const std::string &path)
{
    if (!is_below(path, place.folder) || path == place.folder)
        return false;
    std::string rest = path.substr(place.folder == "/" ? 1 : place.folder.size() + 1);
    return names(place, rest.substr(0, rest.find('/')));
}

/* A folder that holds a place, or the snapshots, is no place: a snapshot of it would have no end. */
bool may_be_place(const std::vector<Place> &places, const std::string &path)
{
    if (is_below(own_folder, path) || is_below(path, own_folder))
        return false;
    return std::none_of(places.begin(), places.end(),
                        [&](const Place &place) { return is_below(place.folder, path) || holds(place, path); });
}

/* Writing to a link writes to what it leads to; so that is a place too. */
void add_link_targets(std::vector<Place> &places)
{
    for (size_t at = 0; at < places.size(); at++) {
        Place place = places[at];
        for (const auto &[path, entry] : look_at({place})) {
            std::error_code error;
            std::string     target = entry.type == 'l' ? fs::weakly_canonical(path, error).string() : "";
            if (error || target.empty() || !may_be_place(places, target))
                continue;
            bool place_itself = folder_of(path) == place.folder && !place.keeps_additions;
            places.push_back({folder_of(target), fs::path(target).filename().string(), false, !place_itself});
        }
    }
}

} // namespace

std::vector<Place> places_of_upgrade()
{
    std::vector<Place> places(std::begin(upgrade_places), std::end(upgrade_places));
    add_link_targets(places);
    return places;
}

std::vector<Place> places_of_staging()
{
    std::vector<Place> places = places_of_upgrade();
    places.insert(places.end(), std::begin(read_places), std::end(read_places));
    add_link_targets(places);
    return places;
}

Entries look_at(const std::vector<Place> &places)
{
    Entries entries;
    for (const Place &place : places)
        for (const std::string &path : found_of(place))
            look_below(path, entries);
    return entries;
}

Entries in_places(const Entries &entries, const std::vector<Place> &places)
{
    Entries found;
    for (const auto &[path, entry] : entries)
        if (std::any_of(places.begin(), places.end(),
                        [&inside = path](const Place &place) { return holds(place, inside); }))
            found.emplace(path, entry);
    return found;
}

} // namespace command
