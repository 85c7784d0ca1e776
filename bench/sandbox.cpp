/* The root folder is changed once for the whole program. What a bench leaves in there goes with it. */
#include "sandbox.h"

#include "need.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace bench {

static int      real_root = -1;
static fs::path folder;

static void become_root_of_a_namespace()
{
    uid_t uid = geteuid();
    gid_t gid = getegid();
    need(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "unshare");
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
}

void enter_sandbox(const std::vector<LaidIn> &files)
{
    std::string pattern = fs::is_directory("/dev/shm") ? "/dev/shm/migr-bench-XXXXXX" : "/tmp/migr-bench-XXXXXX";
    need(mkdtemp(pattern.data()) != nullptr, pattern.c_str());
    folder = pattern;
    for (const char *made : {"tmp", "data/config", "data/etc", "etc", "var/log"})
        fs::create_directories(folder / made);
    for (const LaidIn &file : files)
        fs::copy_file(file.source, folder / file.path.substr(1));
    real_root = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (geteuid() != 0)
        become_root_of_a_namespace();
    need(chroot(folder.c_str()) == 0 && chdir("/") == 0, "chroot");
}

void leave_sandbox()
{
    need(fchdir(real_root) == 0 && chroot(".") == 0, "chroot");
    close(real_root);
    fs::remove_all(folder);
}

} // namespace bench
