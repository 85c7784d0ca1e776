/* The folder /var/lib/migr of an appliance. Decides nothing: commits and rollbacks say what is kept here. */
#include "appliance/snapshot_store.h"

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

constexpr char record_path[] = "/var/lib/migr/commit";
constexpr char record_mark[] = "migr commit 1\n"; /* first line; then the snapshot's name and "forward" or "back" */
constexpr char manifest_name[] = "/manifest.json";
constexpr char account_name[] = "/account.json.gz";
constexpr char files_name[] = "/files";

std::string finished(const std::string &name)
{
    return std::string(snapshots_folder) + "/" + name;
}

std::string hidden(const std::string &name)
{
    return std::string(snapshots_folder) + "/." + name;
}

/* A commit whose very end failed has published its snapshot already. */
std::string folder_of_commit(const std::string &name)
{
    return is_there(finished(name)) ? finished(name) : hidden(name);
}

std::string store_of(const std::string &name, const std::string &path)
{
    return folder_of_commit(name) + files_name + path;
}

void make_folder_of_ours(const std::string &path)
{
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        throw PathError{"make", path, errno};
    Fd          folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat st = {};
    if (!folder || fstat(folder.get(), &st) != 0)
        throw PathError{"use", path, errno};
    if (geteuid() != 0 && st.st_uid != geteuid())
        throw PathError{"use", path, EPERM};
    if ((st.st_mode & 0777) != 0700 && fchmod(folder.get(), 0700) != 0)
        throw PathError{"protect", path, errno};
}

std::string unfinished(const std::string &path)
{
    return path + ".new";
}

void write_synced(const std::string &path, const std::string &text)
{
    NewFile file(path, unfinished(path));
    file.write(text);
    file.publish();
    sync_folder(folder_of(path));
}

/* A second name of a file that nobody else has a name of: whoever replaces the first one leaves this one as it is. */
bool may_be_linked(const std::string &path)
{
    struct stat file = {}, store = {};
    return lstat(path.c_str(), &file) == 0 && file.st_nlink == 1 && stat(snapshots_folder, &store) == 0 &&
           file.st_dev == store.st_dev;
}

void copy_whole(const std::string &from, const std::string &to, const Entry &entry)
{
    Fd source = open_file(from, Links::refuse);
    Fd target(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!target)
        throw PathError{"write", to, errno};
    if (copy_and_sum(source.get(), from, target.get(), to) != entry.sha256)
        throw PathError{"keep", from, ESTALE};
    set_attributes(target.get(), to, entry);
    sync_to_disk(target.get(), to);
}

void remove_all(const std::string &path)
{
    std::error_code error;
    fs::remove_all(path, error);
    if (error)
        throw PathError{"remove", path, error.value()};
}

std::string name_of_time(const timespec &time)
{
    tm parts = {};
    gmtime_r(&time.tv_sec, &parts);
    char day[32];
    strftime(day, sizeof day, "%Y%m%dT%H%M%S", &parts);
    char all[64];
    snprintf(all, sizeof all, "%s.%06ldZ", day, time.tv_nsec / 1000);
    return all;
}

std::vector<std::string> names_in(const char *folder)
{
    std::error_code          error;
    std::vector<std::string> names;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        names.push_back(at->path().filename().string());
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
        throw PathError{"read", folder, error.value()};
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

void sweep_staging()
{
    unlink(unfinished(record_path).c_str());
    for (const std::string &name : names_in(own_folder))
        if (name.starts_with(staging_prefix))
            remove_all(std::string(own_folder) + "/" + name);
}

void make_own_folders()
{
    mode_t before = umask(022);
    make_folders_above(own_folder, 0755); /* an appliance's ordinary folders */
    umask(before);
    make_folder_of_ours(own_folder);
    make_folder_of_ours(snapshots_folder);
    for (std::string folder = own_folder; folder != "/"; folder = folder_of(folder))
        sync_folder(folder_of(folder));
}

std::string new_snapshot_name()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::string              name = name_of_time(now);
    std::vector<std::string> earlier = snapshot_names();
    return earlier.empty() || earlier.back() < name ? name : earlier.back() + '+';
}

void begin_snapshot(const Manifest &manifest)
{
    make_own_folders();
    std::string folder = hidden(manifest.name);
    for (const std::string &path : {folder, folder + files_name})
        if (mkdir(path.c_str(), 0700) != 0)
            throw PathError{"make", path, errno};
    write_synced(folder + manifest_name, manifest_text(manifest));
    sync_folder(snapshots_folder);
}

void store_in_snapshot(const std::string &name, const std::string &path, const Entry &entry)
{
    std::string store = store_of(name, path);
    make_folders_above(store, 0700);
    if (may_be_linked(path) && link(path.c_str(), store.c_str()) == 0)
        return;
    copy_whole(path, store, entry);
}

void keep_account(const std::string &name, const std::string &bytes)
{
    std::string path = hidden(name) + account_name;
    Fd          fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throw PathError{"write", path, errno};
    write_all(fd.get(), bytes, path);
    sync_to_disk(fd.get(), path);
}

std::optional<std::string> account_in_snapshot(const std::string &name)
{
    std::string path = finished(name) + account_name;
    return is_there(path) ? std::optional(read_file(path, Links::refuse)) : std::nullopt;
}

uint64_t bytes_to_store(const std::string &path, const Entry &entry)
{
    return entry.type != 'f' || may_be_linked(path) ? 0 : entry.size;
}

/* With those below. */
static void sync_folders(const std::string &folder)
{
    sync_folder(folder);
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error))
        if (at->is_directory(error) && !at->is_symlink(error))
            sync_folders(at->path().string());
    if (error)
        throw PathError{"read", folder, error.value()};
}

void sync_snapshot(const std::string &name)
{
    sync_folder(hidden(name));
    sync_folders(hidden(name) + files_name);
}

void take_from_snapshot(const std::string &name, const std::string &path, const std::string &target, const Entry &entry)
{
    std::string store = store_of(name, path);
    if (link(store.c_str(), target.c_str()) != 0)
        copy_whole(store, target, entry);
}

void publish_snapshot(const std::string &name)
{
    if (rename(hidden(name).c_str(), finished(name).c_str()) != 0 && !(errno == ENOENT && is_there(finished(name))))
        throw PathError{"write", finished(name), errno};
    sync_folder(snapshots_folder);
}

void hide_snapshot(const std::string &name)
{
    if (rename(finished(name).c_str(), hidden(name).c_str()) != 0 && errno != ENOENT)
        throw PathError{"remove", finished(name), errno};
    sync_folder(snapshots_folder);
}

void drop_snapshot(const std::string &name)
{
    remove_all(folder_of_commit(name));
}

bool drop_unfinished_snapshots(const std::function<void(const Manifest &)> &clean_up)
{
    bool any = false;
    for (const std::string &name : names_in(snapshots_folder)) {
        if (name[0] != '.')
            continue;
        any = true;
        std::string manifest = std::string(snapshots_folder) + "/" + name + manifest_name;
        try {
            if (is_there(manifest))
                clean_up(parse_manifest(read_file(manifest, Links::refuse)));
        } catch (const std::runtime_error &) {
            /* a manifest that a disk has damaged names nothing that could be cleaned up */
        }
        remove_all(std::string(snapshots_folder) + "/" + name);
    }
    return any;
}

std::vector<std::string> snapshot_names()
{
    std::vector<std::string> names = names_in(snapshots_folder);
    std::erase_if(names, [](const std::string &name) { return name[0] == '.'; });
    return names;
}

Manifest read_snapshot(const std::string &name)
{
    return parse_manifest(read_file(finished(name) + manifest_name, Links::refuse));
}

Fd open_in_snapshot(const std::string &name, const std::string &path)
{
    return open_file(finished(name) + files_name + path, Links::refuse);
}

void remove_snapshot(const std::string &name)
{
    remove_all(finished(name));
    sync_folder(snapshots_folder);
}

void write_record(const Record &record)
{
    const char *direction = record.direction == Direction::forward ? "forward" : "back";
    write_synced(record_path, std::string(record_mark) + record.snapshot + "\n" + direction + "\n");
}

std::optional<Record> read_record()
{
    if (!is_there(record_path))
        return std::nullopt;
    std::string text = read_file(record_path, Links::refuse);
    for (Direction direction : {Direction::forward, Direction::back}) {
        std::string ending = direction == Direction::forward ? "\nforward\n" : "\nback\n";
        if (!text.starts_with(record_mark) || !text.ends_with(ending))
            continue;
        std::string name = text.substr(sizeof record_mark - 1, text.size() - (sizeof record_mark - 1) - ending.size());
        if (!name.empty() && name.find('/') == std::string::npos && name[0] != '.')
            return Record{name, direction};
    }
    throw std::runtime_error(std::string(record_path) + ": it is no record of a commit");
}

void remove_record()
{
    if (unlink(record_path) != 0 && errno != ENOENT)
        throw PathError{"remove", record_path, errno};
    sync_folder(own_folder);
}

Manifest manifest_of(const Record &record)
{
    return parse_manifest(read_file(folder_of_commit(record.snapshot) + manifest_name, Links::refuse));
}

} // namespace command
