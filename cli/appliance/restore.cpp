#include "appliance/restore.h"

#include "appliance/snapshot.h"
#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/new_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <optional>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* What a killed run leaves outside the places: temporary files of the library and of the platform's compressor. They
 * hold configuration text. */
const Place leftovers[] = {
    {"/tmp", "system1.conf"},
    {"/tmp", "system2.conf"},
    {"/tmp", "system_global.conf"},
    {"/tmp", "system_domain.root.conf"},
    {"/tmp", ".new-[0-9]*-[0-9]*", true},
    {"/", "qx_migr_unzip_tmp"},
    {"/", ".new-[0-9]*-[0-9]*", true},
};

std::optional<Entry> entry_if_there(const std::string &path)
{
    try {
        return entry_at(path);
    } catch (const PathError &error) {
        if (error.error == ENOENT || error.error == ENOTDIR)
            return std::nullopt;
        throw;
    }
}

void remove_leftovers(const Manifest &manifest)
{
    for (const auto &[path, entry] : look_at({std::begin(leftovers), std::end(leftovers)}))
        if (entry.type == 'f' && entry.uid == geteuid())
            unlink(path.c_str());
    for (const Place &place : manifest.places)
        unlink(beside(joined(place.folder, place.name)).c_str());
    for (const auto &[path, entry] : manifest.entries)
        unlink(beside(path).c_str());
}

void remove_whole(const std::string &path)
{
    std::error_code error;
    fs::remove_all(path, error);
    if (error)
        throw PathError{"remove", path, error.value()};
}

/* Folders first, so that everything else has one to go to, and one that lets us in. */
void make_folder_as_stored(const std::string &path)
{
    std::optional<Entry> there = entry_if_there(path);
    if (there && there->type != 'd')
        remove_whole(path);
    if (there && there->type == 'd') {
        if ((there->mode & 0700) != 0700 && chmod(path.c_str(), there->mode | 0700) != 0)
            throw PathError{"open", path, errno};
        return;
    }
    std::error_code error;
    fs::create_directories(folder_of(path), error);
    if (mkdir(path.c_str(), 0700) != 0)
        throw PathError{"make", path, errno};
}

void remove_added(const Manifest &manifest)
{
    std::vector<Place> ours;
    for (const Place &place : manifest.places)
        if (!place.keeps_additions)
            ours.push_back(place);
    for (const auto &[path, entry] : look_at(ours)) {
        auto was = manifest.entries.find(path);
        if (was == manifest.entries.end() || was->second.type != entry.type)
            remove_whole(path);
    }
}

/* A file that cannot be read counts as another: it is written anew. */
bool has_content(const std::string &path, const Entry &wanted)
{
    std::optional<Entry> there = entry_if_there(path);
    if (!there || there->type != 'f' || there->size != wanted.size)
        return false;
    Fd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return fd && sha256_of_file(fd.get(), path) == wanted.sha256;
}

void write_anew(const std::string &path, int store)
{
    Fd      from = open_stored(store, path);
    NewFile to(path);
    copy_and_sum(from.get(), path, to.fd(), path);
    to.publish();
}

void make_room_for_file(const std::string &path)
{
    std::error_code error;
    fs::create_directories(folder_of(path), error);
    std::optional<Entry> there = entry_if_there(path);
    if (there && there->type != 'f')
        remove_whole(path);
}

/* On a full disk the old file has to make room for its own past. It is safe in the snapshot all the while. */
void write_as_stored(const std::string &path, int store)
{
    make_room_for_file(path);
    try {
        write_anew(path, store);
    } catch (const PathError &failed) {
        if (failed.error != ENOSPC && failed.error != EDQUOT)
            throw;
        unlink(path.c_str());
        write_anew(path, store);
    }
}

void make_link_as_stored(const std::string &path, const Entry &wanted)
{
    std::optional<Entry> there = entry_if_there(path);
    if (there && there->target == wanted.target)
        return;
    if (there)
        remove_whole(path);
    std::error_code error;
    fs::create_directories(folder_of(path), error);
    if (symlink(wanted.target.c_str(), path.c_str()) != 0)
        throw PathError{"make", path, errno};
}

void set_attributes(const std::string &path, const Entry &wanted, Owners owners)
{
    Entry there = entry_at(path);
    bool  other_owner = there.uid != wanted.uid || there.gid != wanted.gid;
    if (owners == Owners::restore && other_owner && lchown(path.c_str(), wanted.uid, wanted.gid) != 0)
        throw PathError{"give back the owner of", path, errno};
    if (wanted.type != 'l' && (other_owner || there.mode != wanted.mode) && chmod(path.c_str(), wanted.mode) != 0)
        throw PathError{"give back the mode of", path, errno};
    timespec times[] = {{0, UTIME_OMIT}, {wanted.seconds, wanted.nanoseconds}};
    bool     other_time = there.seconds != wanted.seconds || there.nanoseconds != wanted.nanoseconds;
    if (other_time && utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
        throw PathError{"give back the time of", path, errno};
}

/* Devices, pipes and sockets are in no snapshot, and no upgrade touches them. */
void make_entry_as_stored(const std::string &path, const Entry &wanted, int store, Owners owners)
{
    if (wanted.type == 'l')
        make_link_as_stored(path, wanted);
    else if (wanted.type == 'f' && !has_content(path, wanted))
        write_as_stored(path, store);
    if (wanted.type == 'l' || wanted.type == 'f')
        set_attributes(path, wanted, owners);
}

/* The owner and time of a folder are compared as well; a device's time moves by itself. */
bool is_as_stored(const std::string &path, const Entry &there, const Entry &wanted)
{
    if (wanted.type == 'o')
        return there.type == 'o';
    Entry compared = there;
    compared.sha256 = wanted.sha256;
    return compared == wanted && (wanted.type != 'f' || has_content(path, wanted));
}

std::vector<std::string> differences(const Root &root, const Manifest &manifest)
{
    std::vector<std::string> found;
    Entries                  there = look_at(manifest.places);
    for (const auto &[path, wanted] : manifest.entries) {
        auto at = there.find(path);
        if (at == there.end())
            found.push_back(root.shows(path) + " is missing");
        else if (!is_as_stored(path, at->second, wanted))
            found.push_back(root.shows(path) + " is not as it was");
    }
    return found;
}

json restore_here(const Root &root, const std::string &name)
{
    Manifest manifest = read_manifest(root, name);
    Fd       folder = open_snapshot(name);
    Fd       store(openat(folder.get(), "files", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!store)
        throw PathError{"read", "/var/lib/migr/snapshots/" + name, errno};
    check_stored(manifest, store.get(), shown_snapshot(root, name));
    try {
        make_as_stored(manifest, store.get(), Owners::restore);
        return differences(root, manifest);
    } catch (const PathError &error) {
        throw Failure(Status::failed, failure_of(error, root.shows(error.path)).what());
    }
}

} // namespace

void make_as_stored(const Manifest &manifest, int store, Owners owners)
{
    for (const auto &[path, entry] : manifest.entries)
        if (entry.type == 'd')
            make_folder_as_stored(path);
    remove_leftovers(manifest);
    remove_added(manifest);
    for (const auto &[path, entry] : manifest.entries)
        make_entry_as_stored(path, entry, store, owners);
    for (auto at = manifest.entries.rbegin(); at != manifest.entries.rend(); ++at) /* what is inside goes first */
        if (at->second.type == 'd')
            set_attributes(at->first, at->second, owners);
}

std::vector<std::string> restore_snapshot(const Root &root, const std::string &name)
{
    std::vector<std::string> left = root.run([&] { return restore_here(root, name); });
    if (left.empty())
        clear_unfinished(root);
    return left;
}

} // namespace command
