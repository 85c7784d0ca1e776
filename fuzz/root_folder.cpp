/* The folder is made once in a process and goes when that ends well; a fuzzer that has found something leaves it. */
#include "fuzz/root_folder.h"

#include "system/gzip_text.h"

#include <sqlite3.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sched.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

namespace fs = std::filesystem;

namespace fuzzing {

namespace {

int         own_root = -1, machine_root = -1, own_folder = -1;
bool        is_inside;
std::string path_of_root;
pid_t       maker;

struct ImageFile {
    const char *name;
    const char *path;
    std::string content;
};

ImageFile image_files[] = {
    {"update_config", "/data/etc/update_config", ""},
    {"system.conf.predefine", "/data/etc/system.conf.predefine", ""},
    {"signature.db", "/data/etc/signature.db", ""},
    {"syntax_v510.txt", "/etc/syntax_v510.txt", ""},
};

[[noreturn]] void fail(const char *what)
{
    perror(what);
    abort();
}

void remove_root()
{
    std::error_code ignored;
    if (getpid() == maker)
        fs::remove_all(path_of_root, ignored);
}

void leave()
{
    if (is_inside && (fchdir(machine_root) != 0 || chroot(".") != 0 || fchdir(own_folder) != 0))
        _exit(72);
    is_inside = false;
}

void enter()
{
    if (fchdir(own_root) != 0 || chroot(".") != 0)
        fail("chroot");
    is_inside = true;
}

/* ---- the way out for whoever writes down a finding ---- */

struct sigaction handlers[NSIG];

void leave_and_handle(int number, siginfo_t *info, void *context)
{
    bool was_inside = is_inside;
    leave();
    const struct sigaction &next = handlers[number];
    if (next.sa_flags & SA_SIGINFO)
        next.sa_sigaction(number, info, context);
    else if (next.sa_handler != SIG_DFL && next.sa_handler != SIG_IGN)
        next.sa_handler(number);
    if (was_inside)
        enter(); /* it was but an alarm that looks at the time */
}

void guard(int number)
{
    sigaction(number, nullptr, &handlers[number]);
    bool is_handled = (handlers[number].sa_flags & SA_SIGINFO) || handlers[number].sa_handler != SIG_DFL;
    if (!is_handled || handlers[number].sa_handler == SIG_IGN)
        return;
    struct sigaction guarded = handlers[number];
    guarded.sa_flags |= SA_SIGINFO;
    guarded.sa_sigaction = leave_and_handle;
    sigaction(number, &guarded, nullptr);
}

/* ---- making it ---- */

void become_able_to_change_root()
{
    if (geteuid() == 0)
        return;
    std::string uid = std::to_string(geteuid()), gid = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER) != 0)
        fail("a user namespace");
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
}

void make_root()
{
    path_of_root = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm/migr-fuzz-XXXXXX" : "/tmp/migr-fuzz-XXXXXX";
    if (!mkdtemp(path_of_root.data()))
        fail("a root folder");
    maker = getpid();
    atexit(remove_root);
    for (ImageFile &file : image_files)
        if ((file.content = content_of(std::string(MIGR_IMAGE_FOLDER) + "/" + file.name)).empty())
            fail(file.name);
    machine_root = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    own_folder = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    own_root = open(path_of_root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    become_able_to_change_root();
    for (int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGALRM, SIGINT, SIGTERM, SIGUSR1, SIGXFSZ})
        guard(number);
}

/* ---- filling it ---- */

void make_folders_of(const std::string &path)
{
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
}

/* Below one of the folders that are emptied for the next input. */
bool may_be_laid_out(const std::string &path)
{
    bool is_place = false;
    for (const char *top : {"/data/", "/etc/", "/var/", "/tmp/"})
        is_place = is_place || path.starts_with(top);
    return is_place && path.size() < 512;
}

void lay_out_entry(const DiskEntry &entry)
{
    if (!may_be_laid_out(entry.path))
        return;
    std::error_code ignored;
    make_folders_of(entry.path);
    fs::remove_all(entry.path, ignored);
    if (entry.kind == DiskEntry::Kind::folder)
        fs::create_directory(entry.path, ignored);
    else if (entry.kind == DiskEntry::Kind::link)
        fs::create_symlink(entry.content, entry.path, ignored);
    else if (entry.path.ends_with(".gz"))
        write_file(entry.path, command::gzip(entry.content, command::Packing::none));
    else
        write_file(entry.path, entry.content);
}

/* What a hostile statement may take of time and memory. */
void bound(sqlite3 *database)
{
    static constexpr int steps = 20000;
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, 1 << 20);
    sqlite3_progress_handler(
        database, steps, [](void *) { return 1; }, nullptr);
    auto allow = [](void *, int action, const char *, const char *, const char *, const char *) {
        return action == SQLITE_ATTACH || action == SQLITE_PRAGMA ? SQLITE_DENY : SQLITE_OK;
    };
    sqlite3_set_authorizer(database, allow, nullptr);
}

void lay_out_database(const std::string &sql)
{
    static constexpr char path[] = "/data/etc/signature.db";
    unlink(path);
    sqlite3 *database = nullptr;
    if (sqlite3_open(path, &database) == SQLITE_OK) {
        sqlite3_exec(database, "pragma journal_mode=off; pragma synchronous=off", nullptr, nullptr, nullptr);
        bound(database);
        sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
    }
    sqlite3_close(database);
}

} // namespace

Inside::Inside()
{
    if (own_root < 0)
        make_root();
    enter();
}

Inside::~Inside()
{
    leave();
}

const std::string &root_path()
{
    return path_of_root;
}

void empty_root()
{
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator("/"))
        fs::remove_all(entry.path(), ignored);
}

void lay_out(const Document &document)
{
    std::error_code ignored;
    empty_root();
    for (const char *folder : {"/tmp", "/data/config", "/data/etc", "/etc", "/var/log"})
        fs::create_directories(folder, ignored);
    for (const ImageFile &file : image_files)
        write_file(file.path, file.content);
    if (!document.database.empty())
        lay_out_database(document.database);
    for (const DiskEntry &entry : document.disk)
        lay_out_entry(entry);
}

std::map<std::string, std::string> listing()
{
    std::map<std::string, std::string> found;
    for (const char *top : {"/data", "/etc", "/var"}) {
        std::error_code ignored;
        if (!fs::is_directory(fs::symlink_status(top, ignored)))
            continue;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(top))
            if (entry.is_symlink())
                found[entry.path()] = "link to " + fs::read_symlink(entry.path()).string();
            else
                found[entry.path()] = entry.is_regular_file() ? content_of(entry.path()) : "folder";
    }
    return found;
}

std::string content_of(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void write_file(const std::string &path, std::string_view content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

} // namespace fuzzing

/* Ahead of the report of a sanitizer, which looks for the program and its symbols. */
extern "C" void __asan_on_error()
{
    fuzzing::leave();
}
