#include "appliance/snapshot.h"

#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/new_file.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

namespace {

constexpr char snapshots_folder[] = "/var/lib/migr/snapshots";
constexpr char unfinished_mark[] = "/var/lib/migr/unfinished";
constexpr char manifest_name[] = "manifest.json";
constexpr char files_name[] = "files";

std::string path_of(const std::string &name)
{
    return std::string(snapshots_folder) + "/" + name;
}

std::string manifest_path(const std::string &name)
{
    return path_of(name) + "/" + manifest_name;
}

Fd open_folder(int at, const std::string &path)
{
    Fd fd(openat(at, path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd)
        throw PathError{"read", path, errno};
    return fd;
}

/* The disks of all that a run writes; each folder may be a disk of its own. */
void sync_disks()
{
    for (const char *folder : {"/", "/data", "/data/config", "/data/etc", "/etc", "/var", "/var/log"}) {
        Fd fd(open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (fd && syncfs(fd.get()) != 0)
            throw PathError{"write", folder, errno};
    }
}

/* The folders that hold snapshots are ours alone. Those above are an appliance's ordinary ones. */
void make_own_folders()
{
    std::error_code error;
    mode_t          before = umask(022);
    fs::create_directories("/var/lib", error);
    umask(before);
    if (error)
        throw PathError{"make", "/var/lib", error.value()};
    for (const char *folder : {"/var/lib/migr", snapshots_folder}) {
        if (mkdir(folder, 0700) != 0 && errno != EEXIST)
            throw PathError{"make", folder, errno};
        Fd          fd = open_folder(AT_FDCWD, folder);
        struct stat st = {};
        if (fstat(fd.get(), &st) != 0 || (geteuid() != 0 && st.st_uid != geteuid()))
            throw PathError{"use", folder, EPERM};
        if ((st.st_mode & 0777) != 0700 && fchmod(fd.get(), 0700) != 0)
            throw PathError{"protect", folder, errno};
    }
}

void sync_own_folders()
{
    for (const char *folder : {snapshots_folder, "/var/lib/migr", "/var/lib", "/var", "/"})
        sync_folder(folder);
}

std::vector<std::string> snapshot_names()
{
    std::error_code          error;
    std::vector<std::string> names;
    for (fs::directory_iterator at(snapshots_folder, error), end; !error && at != end; at.increment(error))
        names.push_back(at->path().filename().string());
    if (error && error != std::errc::no_such_file_or_directory)
        throw PathError{"read", snapshots_folder, error.value()};
    std::sort(names.begin(), names.end());
    return names;
}

bool is_whole(const std::string &name)
{
    struct stat st = {};
    return lstat(manifest_path(name).c_str(), &st) == 0;
}

/* What cannot go now goes with a later snapshot. */
void drop(const std::string &name)
{
    std::error_code ignored;
    fs::remove_all(path_of(name), ignored);
}

std::string mark_if_there()
{
    try {
        return read_file(unfinished_mark, Links::refuse);
    } catch (const PathError &error) {
        if (error.error == ENOENT || error.error == ENOTDIR)
            return "";
        throw;
    }
}

void remove_half_snapshots()
{
    for (const std::string &name : snapshot_names())
        if (!is_whole(name))
            drop(name);
}

std::string time_name()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts = {};
    gmtime_r(&now.tv_sec, &parts);
    char text[64];
    strftime(text, sizeof text, "%Y%m%dT%H%M%S", &parts);
    char all[96];
    snprintf(all, sizeof all, "%s.%06ldZ", text, now.tv_nsec / 1000);
    return all;
}

void write_to_disk(const std::string &path, const std::string &text)
{
    NewFile file(path);
    file.write(text);
    file.publish();
    sync_folder(folder_of(path));
}

void fill_snapshot(const std::string &name, bool image_files, const std::string &release)
{
    Fd folder = open_snapshot(name);
    if (mkdirat(folder.get(), files_name, 0700) != 0)
        throw PathError{"make", path_of(name), errno};
    Fd       store = open_folder(folder.get(), files_name);
    Manifest manifest = store_files(places_of_upgrade(image_files), store.get());
    manifest.made = name;
    manifest.release = release;
    write_to_disk(manifest_path(name), manifest_text(manifest));
}

std::string make_snapshot_here(bool image_files, const std::string &release)
{
    make_own_folders();
    remove_half_snapshots();
    std::string name = time_name();
    if (mkdir(path_of(name).c_str(), 0700) != 0)
        throw PathError{"make", path_of(name), errno};
    try {
        fill_snapshot(name, image_files, release);
    } catch (...) {
        drop(name);
        throw;
    }
    sync_own_folders();
    return name;
}

/* Stored paths are relative to the store. */
const char *in_store(const std::string &path)
{
    return path.c_str() + 1;
}

void make_folder_in_store(int store, const std::string &folder, std::vector<std::string> &made)
{
    if (mkdirat(store, in_store(folder), 0700) == 0)
        made.push_back(folder);
    else if (errno != EEXIST)
        throw PathError{"store", folder, errno};
}

void make_folders_above(int store, const std::string &path, std::vector<std::string> &made)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        make_folder_in_store(store, path.substr(0, slash), made);
}

void store_file(const std::string &path, Entry &entry, int store)
{
    Fd from = open_file(path, Links::refuse);
    Fd to(openat(store, in_store(path), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!to)
        throw PathError{"store", path, errno};
    entry.sha256 = copy_and_sum(from.get(), path, to.get(), snapshots_folder);
    entry.size = static_cast<uint64_t>(lseek(to.get(), 0, SEEK_CUR));
    sync_to_disk(to.get(), path);
}

/* After a snapshot that was cut off. What stays now goes with the next one. */
void drop_half_snapshots(const Root &root)
{
    try {
        root.run([] {
            remove_half_snapshots();
            return json();
        });
    } catch (const Failure &) {
    }
}

json to_json(const SnapshotSummary &summary)
{
    return {summary.name, summary.release, summary.trouble, summary.files, summary.bytes};
}

SnapshotSummary summary_from(const json &from)
{
    return {from[0], from[1], from[2], from[3], from[4]};
}

SnapshotSummary summary_of(const Root &root, const std::string &name)
{
    SnapshotSummary summary = {name, "", "", 0, 0};
    try {
        Manifest manifest = read_manifest(root, name);
        summary.release = manifest.release;
        for (const auto &[path, entry] : manifest.entries) {
            summary.files += entry.type == 'f';
            summary.bytes += entry.size;
        }
    } catch (const Failure &failure) {
        summary.trouble = failure.what();
    }
    return summary;
}

} // namespace

std::string make_snapshot(const Root &root, bool image_files, const std::string &release, Interrupts &interrupts)
{
    try {
        return root.run([&] { return json(make_snapshot_here(image_files, release)); }, &interrupts);
    } catch (const Failure &) {
        drop_half_snapshots(root);
        throw;
    }
}

std::vector<SnapshotSummary> list_snapshots(const Root &root)
{
    json                         found = root.run([&] {
        json list = json::array();
        for (const std::string &name : snapshot_names())
            if (is_whole(name))
                list.push_back(to_json(summary_of(root, name)));
        return list;
    });
    std::vector<SnapshotSummary> snapshots;
    for (const json &one : found)
        snapshots.push_back(summary_from(one));
    return snapshots;
}

std::string shown_snapshot(const Root &root, const std::string &name)
{
    return root.shows(path_of(name));
}

void mark_unfinished(const Root &root, const std::string &snapshot)
{
    root.run([&] {
        write_to_disk(unfinished_mark, snapshot);
        return json();
    });
}

void clear_unfinished(const Root &root)
{
    root.run([] {
        sync_disks();
        if (unlink(unfinished_mark) != 0 && errno != ENOENT)
            throw PathError{"remove", unfinished_mark, errno};
        sync_folder(folder_of(unfinished_mark));
        return json();
    });
}

std::string unfinished_snapshot(const Root &root)
{
    return root.run([] {
        std::string name = mark_if_there();
        bool        usable = !name.empty() && name.find('/') == std::string::npos && is_whole(name);
        return json(usable ? name : "");
    });
}

Fd open_snapshot(const std::string &name)
{
    return open_folder(AT_FDCWD, path_of(name));
}

Manifest read_manifest(const Root &root, const std::string &name)
{
    std::string path = manifest_path(name);
    std::string text = read_file(path, Links::refuse);
    try {
        return parse_manifest(text);
    } catch (const std::runtime_error &error) {
        throw Failure(Status::unusable,
                      root.shows(path) + ": " + error.what() + ". Choose another snapshot (migr rollback --list).");
    }
}

Manifest store_files(const std::vector<Place> &places, int store)
{
    Manifest manifest;
    manifest.places = places;
    manifest.entries = look_at(places);
    std::vector<std::string> folders;
    for (auto &[path, entry] : manifest.entries) {
        make_folders_above(store, path, folders);
        if (entry.type == 'd')
            make_folder_in_store(store, path, folders);
        if (entry.type == 'f')
            store_file(path, entry, store);
    }
    for (const std::string &folder : folders)
        sync_to_disk(open_folder(store, in_store(folder)).get(), folder);
    sync_to_disk(store, snapshots_folder);
    return manifest;
}

Fd open_stored(int store, const std::string &path)
{
    Fd fd(openat(store, in_store(path), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd)
        throw PathError{"read the snapshot of", path, errno};
    return fd;
}

static Failure damaged_copy(const std::string &shown, const std::string &path)
{
    return {Status::unusable,
            shown + ": its copy of " + path + " is damaged. Choose another snapshot (migr rollback --list)."};
}

void check_stored(const Manifest &manifest, int store, const std::string &shown)
{
    for (const auto &[path, entry] : manifest.entries) {
        if (entry.type == 'f' && sha256_of_file(open_stored(store, path).get(), path) != entry.sha256)
            throw damaged_copy(shown, path);
    }
}

} // namespace command
