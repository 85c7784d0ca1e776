/*
 * Archives of appliances: any bytes may be one. What is held: an archive that has been taken apart can be put together
 * again, with what has changed, and holds then what it held, in its order, and what is new behind that.
 */
#include "fleet/archive.h"
#include "fuzz/fuzzing.h"
#include "fuzz/root_folder.h"
#include "system/failure.h"

#include <algorithm>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace {

using namespace fuzzing;
using command::Member;

/* What a small archive may unpack to here; a larger file cannot be written, which is told as any other failure. */
constexpr rlim_t most_bytes = 1 << 20;
constexpr char   new_file[] = "data/zz-new";

class MemoryFile {
  public:
    MemoryFile() : fd_(memfd_create("archive", MFD_CLOEXEC)) {}
    ~MemoryFile()
    {
        close(fd_);
    }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    int fd() const
    {
        return fd_;
    }

  private:
    int fd_;
};

/* As long as there is such a record. */
class BoundFiles {
  public:
    BoundFiles() : handler_(signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit bounded = {most_bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &bounded);
    }
    ~BoundFiles()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }
    BoundFiles(const BoundFiles &) = delete;
    BoundFiles &operator=(const BoundFiles &) = delete;

  private:
    rlimit before_;
    void (*handler_)(int);
};

[[noreturn]] void fail(const std::string &what)
{
    tell(what.c_str());
    abort();
}

bool is_folder(const std::string &path)
{
    struct stat st = {};
    return lstat(("/" + path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

/* The first file gets another text, and a new one comes. False where no folder can take it. */
bool change(const std::vector<Member> &members)
{
    auto file = std::find_if(members.begin(), members.end(), [](const Member &member) { return !member.folder; });
    if (file != members.end())
        write_file("/" + file->path, "another text");
    struct stat st = {};
    if (!is_folder("data") || lstat((std::string("/") + new_file).c_str(), &st) == 0)
        return false;
    write_file(std::string("/") + new_file, "new");
    return true;
}

void expect_members(const std::vector<Member> &members, std::vector<Member> again, bool has_new)
{
    if (has_new && std::erase_if(again, [](const Member &member) { return member.path == new_file; }) != 1)
        fail("the new file is not there");
    auto same = [](const Member &one, const Member &other) {
        return one.path == other.path && one.folder == other.folder;
    };
    if (!std::equal(members.begin(), members.end(), again.begin(), again.end(), same))
        fail("the archive has other members than it had");
}

void take_apart_and_put_together(const MemoryFile &from)
{
    command::Root     root(root_path());
    command::Unpacked unpacked = command::unpack_archive(from.fd(), root);
    MemoryFile        to;
    bool              has_new = false;
    {
        Inside inside;
        for (const Member &member : unpacked.members)
            if (struct stat st = {}; lstat(("/" + member.path).c_str(), &st) != 0)
                fail(member.path + " is not on disk");
        has_new = change(unpacked.members);
    }
    command::pack_again(from.fd(), unpacked, root, to.fd());
    {
        Inside inside;
        empty_root();
    }
    expect_members(unpacked.members, command::unpack_archive(to.fd(), root).members, has_new);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    BoundFiles bound;
    {
        Inside inside;
        empty_root();
    }
    MemoryFile from;
    if (write(from.fd(), data, size) != static_cast<ssize_t>(size))
        return 0;
    try {
        take_apart_and_put_together(from);
    } catch (const command::Failure &) {
        /* It says why. */
    }
    return 0;
}
