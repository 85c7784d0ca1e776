/* Archives that are made here member by member: what is taken from them and what refused, and what they become again.
 */
#include "fleet/archive.h"

#include "fleet/disk_archive.h"
#include "support/appliance_root.h"
#include "system/failure.h"
#include "system/file_descriptor.h"

#include <gtest/gtest.h>

#include <archive.h>
#include <archive_entry.h>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace command;

namespace {

namespace fs = std::filesystem;

struct Form {
    int format = ARCHIVE_FORMAT_TAR_PAX_RESTRICTED;
    int filter = ARCHIVE_FILTER_NONE;
};

/* An archive in memory, to which members are added one by one. */
class Made {
  public:
    explicit Made(const Form &form = {}) : fd_(memfd_create("archive", MFD_CLOEXEC)), writer_(::archive_write_new())
    {
        ::archive_write_set_format(writer_, form.format);
        ::archive_write_add_filter(writer_, form.filter);
        ::archive_write_open_fd(writer_, fd_.get());
    }
    Made(const Made &) = delete;
    Made &operator=(const Made &) = delete;

    void add(const char *path, const std::string &text, unsigned type = AE_IFREG, unsigned mode = 0640,
             const std::function<void(archive_entry *)> &more = {})
    {
        archive_entry *entry = ::archive_entry_new();
        ::archive_entry_set_pathname(entry, path);
        ::archive_entry_set_filetype(entry, type);
        ::archive_entry_set_perm(entry, static_cast<mode_t>(mode));
        ::archive_entry_set_uid(entry, getuid());
        ::archive_entry_set_gid(entry, getgid());
        ::archive_entry_set_mtime(entry, 1000000, 0);
        ::archive_entry_set_size(entry, static_cast<la_int64_t>(text.size()));
        if (more)
            more(entry);
        EXPECT_EQ(::archive_write_header(writer_, entry), ARCHIVE_OK) << ::archive_error_string(writer_);
        ::archive_write_data(writer_, text.data(), text.size());
        ::archive_entry_free(entry);
    }
    int fd()
    {
        if (writer_)
            ::archive_write_free(writer_);
        writer_ = nullptr;
        return fd_.get();
    }
    ~Made()
    {
        fd();
    }

  private:
    Fd       fd_;
    archive *writer_;
};

/* "data/x 640 text" for each member, in its order; folders without a text. */
std::string members_of(int fd)
{
    std::string all;
    archive    *reader = ::archive_read_new();
    ::archive_read_support_format_all(reader);
    ::archive_read_support_filter_gzip(reader);
    ::archive_read_support_filter_zstd(reader);
    lseek(fd, 0, SEEK_SET);
    ::archive_read_open_fd(reader, fd, 65536);
    for (archive_entry *entry; ::archive_read_next_header(reader, &entry) == ARCHIVE_OK;) {
        char        text[1000] = {}, mode[16];
        la_ssize_t  size = ::archive_read_data(reader, text, sizeof text);
        const char *link = ::archive_entry_symlink(entry);
        snprintf(mode, sizeof mode, " %o ", ::archive_entry_perm(entry));
        all += ::archive_entry_pathname(entry) + std::string(mode) + std::string(text, static_cast<size_t>(size)) +
               (link ? std::string("> ") + link : "") + "\n";
    }
    ::archive_read_free(reader);
    return all;
}

class Archives : public testing::Test {
  protected:
    Archives()
    {
        for (const char *name : {"tmp", "data", "etc", "var"})
            fs::remove_all(box.path() / name);
    }
    Unpacked unpack(Made &made)
    {
        return unpack_archive(made.fd(), Root(box.path().string()));
    }
    /* Why it is refused. */
    std::string refused(Made &made)
    {
        try {
            unpack(made);
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::unusable);
            return failure.what();
        }
        return "it is not";
    }
    std::string refused(const char *path, unsigned type = AE_IFREG,
                        const std::function<void(archive_entry *)> &more = {})
    {
        Made made;
        made.add(path, "", type, 0600, more);
        return refused(made);
    }
    std::string packed(Made &from, const Unpacked &unpacked)
    {
        Fd to(memfd_create("again", MFD_CLOEXEC));
        pack_again(from.fd(), unpacked, Root(box.path().string()), to.get());
        return members_of(to.get());
    }

    support::ApplianceRoot box;
};

constexpr char out_of_folder[] = "leads out of the appliance's folder.";

} // namespace

TEST_F(Archives, AreTakenApart)
{
    Made made;
    made.add("./", "", AE_IFDIR, 0755);
    made.add("./data//config/./x", "text", AE_IFREG, 04751);
    made.add("var/log/", "", AE_IFDIR, 0500);
    made.add("var/log/y", "of y", AE_IFREG, 0044);
    Unpacked unpacked = unpack(made);
    EXPECT_EQ(box.read("/data/config/x"), "text");
    EXPECT_EQ(box.read("/var/log/y"), "of y");
    support::Listing there = box.listing();
    EXPECT_EQ(there["data/config/x"].mode, 0751u) << "nothing is set-id";
    EXPECT_EQ(there["var/log/y"].mode, 0644u) << "its owner can read and write it";
    EXPECT_EQ(there["var/log"].mode, 0700u) << "it has to be filled";
    EXPECT_EQ(there["data/config"].mode, 0700u);
    ASSERT_EQ(unpacked.members.size(), 3u);
    EXPECT_EQ(unpacked.members[0].path, "data/config/x");
    EXPECT_EQ(unpacked.members[1].path, "var/log");
    EXPECT_TRUE(unpacked.members[1].folder);
    EXPECT_FALSE(unpacked.members[2].folder);
    struct stat st = {};
    stat((box.path() / "var/log/y").c_str(), &st);
    EXPECT_EQ(unpacked.members[2].inode, st.st_ino);
    EXPECT_EQ(unpacked.members[2].changed, int64_t{st.st_ctim.tv_sec} * 1'000'000'000 + st.st_ctim.tv_nsec);
    EXPECT_EQ(unpacked.filter, ARCHIVE_FILTER_NONE);
}

TEST_F(Archives, LeadOutOfNoFolder)
{
    for (const char *path : {"/etc/x", "../x", "a/../../x", "a/..", ".."})
        EXPECT_EQ(refused(path), "The archive's member \"" + std::string(path) + "\" " + out_of_folder);
    EXPECT_EQ(box.listing().size(), 0u);
    EXPECT_EQ(refused("a/..b/...c"), "it is not");
}

TEST_F(Archives, HoldFilesAndFoldersAlone)
{
    const char link[] = "The archive's member \"x\" is a link. Put the file itself in its place.";
    EXPECT_EQ(refused("x", AE_IFLNK, [](archive_entry *entry) { ::archive_entry_set_symlink(entry, "/etc"); }), link);
    EXPECT_EQ(refused("x", AE_IFREG, [](archive_entry *entry) { ::archive_entry_set_hardlink(entry, "y"); }), link);
    for (unsigned type : {AE_IFIFO, AE_IFCHR, AE_IFBLK})
        EXPECT_EQ(refused("x", type),
                  "The archive's member \"x\" is a device, a pipe or a socket. Leave it out of the archive.");
    Made empty;
    EXPECT_EQ(refused(empty), "The archive is empty.");
    Made folder_alone;
    folder_alone.add("./", "", AE_IFDIR);
    EXPECT_EQ(refused(folder_alone), "The archive is empty.");
}

TEST_F(Archives, HoldAMemberOnce)
{
    using Names = std::vector<std::pair<const char *, unsigned>>;
    for (const Names &names : {Names{{"a/x", AE_IFREG}, {"a//x", AE_IFREG}}, Names{{"a", AE_IFDIR}, {"a/", AE_IFDIR}},
                               Names{{"a/b", AE_IFREG}, {"a", AE_IFREG}}}) {
        Made made;
        for (auto [path, type] : names)
            made.add(path, "", type);
        std::string said = refused(made);
        EXPECT_TRUE(said.starts_with("The archive's member \"a") && said.ends_with(" stands there twice.")) << said;
        for (const auto &entry : fs::directory_iterator(box.path()))
            fs::remove_all(entry.path());
    }
    Made under_file;
    under_file.add("a", "");
    under_file.add("a/b", "");
    EXPECT_THROW(unpack(under_file), Failure);
}

/* A header that tells of more than stands behind it. */
TEST_F(Archives, ThatSayTheyAreBombsAreRefused)
{
    constexpr size_t size_at = 124, sum_at = 148;
    char             header[512], digits[12];
    Made             made;
    made.add("x", "");
    ASSERT_EQ(pread(made.fd(), header, sizeof header, 0), static_cast<ssize_t>(sizeof header));
    snprintf(digits, sizeof digits, "%011llo", static_cast<unsigned long long>(most_unpacked) + 1);
    memcpy(header + size_at, digits, sizeof digits - 1);
    memset(header + sum_at, ' ', 8);
    unsigned sum = 0;
    for (char byte : header)
        sum += static_cast<unsigned char>(byte);
    snprintf(header + sum_at, 8, "%06o", sum);
    ASSERT_EQ(pwrite(made.fd(), header, sizeof header, 0), static_cast<ssize_t>(sizeof header));
    EXPECT_EQ(refused(made), "The archive's member \"x\" goes beyond the 4.3 GB that an archive may unpack to.");
}

TEST_F(Archives, ThatAreNoneAreRefused)
{
    Fd text(memfd_create("text", MFD_CLOEXEC));
    ASSERT_EQ(write(text.get(), "no archive, but some text of a good length", 42), 42);
    try {
        unpack_archive(text.get(), Root(box.path().string()));
        ADD_FAILURE() << "it is taken for one";
    } catch (const Failure &failure) {
        EXPECT_TRUE(std::string(failure.what()).starts_with("The archive is damaged, or none that can be read: "));
    }
    Made made;
    made.add("x", std::string(5000, 'x'));
    ASSERT_EQ(ftruncate(made.fd(), 3000), 0);
    EXPECT_TRUE(refused(made).starts_with("The archive is damaged, or none that can be read: "));
}

/* What was not touched, what was, what is gone, and what is new. */
TEST_F(Archives, ComeTogetherAgain)
{
    for (const Form &form : {Form{}, Form{ARCHIVE_FORMAT_TAR_PAX_RESTRICTED, ARCHIVE_FILTER_GZIP},
                             Form{ARCHIVE_FORMAT_TAR_PAX_RESTRICTED, ARCHIVE_FILTER_ZSTD},
                             Form{ARCHIVE_FORMAT_ZIP, ARCHIVE_FILTER_NONE}}) {
        for (const auto &entry : fs::directory_iterator(box.path()))
            fs::remove_all(entry.path());
        Made made(form);
        made.add("./data/", "", AE_IFDIR, 0755);
        made.add("./data/same", "same", AE_IFREG, 0604);
        made.add("./data/changed", "old", AE_IFREG, 0604);
        made.add("./data/gone", "gone", AE_IFREG, 0604);
        Unpacked unpacked = unpack(made);
        EXPECT_EQ(unpacked.filter, form.filter);
        box.write("/data/new", "old and longer");
        fs::rename(box.path() / "data/new", box.path() / "data/changed");
        fs::remove(box.path() / "data/gone");
        box.write("/data/config/b", "of b");
        box.write("/a", "of a", 0640);
        box.link("/data/link", "same");
        EXPECT_EQ(packed(made, unpacked), "./data/ 755 \n"
                                          "./data/same 604 same\n"
                                          "./data/changed 600 old and longer\n"
                                          "./a 640 of a\n"
                                          "./data/config/ 700 \n"
                                          "./data/config/b 600 of b\n"
                                          "./data/link 777 > same\n");
    }
}

TEST_F(Archives, AreNamedAsTheirMembersAre)
{
    Made made;
    made.add("data/x", "x");
    Unpacked unpacked = unpack(made);
    box.write("/data/y", "y");
    EXPECT_EQ(packed(made, unpacked), "data/x 640 x\ndata/y 600 y\n");
}

TEST_F(Archives, ComeOutTheSameEachTime)
{
    Made made({ARCHIVE_FORMAT_TAR_PAX_RESTRICTED, ARCHIVE_FILTER_GZIP});
    made.add("data/x", "x");
    Unpacked    unpacked = unpack(made);
    std::string once, again;
    for (std::string *bytes : {&once, &again}) {
        Fd to(memfd_create("again", MFD_CLOEXEC));
        pack_again(made.fd(), unpacked, Root(box.path().string()), to.get());
        bytes->resize(static_cast<size_t>(lseek(to.get(), 0, SEEK_END)));
        EXPECT_EQ(pread(to.get(), bytes->data(), bytes->size(), 0), static_cast<ssize_t>(bytes->size()));
        EXPECT_TRUE(bytes->starts_with(std::string("\x1f\x8b\x08\x00\x00\x00\x00\x00", 8))) << "no time in it";
    }
    EXPECT_EQ(once, again);
}
