/* A made-up appliance with a file of each sort, and what stands in its place afterwards. */
#include "anonymize/anonymize.h"

#include "anonymize/configuration.h"
#include "support/appliance_root.h"
#include "system/failure.h"
#include "system/file_descriptor.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>

using namespace command;

namespace {

using Strings = std::vector<std::string>;

constexpr char name[] = "tallowfinch"; /* means nothing to anybody */
constexpr char block[] = "config lab desk\n    edit \"tallowfinch\"\n        set password quillwort\n    next\nend\n";

class Anonymize : public testing::Test {
  protected:
    Anonymize()
    {
        box.write_gzip("/data/config/sys_global.conf.gz", support::headers("5.50") + block);
    }
    AnonymizeKey key() const
    {
        return {known, "a secret of a test, long enough"};
    }
    Anonymized run()
    {
        Fd         folder(open(out.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        Interrupts interrupts;
        return anonymize_appliance(Root(box.path().string()), folder.get(), key(), interrupts);
    }
    /* The other self of that word. */
    std::string other(const std::string &word) const
    {
        Permutation  permutation(key().secret);
        Substitution texts(known, permutation);
        return texts.of(word, TextUse::setting);
    }
    /* Where that lies afterwards. */
    std::string path(const std::string &old) const
    {
        std::istringstream parts(old);
        std::string        all, slash;
        for (std::string part; std::getline(parts, part, '/'); slash = "/") {
            Permutation  permutation(key().secret);
            Substitution texts(known, permutation);
            all += slash + other_file_name(part, texts);
        }
        return all;
    }

    KnownWords             known;
    support::ApplianceRoot box;
    support::ApplianceRoot out;
};

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != text.npos;
}

} // namespace

TEST_F(Anonymize, CarriesConfigurationsPackedAsTheyWere)
{
    box.write("/data/config/sys_domain.plain.conf", support::headers("5.50") + block);
    box.write("/var/log/sys_global.conf", support::headers("5.50") + block);
    Anonymized  done = run();
    std::string text = out.read_gzip("/data/config/sys_global.conf.gz");
    EXPECT_TRUE(text.starts_with("#config-version=QA-A1X-5.50-")) << text;
    EXPECT_TRUE(holds(text, "config lab desk\n    edit \"" + other(name) + "\"\n        set password ")) << text;
    EXPECT_FALSE(holds(text, "quillwort")) << text;
    EXPECT_TRUE(holds(out.read("/data/config/sys_domain.plain.conf"), "    edit \"" + other(name) + "\"\n"));
    EXPECT_TRUE(holds(out.read("/var/log/sys_global.conf"), "    edit \"" + other(name) + "\"\n"));
    EXPECT_EQ(done.counts.secrets, 3u);
    EXPECT_EQ(done.emptied, Strings());
    EXPECT_EQ(done.left_out, Strings());
}

TEST_F(Anonymize, NamesDomainsAndTheirFoldersAlike)
{
    box.write_gzip("/data/config/sys_domain.tallowfinch.conf.gz", support::headers("5.50") + block);
    box.write("/data/etc/cert/local/tallowfinch/text", "of tallowfinch\n");
    Anonymized done = run();
    ASSERT_EQ(done.configurations.size(), 2u);
    EXPECT_EQ(done.configurations[0].old_name, "sys_domain.tallowfinch.conf.gz");
    EXPECT_EQ(done.configurations[1].old_name, "sys_global.conf.gz");
    EXPECT_EQ(done.configurations[1].new_name, "sys_global.conf.gz");
    std::string domain = done.configurations[0].new_name;
    std::string fresh = domain.substr(strlen("sys_domain."), domain.size() - strlen("sys_domain..conf.gz"));
    EXPECT_NE(fresh, name);
    EXPECT_TRUE(holds(out.read_gzip("/data/config/" + domain), "edit \"" + fresh + "\""));
    EXPECT_TRUE(out.exists("/data/etc/cert/local/" + fresh));
    EXPECT_TRUE(holds(out.read("/data/etc/cert/local/" + fresh + "/text"), " " + fresh + "\n"));
}

TEST_F(Anonymize, LeavesNothingOfASecret)
{
    for (const char *file :
         {"/data/etc/key.secret", "/data/etc/cert/local/a.password", "/data/etc/cert/local/password"})
        box.write(file, "enable\n"); /* that would stay in any other file */
    box.write("/data/etc/cert/local/passwords", "enable\n");
    run();
    for (const char *file :
         {"/data/etc/key.secret", "/data/etc/cert/local/a.password", "/data/etc/cert/local/password"}) {
        EXPECT_FALSE(holds(out.read(file), "enable")) << file;
        EXPECT_EQ(out.read(file).size(), 7u) << file;
    }
    EXPECT_EQ(out.read(path("/data/etc/cert/local/passwords")), "enable\n");
}

TEST_F(Anonymize, EmptiesWhatNoUpgradeReads)
{
    const Strings read = {"/data/etc/cert/a",        "/data/etc/globalcert/a", "/data/etc/xmlproxy/a",
                          "/data/etc/ws_security/a", "/data/etc/wvs/a",        "/etc/cert/mesh_connector/a"};
    const Strings unread = {"/data/etc/certs", "/data/etc/signature.db", "/var/log/sys_x.conf.bak", "/var/log/vir"};
    for (const std::string &file : read)
        box.write(file, "enable\n");
    for (const std::string &file : unread)
        box.write(file, "enable\n");
    box.write("/data/etc/nothing", "");
    box.write("/data/etc/cert/binary", std::string("a\0b", 3));
    box.write("/data/etc/cert/large", std::string((1 << 20) + 1, ' '));
    Anonymized done = run();
    for (const std::string &file : read)
        EXPECT_EQ(out.read(path(file)), "enable\n") << file;
    for (const char *file : {"/data/etc/certs", "/data/etc/signature.db", "/var/log/vir", "/data/etc/nothing",
                             "/data/etc/cert/binary", "/data/etc/cert/large"})
        EXPECT_EQ(out.read(path(file)), "") << file;
    EXPECT_FALSE(out.exists("/var/log/sys_x.conf.bak"));
    EXPECT_EQ(done.emptied, (Strings{"/data/etc/cert/binary", "/data/etc/cert/large", "/data/etc/certs",
                                     "/data/etc/signature.db", "/var/log/vir"}));
}

TEST_F(Anonymize, PutsABrokenFileInTheBrokenOnesPlace)
{
    box.write("/data/config/sys_domain.bad.conf.gz", "\x1f\x8b tallowfinch");
    box.write("/data/config/sys_domain.nul.conf.gz", std::string("config a\0\nend\n", 14));
    Anonymized done = run();
    EXPECT_EQ(done.unreadable, Strings{"/data/config/sys_domain.bad.conf.gz"});
    std::string bad;
    for (const RenamedFile &file : done.configurations)
        if (file.old_name == "sys_domain.bad.conf.gz")
            bad = file.new_name;
    EXPECT_EQ(out.read("/data/config/" + bad), "\x1f\x8b");
    EXPECT_EQ(done.emptied, Strings());
}

TEST_F(Anonymize, KeepsLinksFoldersAndWhatEveryApplianceHas)
{
    box.folder("/data/etc/cert/empty");
    box.link("/data/etc/cert/link", "../tallowfinch/enable");
    mkfifo((box.path() / "data/etc/pipe").c_str(), 0600);
    Anonymized       done = run();
    support::Listing there = out.listing();
    EXPECT_EQ(there[path("data/etc/cert/empty")].type, 'd');
    EXPECT_EQ(std::filesystem::read_symlink(out.path() / "data/etc/cert/link"), path("../tallowfinch/enable"));
    EXPECT_FALSE(out.exists("/data/etc/pipe"));
    EXPECT_EQ(done.left_out, Strings{"/data/etc/pipe"});
    struct stat st = {};
    EXPECT_EQ(stat((out.path() / path("data/etc/cert/empty")).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u);
    EXPECT_EQ(stat((out.path() / "data/config/sys_global.conf.gz").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
}

TEST_F(Anonymize, MakesTheFoldersThatARootNeeds)
{
    for (const char *folder : {"etc", "tmp", "var", "data"})
        std::filesystem::remove_all(out.path() / folder);
    run();
    for (const char *folder : {"etc", "tmp", "var/log", "data/config"})
        EXPECT_TRUE(std::filesystem::is_directory(out.path() / folder)) << folder;
}

/* What a file is, is told by the path on which an upgrade comes to it. */
TEST_F(Anonymize, ReadsFilesBehindLinksAsAnUpgradeWould)
{
    box.write_gzip("/data/disk/tallowfinch/sys_domain.far.conf.gz", support::headers("5.50") + block);
    box.write("/data/disk/other/sys_domain.far.conf.gz", "enable\n");
    box.link("/data/config/sys_domain.far.conf.gz", "../disk/tallowfinch/sys_domain.far.conf.gz");
    Anonymized done = run();
    EXPECT_EQ(done.emptied, Strings());
    Strings names;
    for (const RenamedFile &file : done.configurations)
        names.push_back(file.old_name);
    EXPECT_TRUE(std::find(names.begin(), names.end(), "sys_domain.far.conf.gz") != names.end());
    bool found = false;
    for (const auto &[where, entry] : out.listing())
        if (where.starts_with("data/disk/") && entry.type == 'f') {
            found = true;
            EXPECT_TRUE(holds(out.read_gzip("/" + where), "edit \"")) << where;
            EXPECT_FALSE(holds(where, name)) << where;
        }
    EXPECT_TRUE(found);
}

TEST_F(Anonymize, DoesNotWriteOverWhatIsThere)
{
    out.write("/data/config/sys_global.conf.gz", "mine");
    EXPECT_THROW(run(), Failure);
    EXPECT_EQ(out.read("/data/config/sys_global.conf.gz"), "mine");
}

TEST_F(Anonymize, OfOneFileIsPackedAsThatWas)
{
    Interrupts     interrupts;
    std::string    text = support::headers("5.50") + block;
    AnonymizedFile plain = anonymize_file(text, "x", key(), interrupts);
    AnonymizedFile packed = anonymize_file(support::gzip(text), "x", key(), interrupts);
    EXPECT_EQ(support::gunzip(packed.bytes), plain.bytes);
    EXPECT_TRUE(holds(plain.bytes, "edit \"" + other(name) + "\""));
    EXPECT_EQ(plain.counts.secrets, 1u);
    EXPECT_EQ(packed.counts.secrets, 1u);
    try {
        anonymize_file("\x1f\x8b", "x", key(), interrupts);
        ADD_FAILURE() << "it was taken";
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status, Status::left_alone);
        EXPECT_TRUE(std::string(failure.what()).starts_with("x: it ")) << failure.what();
        EXPECT_TRUE(std::string(failure.what()).ends_with(". Take a good copy of it.")) << failure.what();
    }
}
