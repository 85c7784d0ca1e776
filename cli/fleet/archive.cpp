/* The kept library reads and writes all forms; what is taken from an archive, and where it is put, is decided here. */
#include "fleet/archive.h"

#include "appliance/inside.h"
#include "fleet/disk_archive.h"
#include "output/printable.h"
#include "output/size_text.h"
#include "system/files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace command {

static auto fields_of(Member &member)
{
    return std::tie(member.path, member.folder, member.inode, member.changed);
}

static auto fields_of(Unpacked &unpacked)
{
    return std::tie(unpacked.format, unpacked.filter, unpacked.members);
}

namespace {

constexpr const char *endings[] = {".tar", ".tar.gz", ".tgz", ".tar.zst", ".tzst", ".zip"};

[[noreturn]] void refuse(const std::string &why)
{
    throw Failure(Status::unusable, why);
}

[[noreturn]] void refuse_member(std::string_view name, const std::string &why)
{
    refuse("The archive's member \"" + printable(name) + "\" " + why);
}

[[noreturn]] void damaged(archive *open)
{
    refuse("The archive is damaged, or none that can be read: " + why_failed(open) + ".");
}

/* ---- reading ---- */

/* Only forms that the library reads by itself: for others it would start programs. */
Archive open_archive(int fd)
{
    if (lseek(fd, 0, SEEK_SET) != 0)
        throw PathError{"read", "the archive", errno};
    Archive reader(archive_read_new());
    if (!reader)
        throw std::bad_alloc();
    archive_read_support_format_tar(reader.get());
    archive_read_support_format_zip(reader.get());
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_filter_zstd(reader.get());
    static constexpr size_t block = 64 * 1024;
    if (archive_read_open_fd(reader.get(), fd, block) != ARCHIVE_OK)
        damaged(reader.get());
    return reader;
}

/* The next member, or null behind the last. */
archive_entry *next_header(const Archive &reader)
{
    archive_entry *header = nullptr;
    int            found = archive_read_next_header(reader.get(), &header);
    if (found == ARCHIVE_EOF)
        return nullptr;
    if (found < ARCHIVE_WARN)
        damaged(reader.get());
    return header;
}

/* Calls `take` with each part of what the member at hand holds. */
template <typename Take> void for_each_block(const Archive &reader, Take take)
{
    std::array<char, 64 * 1024> buffer;
    for (;;) {
        la_ssize_t got = archive_read_data(reader.get(), buffer.data(), buffer.size());
        if (got < 0)
            damaged(reader.get());
        if (got == 0)
            return;
        take(std::string_view(buffer.data(), static_cast<size_t>(got)));
    }
}

/* A form that only some archives have would not be written as it was. */
void require_one_filter(const Archive &reader)
{
    if (archive_filter_count(reader.get()) > 2)
        refuse("The archive is packed more than once. Unpack it to its tar form.");
}

/* "data/config/x" of "./data//config/x", the way in which a member is put on disk. */
std::string path_of_member(archive_entry *header)
{
    const char *name = archive_entry_pathname(header);
    if (!name || !*name)
        refuse("The archive has a member whose name cannot be read.");
    std::string      path;
    std::string_view left = name;
    if (left.front() == '/')
        refuse_member(name, "leads out of the appliance's folder.");
    while (!left.empty()) {
        std::string_view part = left.substr(0, left.find('/'));
        left.remove_prefix(std::min(part.size() + 1, left.size()));
        if (part == "..")
            refuse_member(name, "leads out of the appliance's folder.");
        if (!part.empty() && part != ".")
            path += (path.empty() ? "" : "/") + std::string(part);
    }
    return path;
}

void require_plain_member(archive_entry *header)
{
    const char *name = archive_entry_pathname(header);
    if (archive_entry_hardlink(header) || archive_entry_filetype(header) == AE_IFLNK)
        refuse_member(name, "is a link. Put the file itself in its place.");
    if (archive_entry_filetype(header) != AE_IFREG && archive_entry_filetype(header) != AE_IFDIR)
        refuse_member(name, "is a device, a pipe or a socket. Leave it out of the archive.");
    if (archive_entry_is_encrypted(header))
        refuse_member(name, "is encrypted. Make an archive without a password.");
}

/* ---- to disk ---- */

/* The path of a member, inside the folder. */
std::string inside_path(const std::string &path)
{
    return "/" + path;
}

int64_t time_of_change(const struct stat &st)
{
    return int64_t{st.st_ctim.tv_sec} * 1'000'000'000 + st.st_ctim.tv_nsec;
}

class Unpacker {
  public:
    explicit Unpacker(int fd) : reader_(open_archive(fd)) {}

    Unpacked unpack()
    {
        umask(0);
        while (archive_entry *header = next_header(reader_))
            take(header);
        require_one_filter(reader_);
        unpacked_.format = archive_format(reader_.get());
        unpacked_.filter = archive_filter_code(reader_.get(), 0);
        if (unpacked_.members.empty())
            refuse("The archive is empty.");
        note_state();
        return std::move(unpacked_);
    }

  private:
    void take(archive_entry *header)
    {
        std::string path = path_of_member(header);
        require_plain_member(header);
        if (path.empty()) /* the folder itself */
            return;
        if (unpacked_.members.size() == most_members)
            refuse_member(path, "is one too many: more than " + std::to_string(most_members) + " are no appliance.");
        require_room_for(header, path);
        bool folder = archive_entry_filetype(header) == AE_IFDIR;
        if (!paths_.insert(path).second)
            refuse_member(path, "stands there twice.");
        if (folder)
            make_folder(path);
        else
            make_file(header, path);
        unpacked_.members.push_back({path, folder, 0, 0});
    }

    /* What it says of its size may be wrong, so what it has is counted too; but most bombs say it. */
    void require_room_for(archive_entry *header, const std::string &path) const
    {
        if (archive_entry_size_is_set(header) &&
            static_cast<uint64_t>(archive_entry_size(header)) > most_unpacked - bytes_)
            refuse_bomb(path);
    }

    [[noreturn]] static void refuse_bomb(const std::string &path)
    {
        refuse_member(path, "goes beyond the " + size_text(most_unpacked) + " that an archive may unpack to.");
    }

    void make_folders_above(const std::string &path)
    {
        for (size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1))
            make_folder(path.substr(0, slash));
    }

    /* It is to be filled, whatever the archive says of its mode; that stays in the archive. */
    void make_folder(const std::string &path)
    {
        if (mkdir(inside_path(path).c_str(), 0700) == 0 || errno == EEXIST)
            return;
        if (errno != ENOENT)
            throw PathError{"make", inside_path(path), errno};
        make_folders_above(path);
        if (mkdir(inside_path(path).c_str(), 0700) != 0 && errno != EEXIST)
            throw PathError{"make", inside_path(path), errno};
    }

    static Fd created(const std::string &path, mode_t mode)
    {
        return Fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    }

    void make_file(archive_entry *header, const std::string &path)
    {
        mode_t mode = (archive_entry_perm(header) & 0777) | 0600;
        Fd     fd = created(inside_path(path), mode);
        if (!fd && errno == ENOENT) {
            make_folders_above(path);
            fd = created(inside_path(path), mode);
        }
        if (!fd && errno == EEXIST) /* as a folder, for what is in it */
            refuse_member(path, "stands there twice.");
        if (!fd)
            throw PathError{"make", inside_path(path), errno};
        if (fchown(fd.get(), static_cast<uid_t>(archive_entry_uid(header)),
                   static_cast<gid_t>(archive_entry_gid(header))) != 0 &&
            errno != EPERM && errno != EINVAL) /* an ordinary user's files stay its own */
            throw PathError{"give away", inside_path(path), errno};
        fill(fd.get(), path);
    }

    void fill(int fd, const std::string &path)
    {
        for_each_block(reader_, [&](std::string_view block) {
            bytes_ += block.size();
            if (bytes_ > most_unpacked)
                refuse_bomb(path);
            write_all(fd, block, inside_path(path));
        });
    }

    /* Once nothing is written any more. */
    void note_state()
    {
        for (Member &member : unpacked_.members) {
            struct stat st = {};
            if (lstat(inside_path(member.path).c_str(), &st) != 0 || S_ISDIR(st.st_mode) != member.folder)
                refuse_member(member.path, "stands there twice.");
            member.inode = st.st_ino;
            member.changed = time_of_change(st);
        }
    }

    Archive               reader_;
    Unpacked              unpacked_;
    std::set<std::string> paths_;
    uint64_t              bytes_ = 0;
};

/* ---- from disk ---- */

class Packer {
  public:
    Packer(int from, const Unpacked &unpacked, int to)
        : unpacked_(unpacked), reader_(open_archive(from)), writer_(archive_write_new())
    {
        if (!writer_)
            throw std::bad_alloc();
        require(archive_write_add_filter(writer_.get(), unpacked.filter));
        bool is_tar = (unpacked.format & ARCHIVE_FORMAT_BASE_MASK) == ARCHIVE_FORMAT_TAR;
        require(is_tar ? archive_write_set_format_pax_restricted(writer_.get())
                       : archive_write_set_format_zip(writer_.get()));
        if (unpacked.filter == ARCHIVE_FILTER_GZIP) /* the same bytes each time */
            require(archive_write_set_filter_option(writer_.get(), "gzip", "timestamp", nullptr));
        archive_write_set_bytes_in_last_block(writer_.get(), 1);
        require(archive_write_open_fd(writer_.get(), to));
    }

    void pack()
    {
        size_t at = 0;
        while (archive_entry *header = next_header(reader_))
            if (std::string path = path_of_member(header); path.empty())
                pass_on(header);
            else
                pack(header, unpacked_.members.at(at++));
        for (const std::string &path : new_paths())
            add(path);
        require(archive_write_close(writer_.get()));
    }

  private:
    void require(int result)
    {
        if (result < ARCHIVE_WARN)
            throw Failure(Status::failed, "The upgraded archive cannot be written: " + why_failed(writer_.get()) + ".");
    }

    static bool look_at(const std::string &path, struct stat &st)
    {
        return lstat(inside_path(path).c_str(), &st) == 0;
    }

    /* A member that was not touched goes over with all that the archive knows of it. */
    void pass_on(archive_entry *header)
    {
        require(archive_write_header(writer_.get(), header));
        for_each_block(reader_, [&](std::string_view block) { write(block); });
    }

    /* More than a member's header says would be cut. */
    void write(std::string_view bytes)
    {
        la_ssize_t put = archive_write_data(writer_.get(), bytes.data(), bytes.size());
        if (put < 0)
            require(ARCHIVE_FATAL);
        if (static_cast<size_t>(put) != bytes.size())
            throw Failure(Status::failed, "The upgraded archive cannot be written: a member is longer than it was.");
    }

    void pack(archive_entry *header, const Member &member)
    {
        struct stat st = {};
        known_.insert(member.path);
        remember_owner(header, folder_of(member.path));
        if (!look_at(member.path, st))
            return;
        bool same = st.st_ino == member.inode && time_of_change(st) == member.changed;
        if (member.folder ? S_ISDIR(st.st_mode) : same)
            return pass_on(header);
        set_state(header, st);
        write_from_disk(header, member.path, st);
    }

    /* New files belong to whoever has those beside them. */
    void remember_owner(archive_entry *header, const std::string &folder)
    {
        if (!owners_.contains(folder))
            owners_.try_emplace(folder, archive_entry_clone(header));
    }

    static void set_state(archive_entry *header, const struct stat &st)
    {
        archive_entry_set_filetype(header, st.st_mode & S_IFMT);
        archive_entry_set_perm(header, st.st_mode & 07777);
        archive_entry_set_size(header, S_ISREG(st.st_mode) ? st.st_size : 0);
        archive_entry_set_mtime(header, st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
        archive_entry_sparse_clear(header);
    }

    void write_from_disk(archive_entry *header, const std::string &path, const struct stat &st)
    {
        if (S_ISLNK(st.st_mode))
            archive_entry_set_symlink(header, fs::read_symlink(inside_path(path)).c_str());
        require(archive_write_header(writer_.get(), header));
        if (!S_ISREG(st.st_mode))
            return;
        write(read_file(inside_path(path), Links::refuse));
    }

    /* What lies there and was in no archive, folders ahead of what is in them. Folders that no member named, and that
     * hold nothing else that is new, stay unnamed. */
    std::vector<std::string> new_paths() const
    {
        std::vector<std::string> paths;
        for (const auto &entry : fs::recursive_directory_iterator("/")) {
            std::string path = entry.path().string().substr(1);
            if (!known_.contains(path) && !(entry.is_directory() && holds_members(path)))
                paths.push_back(path);
        }
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    bool holds_members(const std::string &folder) const
    {
        auto at = known_.lower_bound(folder + "/");
        return at != known_.end() && at->starts_with(folder + "/");
    }

    /* A member of the nearest folder that has any. There is one, or there would be no appliance. */
    archive_entry *neighbour_of(const std::string &path) const
    {
        for (std::string folder = folder_of(path); folder != "."; folder = folder_of(folder))
            if (auto at = owners_.find(folder); at != owners_.end())
                return at->second.get();
        return owners_.begin()->second.get();
    }

    void add(const std::string &path)
    {
        struct stat st = {};
        if (!look_at(path, st))
            throw PathError{"read", inside_path(path), errno};
        archive_entry *neighbour = neighbour_of(path);
        Header         header(archive_entry_clone(neighbour));
        bool           is_dotted = std::string_view(archive_entry_pathname(neighbour)).starts_with("./");
        archive_entry_set_pathname(header.get(), ((is_dotted ? "./" : "") + path).c_str());
        set_state(header.get(), st);
        write_from_disk(header.get(), path, st);
    }

    const Unpacked               &unpacked_;
    Archive                       reader_, writer_;
    std::set<std::string>         known_;
    std::map<std::string, Header> owners_; /* a member of each folder */
};

} // namespace

std::string archive_ending(const std::string &name)
{
    std::string found;
    for (const char *ending : endings)
        if (name.ends_with(ending) && name.size() > strlen(ending) && found.size() < strlen(ending))
            found = ending;
    return found;
}

bool is_archive_name(const std::string &name)
{
    return !archive_ending(name).empty();
}

Unpacked unpack_archive(int fd, const Root &into)
{
    load_archive_library();
    return inside(into, [&] { return Unpacker(fd).unpack(); });
}

void pack_again(int from, const Unpacked &unpacked, const Root &folder, int to)
{
    load_archive_library();
    inside(folder, [&] { Packer(from, unpacked, to).pack(); });
}

} // namespace command
