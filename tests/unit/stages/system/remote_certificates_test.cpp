/* What no case can show of the table of remote certificates: its order, its limit, and memory that is not to be had. */
#include "stages/system/remote_certificates.h"

#include "support/failing_memory.h"
#include "support/files.h"
#include "unit/stages/passes.h"
#include "walk/cursors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using support::ApplianceRoot;

namespace {

class OcspRefs : public testing::Test {
  protected:
    ocsp_ref refs[33] = {}; /* one more than are ever filled */
    int32_t  count = 0;

    void insert(const std::string &name, const std::string &certificate, uint32_t kind = OCSP_POLICY)
    {
        ocsp_ref_insert(refs, &count, kind, name.c_str(), certificate.c_str());
    }

    void TearDown() override
    {
        for (ocsp_ref &ref : refs) {
            free(ref.name);
            free(ref.local_cert);
        }
    }
};

constexpr char    template_path[] = "/data/etc/cert/cert.conf";
const std::string marker = "[req_distinguished_name]\n";
const std::string extensions = "# The extensions to add to a certificate request\nreq_extensions = v3_req\n\n";
const std::string section = "\n[v3_req]\nbasicConstraints = CA:FALSE\nsubjectAltName = San (eg, multiple domain name)";

void write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

} // namespace

TEST_F(OcspRefs, KeepCopiesInOrder)
{
    std::string name = "group";
    std::string certificate = "cert";
    insert(name, certificate, OCSP_SNI_MEMBER);
    name[0] = certificate[0] = '!';
    insert("other", "cert", OCSP_POOL_MEMBER);
    ASSERT_EQ(2, count);
    EXPECT_STREQ("group", refs[0].name);
    EXPECT_STREQ("cert", refs[0].local_cert);
    EXPECT_EQ(static_cast<uint32_t>(OCSP_SNI_MEMBER), refs[0].kind);
    EXPECT_EQ(0u, refs[0].used);
    EXPECT_EQ(nullptr, refs[0].certificate);
    EXPECT_EQ(nullptr, refs[0].ocsp_url);
    EXPECT_EQ(nullptr, refs[0].comment);
    EXPECT_STREQ("other", refs[1].name);
    EXPECT_EQ(static_cast<uint32_t>(OCSP_POOL_MEMBER), refs[1].kind);
}

TEST_F(OcspRefs, SameNameAndCertificateIsOneRecordWhoeverRefers)
{
    insert("g", "c", OCSP_POLICY);
    insert("g", "c", OCSP_POLICY);
    insert("g", "c", OCSP_SNI_MEMBER);
    EXPECT_EQ(1, count);
    insert("g", "C");
    insert("G", "c");
    insert("g ", "c");
    EXPECT_EQ(4, count);
}

TEST_F(OcspRefs, FindGivesTheFirstOfTheName)
{
    EXPECT_EQ(nullptr, ocsp_ref_find(refs, count, "g"));
    insert("a", "1");
    insert("g", "1");
    insert("g", "2");
    EXPECT_EQ(&refs[1], ocsp_ref_find(refs, count, "g"));
    EXPECT_EQ(nullptr, ocsp_ref_find(refs, 1, "g"));
    for (const char *other : {"", "G", "gg", "b"})
        EXPECT_EQ(nullptr, ocsp_ref_find(refs, count, other));
}

TEST_F(OcspRefs, ThirtyThirdIsDropped)
{
    for (int i = 0; i < 33; i++)
        insert("g", std::to_string(i));
    EXPECT_EQ(32, count);
    EXPECT_STREQ("31", refs[31].local_cert);
    EXPECT_EQ(nullptr, refs[32].name);
    insert("g", "5");
    EXPECT_EQ(32, count);
}

TEST_F(OcspRefs, WithoutMemoryNothingIsAdded)
{
    for (size_t failing : {1, 2}) {
        support::fail_allocation(failing);
        insert("g", "c");
        support::fail_allocation(0);
        EXPECT_EQ(0, count);
        EXPECT_EQ(nullptr, refs[0].name);
        EXPECT_EQ(nullptr, refs[0].local_cert);
    }
    insert("g", "c");
    EXPECT_EQ(1, count);
}

/* Whichever allocation fails, the walk ends, properties of old releases are gone and no block is lost. */
TEST(ReorgCertRemote, EachAllocationMayFail)
{
    const std::string before =
        "config server-policy policy\nedit a\nset ocspstapling-group g\nset certificate c1\nnext\n"
        "edit b\nset ocspstapling-group g\nset certificate c2\nnext\nend\n"
        "config system certificate remote\nedit g\nset ocsp_url u\nset comment x\n"
        "set certificate r\nnext\nend\n";
    size_t failing = 1; /* the first one is the state's block */
    size_t made = 0;
    size_t whole_results = 0;
    do {
        failing++;
        std::string after = after_pass(before, [&] {
            support::fail_allocation(failing);
            run_row("_reorg_cert_remote");
            made = support::allocations();
            support::fail_allocation(0);
        });
        EXPECT_EQ(std::string::npos, after.find("ocspstapling-group"));
        EXPECT_NE(std::string::npos, after.find("config system certificate ocsp-stapling"));
        whole_results +=
            after.find("edit \"g-1\" \n        set local-cert c2\n        set certificate r\n        set ocsp_url u\n"
                       "        set comment x\n") != std::string::npos &&
            after.find("set local-cert c1") != std::string::npos;
    } while (made >= failing);
    EXPECT_GE(failing, 15u);
    EXPECT_EQ(1u, whole_results);
}

TEST(ReorgCertRemote, SetsWithoutValues)
{
    after_pass("config server-policy policy\nedit a\nset ocspstapling-group x\nset certificate x\nset ocspstapling x\n"
               "next\nedit b\nset ocspstapling-group g\nset certificate c\nnext\nend\n"
               "config system certificate remote\nedit g\nset certificate x\nnext\nend\n",
               [] {
                   config_node *policy = migr_main.root.top_list->edit_list;
                   config_node *group = migr_main.root.top_list->next->edit_list;
                   for (config_node *set : {policy->set_list, policy->set_list->next, group->set_list}) {
                       free(set->value);
                       set->value = nullptr;
                   }
                   run_row("_reorg_cert_remote");
                   EXPECT_EQ(nullptr, policy->set_list->next);
                   EXPECT_STREQ("local-cert", group->set_list->next->name);
                   EXPECT_STREQ("c", group->set_list->next->value);
               });
}

/* A walk without the old table releases the collected names with its last visit. */
TEST(ReorgCertRemote, NamesGoWithTheWalk)
{
    reorg_cert_remote_state state = {};
    ocsp_ref_insert(state.refs, &state.count, OCSP_POLICY, "g", "c");
    top[1] = &EOB_NODE;
    _reorg_cert_remote(2, &state, nullptr);
    top[1] = &EMPTY_NODE;
    EXPECT_EQ(0, state.count);
    EXPECT_EQ(nullptr, state.refs[0].name);
}

/* A table that cannot be made leaves the visit without one; the next visit tries again. */
TEST(AddCrlGroup, WithoutMemoryForTheTable)
{
    std::string after = after_pass("config system certificate crl\nedit a\nnext\nend\n", [] {
        add_crl_group_state state = {nullptr, migr_main.root.top_list};
        top[1] = migr_main.root.top_list;
        top[2] = top[1]->edit_list;
        top[4] = &EOB_NODE;
        support::fail_allocation(1);
        _add_crl_group(2, &state, nullptr);
        support::fail_allocation(0);
        EXPECT_EQ(nullptr, state.group);
        EXPECT_EQ(nullptr, top[1]->next);
        _add_crl_group(2, &state, nullptr);
        top[1] = top[2] = top[4] = &EMPTY_NODE;
    });
    EXPECT_NE(std::string::npos, after.find("config system certificate crl-group\n    edit a \n"));
}

TEST(RequestTemplate, IsLookedForUntilItIsThere)
{
    ApplianceRoot root;
    support::expect_in_root(root, [] {
        after_row("config a\nend\n", "_adjust_cert_conf");
        _adjust_cert_conf(1, nullptr, nullptr);
        std::filesystem::create_directories("/data/etc/cert");
        write_file(template_path, "a\n" + marker);
        _adjust_cert_conf(1, nullptr, nullptr);
        EXPECT_EQ("a\n" + extensions + marker + section, support::file_text(template_path));
        /* From then on it is done, whatever comes. */
        write_file(template_path, marker);
        _adjust_cert_conf(1, nullptr, nullptr);
        after_row("config a\nend\n", "_adjust_cert_conf");
        EXPECT_EQ(marker, support::file_text(template_path));
    });
}

TEST(RequestTemplate, ALaterFileLooksAgain)
{
    ApplianceRoot root;
    root.folder("/data/etc/cert");
    support::expect_in_root(root, [] {
        after_row("config a\nset b c\nend\n", "_adjust_cert_conf");
        write_file(template_path, marker);
        after_row("config a\nset b c\nend\n", "_adjust_cert_conf");
        EXPECT_EQ(extensions + marker + section, support::file_text(template_path));
    });
}

TEST(RequestTemplate, ALeftTemplateIsDoneToo)
{
    for (std::string left : {std::string("no marker\n"), std::string(5000, 'x'), std::string(513, 'x') + marker}) {
        ApplianceRoot root;
        root.write(template_path, left);
        support::expect_in_root(root, [&] {
            after_row("config a\nend\n", "_adjust_cert_conf");
            EXPECT_EQ(left, support::file_text(template_path));
            write_file(template_path, marker);
            after_row("config a\nend\n", "_adjust_cert_conf");
            EXPECT_EQ(marker, support::file_text(template_path));
        });
    }
}

/* Text behind a NUL is no text. */
TEST(RequestTemplate, EndsAtANul)
{
    ApplianceRoot root;
    std::string   before = std::string("a\0b\n", 4) + marker;
    root.write(template_path, before);
    support::expect_in_root(root, [&] {
        _adjust_cert_conf(1, nullptr, nullptr);
        EXPECT_EQ(before, support::file_text(template_path));
    });
}

TEST(RequestTemplate, AFullDiskEndsTheWriting)
{
    ApplianceRoot root;
    root.write(template_path, marker);
    support::expect_in_root(root, [] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit whole = {};
        getrlimit(RLIMIT_FSIZE, &whole);
        rlimit little = {10, whole.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
        _adjust_cert_conf(1, nullptr, nullptr);
        setrlimit(RLIMIT_FSIZE, &whole);
        EXPECT_EQ(extensions.substr(0, 10) + marker.substr(10), support::file_text(template_path));
    });
}

/* Something that cannot go back to its start is left alone. */
TEST(RequestTemplate, APipeIsReadAndLeft)
{
    ApplianceRoot root;
    root.folder("/data/etc/cert");
    support::expect_in_root(root, [] {
        ASSERT_EQ(0, mkfifo(template_path, 0600));
        int pipe = open(template_path, O_RDWR | O_NONBLOCK);
        ASSERT_GE(pipe, 0);
        ASSERT_EQ(static_cast<ssize_t>(marker.size()), write(pipe, marker.data(), marker.size()));
        _adjust_cert_conf(1, nullptr, nullptr);
        char left[16];
        EXPECT_EQ(-1, read(pipe, left, sizeof left));
        close(pipe);
    });
}

TEST(RenameKeyFile, WithoutANameNothingIsRenamed)
{
    ApplianceRoot root;
    root.write("/etc/cert/mesh_connector/oci_private_key/key.pem", "KEY");
    support::Listing before = root.listing();
    support::expect_in_root(root, [] {
        after_pass("config system mesh-connectors\nset name x\nend\n", [] {
            config_node *set = migr_main.root.top_list->set_list;
            free(set->value);
            set->value = nullptr;
            run_row("_rename_msh_con_key_file");
        });
    });
    EXPECT_EQ(before, root.listing());
}

TEST(RemoteCertificates, SentinelsAreHarmless)
{
    remove_ocsp_stapling_state    stapling = {};
    add_crl_group_state           groups = {};
    reorg_cert_remote_state       refs = {};
    rename_msh_con_key_file_state connector = {};
    ApplianceRoot                 root;
    support::expect_in_root(root, [&] {
        after_pass("", [&] {
            for (config_node *position : {&EMPTY_NODE, &EOB_NODE}) {
                top[3] = top[4] = sub[3] = sub[4] = position;
                for (int32_t round : {1, 2}) {
                    _change_cert_login(round, nullptr, nullptr);
                    _remove_ocsp_stapling(round, &stapling, nullptr);
                    _add_crl_group(round, &groups, nullptr);
                    _adjust_cert_conf(round, nullptr, nullptr);
                    _reorg_cert_remote(round, &refs, nullptr);
                    _rename_msh_con_key_file(round, &connector, nullptr);
                }
            }
            top[3] = top[4] = sub[3] = sub[4] = &EMPTY_NODE;
            EXPECT_EQ(0, refs.count);
        });
    });
}
