/* A root folder that goes with its owner, and children that see it as their whole world. What lies in it, beyond the
 * few folders that every appliance has, is for its users to say. */
#include "support/appliance_root.h"

#include "support/child_output.h"
#include "support/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <link.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <span>
#include <stdexcept>

namespace fs = std::filesystem;

/* The sanitizer's own, if it is there. */
extern "C" [[gnu::weak]] int __lsan_do_recoverable_leak_check();

namespace support {

/* In memory where the machine has such a place: an upgrade waits for the disk with every file that it stores. */
static fs::path temporary_folder()
{
    static constexpr char in_memory[] = "/dev/shm";
    if (!getenv("TMPDIR") && access(in_memory, W_OK | X_OK) == 0)
        return in_memory;
    return fs::temp_directory_path();
}

ApplianceRoot::ApplianceRoot()
{
    std::string pattern = (temporary_folder() / "migr-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no temporary folder");
    path_ = pattern;
    for (const char *made : {"/tmp", "/data/config", "/data/etc", "/etc", "/var/log"})
        folder(made);
}

ApplianceRoot::~ApplianceRoot()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

fs::path ApplianceRoot::on_disk(const std::string &path) const
{
    fs::path found = path_ / fs::path(path).relative_path();
    return found.has_filename() ? found : found.parent_path(); /* "/folder/" is "/folder" */
}

/* Folders with the mode 0700, whatever the umask of whoever runs the tests. */
static void make_folders(const fs::path &folder)
{
    if (fs::is_directory(folder))
        return;
    make_folders(folder.parent_path());
    if (mkdir(folder.c_str(), 0700) != 0 || chmod(folder.c_str(), 0700) != 0)
        throw std::runtime_error("cannot make " + folder.string());
}

void ApplianceRoot::write(const std::string &path, const std::string &content, unsigned mode) const
{
    fs::path target = on_disk(path);
    make_folders(target.parent_path());
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out || chmod(target.c_str(), mode) != 0)
        throw std::runtime_error("cannot write " + target.string());
}

void ApplianceRoot::write_gzip(const std::string &path, const std::string &content, unsigned mode) const
{
    write(path, gzip(content), mode);
}

void ApplianceRoot::folder(const std::string &path, unsigned mode) const
{
    make_folders(on_disk(path));
    chmod(on_disk(path).c_str(), mode);
}

void ApplianceRoot::link(const std::string &path, const std::string &target) const
{
    make_folders(on_disk(path).parent_path());
    fs::create_symlink(target, on_disk(path));
}

bool ApplianceRoot::exists(const std::string &path) const
{
    return fs::exists(fs::symlink_status(on_disk(path)));
}

std::string ApplianceRoot::read(const std::string &path) const
{
    return file_text(on_disk(path));
}

std::string ApplianceRoot::read_gzip(const std::string &path) const
{
    return gunzip(read(path));
}

void ApplianceRoot::database(const std::string &sql) const
{
    fs::path target = on_disk("/data/etc/signature.db");
    fs::create_directories(target.parent_path());
    fs::remove(target);
    sqlite3 *db = nullptr;
    char    *error = nullptr;
    bool     good = sqlite3_open(target.c_str(), &db) == SQLITE_OK &&
                sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) == SQLITE_OK;
    std::string why = error ? error : "cannot open";
    sqlite3_free(error);
    sqlite3_close(db);
    if (!good)
        throw std::runtime_error("signature.db: " + why);
}

std::ostream &operator<<(std::ostream &out, const Entry &entry)
{
    bool gzip_file = entry.content.compare(0, 2, "\x1f\x8b") == 0;
    return out << entry.type << " " << std::oct << entry.mode << std::dec << " "
               << (gzip_file ? gunzip(entry.content) : entry.content);
}

static Entry entry_of(const fs::path &path)
{
    struct stat st = {};
    if (lstat(path.c_str(), &st) != 0)
        throw std::runtime_error("cannot look at " + path.string());
    if (S_ISLNK(st.st_mode))
        return {'l', 0, fs::read_symlink(path).string()};
    unsigned mode = st.st_mode & 07777;
    if (S_ISDIR(st.st_mode))
        return {'d', mode, ""};
    if (!S_ISREG(st.st_mode))
        return {'o', mode, ""};
    return {'f', mode, file_text(path)};
}

Listing ApplianceRoot::listing() const
{
    Listing listing;
    for (const fs::directory_entry &found : fs::recursive_directory_iterator(path_))
        listing[found.path().lexically_relative(path_).string()] = entry_of(found.path());
    return listing;
}

bool may_chroot()
{
    if (geteuid() == 0)
        return true;
    uid_t uid = geteuid();
    gid_t gid = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
    return true;
}

[[noreturn]] static void run_child(const fs::path &root, const std::function<int()> &work, int out, int err,
                                   unsigned seconds)
{
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    alarm(seconds);
    umask(077);
    int real_root = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (!may_chroot() || chroot(root.c_str()) != 0 || chdir("/") != 0) {
        perror("chroot");
        _exit(71);
    }
    int code = work();
    if (testing::Test::HasFailure())
        code = 70;
    fflush(nullptr);
    alarm(0);
    if (fchdir(real_root) != 0 || chroot(".") != 0)
        _exit(72);
    exit(code);
}

/* Of a library's pages that begin as zeros none is a child's until one of them has been written. */
static int write_a_byte(dl_phdr_info *module, size_t, void *)
{
    constexpr size_t page = 4096;
    for (const ElfW(Phdr) & part : std::span(module->dlpi_phdr, module->dlpi_phnum)) {
        if (part.p_type != PT_LOAD || (part.p_flags & PF_W) == 0 || part.p_memsz < part.p_filesz + 2 * page)
            continue;
        auto *last = reinterpret_cast<volatile char *>(module->dlpi_addr + part.p_vaddr + part.p_memsz - 1);
        *last = *last;
    }
    return 0;
}

/* A child looks for leaks at its end, also in thousands of pages that nobody has touched yet, most of them the
 * sanitizer's. Once this process has looked there, each child begins with all of them. */
static bool look_ahead_of_children()
{
    if (!__lsan_do_recoverable_leak_check)
        return false;
    dl_iterate_phdr(write_a_byte, nullptr);
    __lsan_do_recoverable_leak_check();
    return true;
}

ChildResult run_in_root(const fs::path &root, const std::function<int()> &work, unsigned seconds)
{
    int out = memfd_create("out", MFD_CLOEXEC);
    int err = memfd_create("err", MFD_CLOEXEC);
    fflush(nullptr);
    [[maybe_unused]] static const bool once = look_ahead_of_children();
    pid_t                              child = fork();
    if (child < 0)
        throw std::runtime_error("fork failed");
    if (child == 0)
        run_child(root, work, out, err, seconds);
    int status = 0;
    waitpid(child, &status, 0);
    ChildResult result = {};
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.out = drain(out);
    result.err = drain(err);
    return result;
}

std::string expect_in_root(const ApplianceRoot &root, const std::function<void()> &work)
{
    ChildResult child = run_in_root(root.path(), [&work] {
        work();
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << "signal " << child.signal << "\n" << child.out << child.err;
    EXPECT_EQ(child.out, "");
    return child.err;
}

std::string gzip(const std::string &text)
{
    std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor *)> tool(libdeflate_alloc_compressor(6),
                                                                                   libdeflate_free_compressor);
    std::string bytes(libdeflate_gzip_compress_bound(tool.get(), text.size()), '\0');
    bytes.resize(libdeflate_gzip_compress(tool.get(), text.data(), text.size(), bytes.data(), bytes.size()));
    return bytes;
}

std::string gunzip(const std::string &bytes)
{
    std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor *)> tool(libdeflate_alloc_decompressor(),
                                                                                       libdeflate_free_decompressor);
    for (size_t room = bytes.size() * 4 + 4096; room <= (size_t{1} << 31); room *= 2) {
        std::string text(room, '\0');
        size_t      used = 0;
        auto result = libdeflate_gzip_decompress(tool.get(), bytes.data(), bytes.size(), text.data(), room, &used);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE)
            continue;
        if (result != LIBDEFLATE_SUCCESS)
            throw std::runtime_error("no whole gzip text");
        text.resize(used);
        return text;
    }
    throw std::runtime_error("text too long");
}

} // namespace support
