/* The one place where migr changes an appliance. What is to change is decided elsewhere. */
#include "appliance/commit.h"

#include "appliance/snapshot_store.h"
#include "appliance/space.h"
#include "system/digest.h"
#include "system/failure.h"
#include "system/files.h"
#include "system/refused_memory.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <map>
#include <optional>
#include <set>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace command {

namespace {

/* A manifest with the places where the new form of each change waits, by the changes' order; empty for a change that
 * puts nothing. The names follow from the manifest alone, so that whoever comes later finds them. */
struct Commit {
    Manifest                 manifest;
    std::vector<std::string> waiting;
    std::string              account; /* to be kept with the snapshot; may be empty */
};

constexpr char undo_name[] = ".migr-old"; /* of what is being put back */

/* What comes into a new folder waits in the one that holds that: it is on the same disk. */
std::vector<std::string> waiting_places(const std::vector<Change> &changes)
{
    std::set<std::string> new_folders;
    for (const Change &change : changes)
        if (change.makes_folder())
            new_folders.insert(change.path);
    std::vector<std::string> places;
    for (const Change &change : changes) {
        std::string folder = folder_of(change.path);
        while (new_folders.count(folder) != 0)
            folder = folder_of(folder);
        std::string name = ".migr-new-" + std::to_string(places.size());
        places.push_back(change.puts_something() ? joined(folder, name) : "");
    }
    return places;
}

Commit commit_of(Manifest manifest)
{
    std::vector<std::string> waiting = waiting_places(manifest.changes);
    return {std::move(manifest), std::move(waiting), {}};
}

/* ---- small steps ---- */

void remove_file(const std::string &path)
{
    if (unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
        throw PathError{"remove", path, errno};
}

void rename_over(const std::string &from, const std::string &to)
{
    if (rename(from.c_str(), to.c_str()) != 0)
        throw PathError{"write", to, errno};
}

std::string folder_that_is_there(const std::string &path)
{
    struct stat st = {};
    std::string folder = folder_of(path);
    while (folder != "/" && (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)))
        folder = folder_of(folder);
    return folder;
}

void make_link(const std::string &at, const std::string &path, const Entry &wanted)
{
    if (symlink(wanted.target.c_str(), at.c_str()) != 0)
        throw PathError{"write", path, errno};
    bool own = wanted.uid == geteuid() && wanted.gid == getegid();
    if (!own && lchown(at.c_str(), wanted.uid, wanted.gid) != 0)
        throw PathError{"keep the owner of", path, errno};
}

/* What somebody has put there since is not ours to remove, nor is a folder that holds such. */
void remove_known(const std::string &path, const Entry &known)
{
    std::optional<Entry> now = entry_if_there(path);
    if (!now || now->type != known.type || (known.type != 'd' && !is_untouched(*now, known)))
        return;
    if (known.type != 'd')
        return remove_file(path);
    if (rmdir(path.c_str()) != 0 && errno != ENOTEMPTY && errno != EEXIST)
        throw PathError{"remove", path, errno};
}

void make_folder(const std::string &path)
{
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        throw PathError{"make", path, errno};
}

void settle_folder(const std::string &path, const Entry &wanted)
{
    Fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd)
        throw PathError{"open", path, errno};
    set_attributes(fd.get(), path, wanted);
}

/* ---- prepare ---- */

Entry new_folder()
{
    Entry entry;
    entry.type = 'd';
    entry.mode = 0755;
    return entry;
}

/* The copy that the changes come from had every folder; the appliance may lack some of those above its places. */
void add_missing_folders(std::vector<Change> &changes)
{
    std::map<std::string, Change> by_path;
    for (const Change &change : changes) {
        std::string folder = folder_of(change.path);
        for (; change.after && folder != "/" && !is_there(folder); folder = folder_of(folder))
            by_path.try_emplace(folder, Change{folder, std::nullopt, new_folder()});
        by_path.insert_or_assign(change.path, change);
    }
    changes.clear();
    for (auto &[path, change] : by_path)
        changes.push_back(std::move(change));
}

/* A replaced thing keeps its owner and what hangs on that; a new one takes over the owner of the folder it comes into.
 * An access list goes with the mode that belongs to it. */
void settle_owner(Change &change)
{
    if (!change.after)
        return;
    if (change.before) {
        change.after->uid = change.before->uid;
        change.after->gid = change.before->gid;
        change.after->attributes = change.before->attributes;
        if (change.before->attributes.count("system.posix_acl_access") != 0)
            change.after->mode = change.before->mode;
        return;
    }
    Entry folder = entry_at(folder_that_is_there(change.path));
    bool  root = geteuid() == 0;
    change.after->uid = root ? folder.uid : geteuid();
    change.after->gid = root || (folder.mode & S_ISGID) ? folder.gid : getegid();
    change.after->attributes.clear();
}

void refuse_if_locked(const std::string &path)
{
    Fd  fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    int attributes = 0;
    if (!fd || ioctl(fd.get(), FS_IOC_GETFLAGS, &attributes) != 0)
        return; /* this disk knows no such attributes */
    if (attributes & (FS_IMMUTABLE_FL | FS_APPEND_FL))
        throw PathError{"change", path, EPERM,
                        "An attribute forbids it (lsattr shows it): take that away with "
                        "chattr -i -a, and run migr again."};
}

void require_changeable(const Manifest &manifest)
{
    std::set<std::string> folders;
    for (const Change &change : manifest.changes) {
        if (change.before)
            refuse_if_locked(change.path);
        folders.insert(folder_that_is_there(change.path));
    }
    for (const std::string &folder : folders) {
        refuse_if_locked(folder);
        if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
            throw PathError{"write into", folder, errno};
    }
}

Fd write_waiting_file(const std::string &waiting, const Change &change, const ContentOf &content)
{
    Fd from = content(change);
    Fd to(open(waiting.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!to)
        throw PathError{"write", change.path, errno};
    if (copy_and_sum(from.get(), change.path, to.get(), change.path) != change.after->sha256)
        throw PathError{"write", change.path, 0, "Its new content is not what had been checked. Run migr again."};
    set_attributes(to.get(), change.path, *change.after);
    begin_to_sync(to.get());
    return to;
}

/* Files that are written and not known to be on disk yet: one wait serves several of them. */
class UnsyncedFiles {
  public:
    void add(Fd fd, const std::string &path)
    {
        files_.emplace_back(std::move(fd), path);
        if (files_.size() == most_open)
            sync();
    }
    void sync()
    {
        for (auto &[fd, path] : files_)
            sync_to_disk(fd.get(), path);
        files_.clear();
    }

  private:
    static constexpr size_t                 most_open = 64;
    std::vector<std::pair<Fd, std::string>> files_;
};

void put_waiting(const Commit &commit, const ContentOf &content)
{
    std::set<std::string> folders;
    UnsyncedFiles         files;
    for (size_t number = 0; number < commit.waiting.size(); number++) {
        const Change      &change = commit.manifest.changes[number];
        const std::string &waiting = commit.waiting[number];
        if (waiting.empty())
            continue;
        remove_file(waiting);
        if (change.after->type == 'l')
            make_link(waiting, change.path, *change.after);
        else
            files.add(write_waiting_file(waiting, change, content), change.path);
        folders.insert(folder_of(waiting));
    }
    files.sync();
    for (const std::string &folder : folders)
        sync_folder(folder);
}

void remove_waiting(const Commit &commit)
{
    for (const std::string &waiting : commit.waiting)
        if (!waiting.empty())
            remove_file(waiting);
}

/* Somebody may have been at work there since the changes were worked out. */
void require_as_expected(const Manifest &manifest)
{
    for (const Change &change : manifest.changes) {
        std::optional<Entry> now = entry_if_there(change.path);
        bool                 as_expected = now ? change.before && is_untouched(*now, *change.before) : !change.before;
        if (!as_expected)
            throw PathError{"replace", change.path, 0,
                            "Somebody else changed it meanwhile. Nothing was done; run migr again."};
    }
}

/* The new files while the old ones are still there, and what the snapshot cannot have by a link. */
std::vector<NewFileSize> files_to_write(const Commit &commit)
{
    std::vector<NewFileSize> files = {
        {joined(snapshots_folder, commit.manifest.name), commit.account.size()},
        {joined(snapshots_folder, commit.manifest.name), manifest_text(commit.manifest).size()}};
    for (size_t number = 0; number < commit.waiting.size(); number++) {
        const Change &change = commit.manifest.changes[number];
        if (!commit.waiting[number].empty())
            files.push_back({commit.waiting[number], change.after->size});
        uint64_t kept = change.before ? bytes_to_store(change.path, *change.before) : 0;
        if (kept > 0)
            files.push_back({snapshots_folder + change.path, kept});
    }
    return files;
}

void require_space(const Root &root, const Commit &commit)
{
    std::vector<DiskSpace> disks = space_for(files_to_write(commit));
    for (DiskSpace &disk : disks)
        disk.folder = root.shows(disk.folder);
    std::string lack = why_no_space(disks);
    if (!lack.empty())
        throw Failure(Status::unusable, root.shown() + " has no room for the result: it " + lack +
                                            ". Nothing was changed. Make room there and run migr again.");
}

void prepare(const Commit &commit, const ContentOf &content)
{
    const Manifest &manifest = commit.manifest;
    begin_snapshot(manifest);
    if (!commit.account.empty())
        keep_account(manifest.name, commit.account);
    for (const Change &change : manifest.changes)
        if (change.before && change.before->type == 'f')
            store_in_snapshot(manifest.name, change.path, *change.before);
    sync_snapshot(manifest.name);
    put_waiting(commit, content);
    require_as_expected(manifest);
}

/* What cannot be removed now goes with the next command. The record goes first: it must lead to nothing that is gone.
 */
void drop(const Commit &commit)
{
    try {
        remove_record();
        remove_waiting(commit);
        drop_snapshot(commit.manifest.name);
    } catch (const PathError &) {
    }
}

/* ---- apply ---- */

void put_in_place(const Commit &commit, size_t number)
{
    if (is_there(commit.waiting[number]))
        rename_over(commit.waiting[number], commit.manifest.changes[number].path);
}

void sync_changed_folders(const Commit &commit)
{
    std::set<std::string> folders;
    for (size_t number = 0; number < commit.waiting.size(); number++) {
        folders.insert(folder_that_is_there(commit.manifest.changes[number].path));
        if (!commit.waiting[number].empty())
            folders.insert(folder_of(commit.waiting[number]));
    }
    for (const std::string &folder : folders)
        sync_folder(folder);
}

bool replaces_folder(const Change &change)
{
    return change.puts_something() && change.before && change.before->type == 'd';
}

/*
 * Additions go ahead of removals, so that what moves from one place to another is always in one of the two. Where a
 * folder and a file take each other's place the removal comes first; the snapshot has what was there.
 */
void apply(const Commit &commit)
{
    const std::vector<Change> &changes = commit.manifest.changes;
    for (const Change &change : changes) {
        if (!change.makes_folder())
            continue;
        if (change.before)
            remove_known(change.path, *change.before);
        make_folder(change.path);
    }
    for (size_t number = 0; number < changes.size(); number++)
        if (changes[number].puts_something() && !replaces_folder(changes[number]))
            put_in_place(commit, number);
    for (auto at = changes.rbegin(); at != changes.rend(); ++at)
        if (at->before && (!at->after || replaces_folder(*at)))
            remove_known(at->path, *at->before);
    for (size_t number = 0; number < changes.size(); number++)
        if (replaces_folder(changes[number]))
            put_in_place(commit, number);
    for (auto at = changes.rbegin(); at != changes.rend(); ++at) /* what is inside goes first */
        if (at->after && at->after->type == 'd')
            settle_folder(at->path, *at->after);
    sync_changed_folders(commit);
}

/* A record that stays behind makes the next command look, and find everything done. What was refused meanwhile has
 * changed nothing of that. */
void finish(const Commit &commit)
{
    publish_snapshot(commit.manifest.name);
    try {
        remove_record();
    } catch (const PathError &) {
    }
    forget_refused_memory();
}

/* ---- the way back ---- */

void put_back(const Commit &commit, const std::string &path, const Entry &was)
{
    std::optional<Entry> now = entry_if_there(path);
    if (now && is_untouched(*now, was))
        return;
    if (was.type == 'd')
        return make_folder(path);
    std::string beside = joined(folder_of(path), undo_name);
    remove_file(beside);
    if (was.type == 'l')
        make_link(beside, path, was);
    else
        take_from_snapshot(commit.manifest.name, path, beside, was);
    rename_over(beside, path);
}

/* Takes every change back. One that had not been made yet is passed over. */
void undo(const Commit &commit)
{
    const std::vector<Change> &changes = commit.manifest.changes;
    remove_waiting(commit);
    for (auto at = changes.rbegin(); at != changes.rend(); ++at)
        if (at->after && (!at->before || at->before->type != at->after->type))
            remove_known(at->path, *at->after);
    for (const Change &change : changes)
        if (change.before)
            put_back(commit, change.path, *change.before);
    for (auto at = changes.rbegin(); at != changes.rend(); ++at)
        if (at->before && at->before->type == 'd')
            settle_folder(at->path, *at->before);
    sync_changed_folders(commit);
    hide_snapshot(commit.manifest.name);
    drop(commit);
}

[[noreturn]] void turn_back(const Commit &commit, const std::string &why)
{
    try {
        write_record({commit.manifest.name, Direction::back});
        undo(commit);
    } catch (const PathError &error) {
        throw Failure(Status::failed,
                      why + " Taking it back failed too (" + failure_of(error, error.path).what() +
                          "), so some files are new and some are old, each of them whole. The next migr "
                          "that writes there goes on with it.");
    }
    throw Failure(Status::failed, why + " Everything is as it was.");
}

/* What waits must not replace something that nobody has seen. */
void require_unchanged_since(const Commit &commit)
{
    for (size_t number = 0; number < commit.waiting.size(); number++) {
        const Change        &change = commit.manifest.changes[number];
        std::optional<Entry> now = entry_if_there(change.path);
        bool                 waits = !commit.waiting[number].empty() && is_there(commit.waiting[number]);
        if (waits && now && !(change.before && is_untouched(*now, *change.before)))
            throw PathError{
                "replace", change.path, 0,
                "It was changed since an upgrade was cut off, which would be finished now. Move it elsewhere "
                "and run migr again."};
    }
}

} // namespace

void commit(const Root &root, Manifest manifest, const ContentOf &content, const std::string &account)
{
    add_missing_folders(manifest.changes);
    for (Change &change : manifest.changes)
        settle_owner(change);
    manifest.state = applied(std::move(manifest.state), manifest.changes);
    Commit under_way = commit_of(std::move(manifest));
    under_way.account = account;
    require_changeable(under_way.manifest);
    require_space(root, under_way);
    try {
        prepare(under_way, content);
        require_no_refused_memory();
        write_record({under_way.manifest.name, Direction::forward});
    } catch (const PathError &error) {
        drop(under_way);
        if (error.error == 0)
            throw;
        throw Failure(Status::failed,
                      failure_of(error, root.shows(error.path)).what() + std::string(" Everything is as it was."));
    } catch (...) {
        drop(under_way);
        throw;
    }
    try {
        apply(under_way);
        finish(under_way);
    } catch (const PathError &error) {
        turn_back(under_way, failure_of(error, root.shows(error.path)).what());
    } catch (const std::exception &error) {
        turn_back(under_way, root.shown() + ": " + text_of(error) + ".");
    }
}

Leftover recover()
{
    sweep_staging();
    std::optional<Record> record = read_record();
    if (!record) {
        auto clean_up = [](Manifest manifest) { remove_waiting(commit_of(std::move(manifest))); };
        return drop_unfinished_snapshots(clean_up) ? Leftover::dropped : Leftover::none;
    }
    Commit under_way = commit_of(manifest_of(*record));
    if (record->direction == Direction::back) {
        undo(under_way);
        return Leftover::undone;
    }
    require_unchanged_since(under_way);
    apply(under_way);
    finish(under_way);
    return Leftover::finished;
}

bool is_commit_pending()
{
    return read_record().has_value();
}

} // namespace command
