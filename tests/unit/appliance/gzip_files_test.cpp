/* Packing and unpacking of stored files: contents, modes, links, and limits. What is in the files means nothing
 * here. */
#include "driver/hooks.h"
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>
#include <vector>

using support::ApplianceRoot;
using support::gzip;
using support::Listing;

static bool unpacks_soon;

int migr_unpacks_soon(void)
{
    return unpacks_soon ? 1 : 0;
}

/* appliance::text_limit as it is, and as it is seen here. */
extern "C" const size_t __real__ZN9appliance10text_limitE;
extern "C" {
size_t __wrap__ZN9appliance10text_limitE = size_t{1} << 30;
}

namespace {

constexpr char CONFIG[] = "#config-version=QA-A1X-5.50-CV-build0601-170328:\nconfig system global\nend\n";

/* Packs and unpacks /data/config/new, and says whether the folder is exactly as it was. */
struct GzipFiles : testing::Test {
    ApplianceRoot root;

    std::string at(const char *path) const
    {
        return root.path().string() + path;
    }
    int pack() const
    {
        return cvgzip(at("/data/config/plain").c_str(), at("/data/config/new").c_str());
    }
    int unpack() const
    {
        return cvgunzip(at("/data/config/packed").c_str(), at("/data/config/new").c_str());
    }
    void expect_refused(const std::string &packed) const
    {
        root.write("/data/config/packed", packed);
        root.write("/data/config/new", "as before", 0640);
        Listing before = root.listing();
        EXPECT_LT(unpack(), 0);
        EXPECT_EQ(root.listing(), before);
    }
};

/* As long as it lives, a text may be this long and no longer. */
struct LowLimit {
    static constexpr size_t low = size_t{1} << 22;

    LowLimit()
    {
        __wrap__ZN9appliance10text_limitE = low;
    }
    ~LowLimit()
    {
        __wrap__ZN9appliance10text_limitE = __real__ZN9appliance10text_limitE;
    }
};

} // namespace

TEST_F(GzipFiles, RoundTrip)
{
    for (const std::string &text : {std::string(CONFIG), std::string(), std::string("\0\xff\n", 3)}) {
        root.write("/data/config/plain", text);
        ASSERT_EQ(pack(), 0);
        EXPECT_EQ(root.read_gzip("/data/config/new"), text);
        root.write("/data/config/packed", root.read("/data/config/new"));
        ASSERT_EQ(unpack(), 0);
        EXPECT_EQ(root.read("/data/config/new"), text);
    }
}

TEST_F(GzipFiles, LongTextRoundTrip)
{
    std::string text;
    for (int line = 0; line < 200000; line++)
        text += "    set ip 10.0." + std::to_string(line % 256) + "." + std::to_string(line % 199) + "/24\n";
    root.write("/data/config/plain", text);
    ASSERT_EQ(pack(), 0);
    EXPECT_LT(root.read("/data/config/new").size(), text.size() / 4);
    root.write("/data/config/packed", root.read("/data/config/new"));
    ASSERT_EQ(unpack(), 0);
    EXPECT_EQ(root.read("/data/config/new"), text);
}

TEST_F(GzipFiles, TextThatPackedAThousandfold)
{
    std::string text(size_t{64} << 20, ' ');
    root.write("/data/config/packed", gzip(text));
    ASSERT_EQ(unpack(), 0);
    EXPECT_EQ(root.read("/data/config/new").size(), text.size());
}

TEST_F(GzipFiles, SameTextGivesSameBytes)
{
    root.write("/data/config/plain", CONFIG);
    ASSERT_EQ(pack(), 0);
    std::string first = root.read("/data/config/new");
    ASSERT_EQ(pack(), 0);
    EXPECT_EQ(root.read("/data/config/new"), first);
}

/* Time is better spent otherwise. */
TEST_F(GzipFiles, IsNotMadeSmallForAHostThatUnpacksItSoon)
{
    std::string text(100000, 'a');
    root.write("/data/config/plain", text);
    ASSERT_EQ(pack(), 0);
    EXPECT_LT(root.read("/data/config/new").size(), 1000u);
    unpacks_soon = true;
    EXPECT_EQ(pack(), 0);
    unpacks_soon = false;
    EXPECT_GT(root.read("/data/config/new").size(), text.size());
    root.write("/data/config/packed", root.read("/data/config/new"));
    ASSERT_EQ(unpack(), 0);
    EXPECT_EQ(root.read("/data/config/new"), text);
}

TEST_F(GzipFiles, ResultIsPrivate)
{
    root.write("/data/config/plain", CONFIG, 0644);
    root.write("/data/config/packed", gzip(CONFIG), 0644);
    for (auto call : {&GzipFiles::pack, &GzipFiles::unpack}) {
        root.write("/data/config/new", "as before", 0644);
        ASSERT_EQ((this->*call)(), 0);
        EXPECT_EQ(root.listing()["data/config/new"].mode, 0600u);
    }
}

TEST_F(GzipFiles, NothingElseStaysInTheFolder)
{
    root.write("/data/config/plain", CONFIG);
    Listing before = root.listing();
    ASSERT_EQ(pack(), 0);
    Listing after = root.listing();
    EXPECT_EQ(after.erase("data/config/new"), 1u);
    EXPECT_EQ(after, before);
}

TEST_F(GzipFiles, LinkAtTheTargetIsReplacedAndNotFollowed)
{
    root.write("/data/config/plain", CONFIG);
    root.write("/etc/victim", "as before");
    root.link("/data/config/new", at("/etc/victim"));
    ASSERT_EQ(pack(), 0);
    EXPECT_EQ(root.read("/etc/victim"), "as before");
    EXPECT_EQ(root.listing()["data/config/new"].type, 'f');
}

TEST_F(GzipFiles, SourceMayBeTheTarget)
{
    root.write("/data/config/new", CONFIG);
    std::string path = at("/data/config/new");
    ASSERT_EQ(cvgzip(path.c_str(), path.c_str()), 0);
    EXPECT_EQ(root.read_gzip("/data/config/new"), CONFIG);
    ASSERT_EQ(cvgunzip(path.c_str(), path.c_str()), 0);
    EXPECT_EQ(root.read("/data/config/new"), CONFIG);
}

TEST_F(GzipFiles, RelativePaths)
{
    root.write("/data/config/packed", gzip(CONFIG));
    support::ChildResult result = support::run_in_root(root.path(), [] {
        return cvgunzip("data/config/packed", "./plain") || cvgunzip("data/config/packed", "plain2");
    });
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(root.read("/plain"), CONFIG);
    EXPECT_EQ(root.read("/plain2"), CONFIG);
}

TEST_F(GzipFiles, MembersFollowOneAnother)
{
    root.write("/data/config/packed", gzip("config a\n") + gzip("") + gzip(std::string(300000, 'x')) + gzip("end\n"));
    ASSERT_EQ(unpack(), 0);
    EXPECT_EQ(root.read("/data/config/new"), "config a\n" + std::string(300000, 'x') + "end\n");
}

TEST_F(GzipFiles, EmptyFileIsNoGzip)
{
    expect_refused("");
}

TEST_F(GzipFiles, PlainTextIsNoGzip)
{
    expect_refused(CONFIG);
}

TEST_F(GzipFiles, TruncatedAnywhere)
{
    std::string packed = gzip(CONFIG);
    for (size_t length = 1; length < packed.size(); length++)
        expect_refused(packed.substr(0, length));
}

TEST_F(GzipFiles, TruncatedInTheSecondMember)
{
    std::string second = gzip("end\n");
    expect_refused(gzip(CONFIG) + second.substr(0, second.size() - 1));
}

TEST_F(GzipFiles, DamagedText)
{
    std::string packed = gzip(CONFIG);
    packed[packed.size() / 2] = static_cast<char>(packed[packed.size() / 2] ^ 0x55);
    expect_refused(packed);
}

TEST_F(GzipFiles, WrongChecksum)
{
    std::string packed = gzip(CONFIG);
    size_t      checksum = packed.size() - 8;
    packed[checksum] = static_cast<char>(packed[checksum] ^ 1);
    expect_refused(packed);
}

TEST_F(GzipFiles, WrongLength)
{
    std::string packed = gzip(CONFIG);
    size_t      length = packed.size() - 4;
    packed[length] = static_cast<char>(packed[length] ^ 1);
    expect_refused(packed);
}

TEST_F(GzipFiles, TrailingGarbage)
{
    expect_refused(gzip(CONFIG) + "x");
    expect_refused(gzip(CONFIG) + std::string(512, '\0'));
    expect_refused(gzip(CONFIG) + std::string("\x1f\x8b", 2));
}

TEST_F(GzipFiles, TheLimitIsAGigabyte)
{
    EXPECT_EQ(__real__ZN9appliance10text_limitE, size_t{1} << 30);
}

TEST_F(GzipFiles, TextOverTheLimit)
{
    LowLimit    limit;
    std::string members;
    std::string member = gzip(std::string(limit.low / 16, '\0'));
    for (int number = 0; number < 16; number++)
        members += member;
    root.write("/data/config/packed", members);
    EXPECT_EQ(unpack(), 0);
    EXPECT_EQ(root.read("/data/config/new").size(), limit.low);
    expect_refused(members + gzip("x"));
    expect_refused(gzip(std::string(limit.low + 1, '\0')));
}

TEST_F(GzipFiles, SourceOverTheLimit)
{
    LowLimit limit;
    root.write("/data/config/plain", std::string(limit.low + 1, 'x'));
    EXPECT_LT(pack(), 0);
    EXPECT_FALSE(root.exists("/data/config/new"));
    root.write("/data/config/plain", std::string(limit.low, 'x'));
    EXPECT_EQ(pack(), 0);
}

TEST_F(GzipFiles, SourceThatIsNoFile)
{
    root.write("/data/config/new", "as before");
    ASSERT_EQ(mkfifo(at("/tmp/pipe").c_str(), 0600), 0);
    root.link("/tmp/dangling", "nowhere");
    Listing     before = root.listing();
    std::string target = at("/data/config/new");
    for (const char *source : {"/tmp/absent", "/tmp", "/tmp/pipe", "/tmp/dangling"}) {
        EXPECT_LT(cvgzip(at(source).c_str(), target.c_str()), 0) << source;
        EXPECT_LT(cvgunzip(at(source).c_str(), target.c_str()), 0) << source;
    }
    EXPECT_EQ(root.listing(), before);
}

TEST_F(GzipFiles, TargetThatCannotBe)
{
    root.write("/data/config/plain", CONFIG);
    root.folder("/data/config/folder");
    Listing     before = root.listing();
    std::string source = at("/data/config/plain");
    for (const char *target : {"/absent/new", "/data/config/folder", "/data/config/plain/new"})
        EXPECT_LT(cvgzip(source.c_str(), at(target).c_str()), 0) << target;
    EXPECT_EQ(root.listing(), before);
}

TEST_F(GzipFiles, NamesThatAreTakenArePassedOver)
{
    root.write("/data/config/plain", CONFIG);
    std::string taken = "/data/config/.new-" + std::to_string(getpid()) + "-0";
    root.write(taken, "left behind");
    ASSERT_EQ(pack(), 0);
    EXPECT_EQ(root.read(taken), "left behind");
    EXPECT_EQ(root.read_gzip("/data/config/new"), CONFIG);
}

TEST_F(GzipFiles, NoPath)
{
    root.write("/data/config/plain", CONFIG);
    std::string plain = at("/data/config/plain");
    std::string target = at("/data/config/new");
    for (auto call : {cvgzip, cvgunzip}) {
        for (const char *none : {static_cast<const char *>(nullptr), ""}) {
            EXPECT_LT(call(none, target.c_str()), 0);
            EXPECT_LT(call(plain.c_str(), none), 0);
        }
    }
    EXPECT_FALSE(root.exists("/data/config/new"));
}

/* Every write fails from some byte on: the target stays, and no part of a file does. */
TEST_F(GzipFiles, FullDisk)
{
    std::string text;
    for (unsigned number = 0; number < 40000; number++)
        text += std::to_string(number * 2654435761u);
    root.write("/data/config/plain", text);
    root.write("/data/config/packed", gzip(text));
    root.write("/data/config/new", "as before");
    Listing before = root.listing();
    for (auto call : {&GzipFiles::pack, &GzipFiles::unpack}) {
        support::ChildResult result = support::run_in_root(root.path(), [this, call] {
            signal(SIGXFSZ, SIG_IGN);
            rlimit limit = {10000, 10000};
            setrlimit(RLIMIT_FSIZE, &limit);
            std::filesystem::current_path("/data/config");
            int code = call == &GzipFiles::pack ? cvgzip("plain", "new") : cvgunzip("packed", "new");
            return code < 0 ? 0 : 1;
        });
        EXPECT_EQ(result.exit_code, 0);
    }
    EXPECT_EQ(root.listing(), before);
}
