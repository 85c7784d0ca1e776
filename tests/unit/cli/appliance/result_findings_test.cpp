/* Each finding in a result, in all its words: for the file's owner, and for all who have the same. The texts are made
 * up; beside them an appliance's folder has what they refer to. */
#include "appliance/result_warnings.h"

#include "driver/run_context.h"
#include "support/appliance_root.h"
#include "support/trees.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace command;
using support::expect_in_root;

namespace {

constexpr char shop[] = "sys_domain.shop.conf.gz";
constexpr char global[] = "sys_global.conf.gz";

class ResultFindings : public testing::Test {
  protected:
    ResultFindings()
    {
        box.write("/data/etc/key.secret", "a passphrase");
        box.database("CREATE TABLE replacement_page(name, code, text);"
                     "INSERT INTO replacement_page VALUES('login', '200', '<a>in</a>');");
    }
    /* "TEXT | CAUSE" of each warning about that file, in the root folder. */
    std::vector<std::string> told(const UpgradedText &file) const
    {
        return told(std::vector<UpgradedText>{file}).at(0);
    }
    std::vector<std::vector<std::string>> told(const std::vector<UpgradedText> &files) const
    {
        std::vector<std::vector<std::string>> all;
        int                                   ends[2];
        EXPECT_EQ(pipe(ends), 0);
        expect_in_root(box, [&] {
            std::string text;
            for (const std::vector<FileFinding> &findings : result_warnings(files)) {
                for (const FileFinding &finding : findings)
                    text += finding.text + " | " + finding.cause + "\x1e";
                text += "\x1d";
            }
            EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        });
        close(ends[1]);
        char    text[60000];
        ssize_t length = read(ends[0], text, sizeof text);
        close(ends[0]);
        all.emplace_back();
        std::string one;
        for (ssize_t at = 0; at < length; at++) {
            if (text[at] == '\x1d')
                all.emplace_back();
            else if (text[at] == '\x1e')
                all.back().push_back(std::exchange(one, ""));
            else
                one += text[at];
        }
        return all;
    }

    support::ApplianceRoot box;
};

using Told = std::vector<std::string>;

/* An entry of that config with those sets. */
std::string entry_in(const std::string &config, const std::string &name, const std::string &sets = "")
{
    return "#config-version=x\nconfig " + config + "\n  edit \"" + name + "\"\n" + sets + "  next\nend\n";
}

} // namespace

TEST_F(ResultFindings, OfMaterialNameItsFile)
{
    struct Kind {
        const char *config, *property, *file;
    };
    const Kind kinds[] = {
        {"system certificate local", "private-key", "cert/local/shop/e.key"},
        {"system certificate local", "certificate", "cert/local/shop/e.cer"},
        {"system certificate ca", "certificate", "cert/ca/shop/e.cer"},
        {"system certificate intermediate-certificate", "certificate", "cert/intmed/shop/e.cer"},
        {"system certificate crl", "certificate", "cert/crl/shop/e.crl"},
        {"system admin-certificate local", "private-key", "globalcert/local/shop/e.key"},
        {"system admin-certificate local", "certificate", "globalcert/local/shop/e.cer"},
        {"system admin-certificate ca", "certificate", "globalcert/ca/shop/e.cer"},
    };
    for (const Kind &kind : kinds) {
        std::string property = kind.property, path = "/data/etc/" + std::string(kind.file);
        std::string other = property == "certificate" ? "private-key" : "certificate";
        std::string sets = "    set " + other + " \"\"\n";
        Told        expected = {"line 3: " + std::string(kind.config) + " / e has no " + property + ": " + path +
                                " is missing. | " + kind.config + " has no " + property + ": its file is missing."};
        EXPECT_EQ(told({shop, MIGR_RELEASE(5, 79), "", entry_in(kind.config, "e", sets), false}), expected);
        EXPECT_EQ(told({shop, MIGR_RELEASE(5, 80), "", entry_in(kind.config, "e", sets), false}), Told());
    }
}

TEST_F(ResultFindings, OfMaterialSayWhyThereIsNone)
{
    std::string folder = "/data/etc/cert/ca/shop/";
    box.folder(folder + "folder.cer");
    box.write(folder + "empty.cer", "");
    box.write(folder + "long.cer", std::string(MIGR_VALUE_SIZE - 2, 'x'));
    box.write(folder + "short.cer", std::string(MIGR_VALUE_SIZE - 3, 'x'));
    box.link(folder + "circle.cer", "circle.cer");
    auto why = [&](const std::string &name) {
        Told all = told({shop, MIGR_RELEASE(5, 50), "", entry_in("system certificate ca", name), false});
        EXPECT_EQ(all.size(), 1u);
        std::string behind = "has no certificate: ";
        return all.empty() ? "" : all[0].substr(all[0].find(behind) + behind.size());
    };
    std::string all = "system certificate ca has no certificate: its file ";
    EXPECT_EQ(why("folder"), folder + "folder.cer is no file. | " + all + "is no file.");
    EXPECT_EQ(why("empty"), folder + "empty.cer is empty. | " + all + "is empty.");
    std::string too_long = "is longer than the " + std::to_string(MIGR_VALUE_SIZE - 3) + " bytes that an entry takes.";
    EXPECT_EQ(why("long"), folder + "long.cer " + too_long + " | " + all + too_long);
    std::string there = "is there, but was not taken in.";
    EXPECT_EQ(why("short"), folder + "short.cer " + there + " | " + all + there);
    std::string circle = "cannot be read: Too many levels of symbolic links.";
    EXPECT_EQ(why("circle"), folder + "circle.cer " + circle + " | " + all + circle);
    std::string slash = "its name has a slash, and no file is read for such.";
    EXPECT_EQ(why("a/b"), slash + " | system certificate ca has no certificate: " + slash);
}

TEST_F(ResultFindings, OfMaterialGoByTheFirstType)
{
    std::string key = "    set private-key \"\"\n";
    auto        path_with = [&](const char *file, const std::string &sets) {
        Told all = told({file, MIGR_RELEASE(5, 50), "", entry_in("system certificate local", "e", key + sets), false});
        size_t at = all.at(0).find("/data");
        return all[0].substr(at, all[0].find(" is missing") - at);
    };
    EXPECT_EQ(path_with(shop, "    set type csr\n"), "/data/etc/cert/local/shop/e.csr");
    EXPECT_EQ(path_with(shop, "    set type \"csr\"\n"), "/data/etc/cert/local/shop/e.csr");
    EXPECT_EQ(path_with(shop, "    set type other\n    set type csr\n"), "/data/etc/cert/local/shop/e.cer");
    EXPECT_EQ(path_with(global, ""), "/data/etc/cert/local/e.cer");
    EXPECT_EQ(path_with("other.conf.gz", ""), "/data/etc/cert/local/e.cer");
    EXPECT_EQ(path_with("sys_domain.shop", ""), "/data/etc/cert/local/e.cer");
}

TEST_F(ResultFindings, OfMaterialCountTheEntrysOwnSetsAlone)
{
    std::string nested = "    config in\n      set certificate x\n    end\n";
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 50), "", entry_in("system certificate ca", "e", nested), false}).size(), 1u);
    std::string outside = "#config-version=x\nconfig system certificate ca\n  edit \"e\"\n  next\n"
                          "  set certificate x\nend\nconfig a\n  set certificate x\nend\n";
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 50), "", outside, false}).size(), 1u);
    std::string two = "#config-version=x\nconfig system certificate ca\n  edit \"e\"\n    set certificate x\n  next\n"
                      "  edit \"f\"\n";
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 50), "", two, false}).size(), 1u);
}

TEST_F(ResultFindings, OfClearKeysSayWhy)
{
    auto told_of_key = [this](const std::string &config, const std::string &key) {
        std::string after = entry_in(config, "e", "    set private-key " + key + "\n");
        return told({shop, MIGR_RELEASE(5, 90), "", after, false});
    };
    std::string local = "system certificate local", where = "line 4: " + local + " / e / private-key";
    std::string clear = " is stored in clear: ";
    std::string failed = clear + "it could not be encrypted; what the library printed (--verbose) may tell why.";
    EXPECT_EQ(told_of_key(local, "\"k\""), Told{where + failed + " | a key of " + local + failed});
    EXPECT_EQ(told_of_key(local, "\"\""), Told());
    EXPECT_EQ(told_of_key(local, "\"an ENCRYPTED one\""), Told());
    std::string admin = "system admin-certificate local";
    std::string of_files = clear + "keys of the administration's certificates that come from files are not encrypted.";
    EXPECT_EQ(told_of_key(admin, "k"),
              Told{"line 4: " + admin + " / e / private-key" + of_files + " | a key of " + admin + of_files});
    unlink((box.path() / "data/etc/key.secret").c_str());
    std::string none = clear + "the appliance has no passphrase that can be read (/data/etc/key.secret).";
    EXPECT_EQ(told_of_key(admin, "k").at(0).substr(0, 100),
              ("line 4: " + admin + " / e / private-key" + none).substr(0, 100));
}

TEST_F(ResultFindings, OfReferencesNameWhatIsGone)
{
    std::string before = "#config-version=x\nconfig waf signature\n  edit \"gone\"\n  next\n  edit \"kept\"\n  next\n"
                         "  edit 7\n  next\nend\nconfig waf profile\n  edit \"p\"\n    set signature \"gone\"\n"
                         "    set all a gone \"kept\" 7\n  next\nend\n";
    std::string after = "#config-version=x\nconfig waf signature\n  edit \"kept\"\n  next\nend\nconfig waf profile\n"
                        "  edit \"p\"\n    set signature \"gone\"\n    set all gone \"kept\" 7\n    set new gone\n"
                        "  next\nend\n";
    std::string was = "which was an entry of waf signature and is no longer there.";
    EXPECT_EQ(
        told({shop, MIGR_RELEASE(5, 90), before, after, false}),
        (Told{"line 8: waf profile / p / signature refers to \"gone\", " + was + " | waf profile refers to one " + was,
              "line 9: waf profile / p / all refers to \"gone\", " + was + " | waf profile refers to one " + was}));
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 90), before, before, false}), Told());
}

/* Of several configs that had it, the one that a set is named for. */
TEST_F(ResultFindings, OfReferencesGuessTheConfig)
{
    std::string before = "#config-version=x\nconfig a other\n  edit \"gone\"\n  next\nend\nconfig b rule\n"
                         "  edit \"gone\"\n  next\nend\nconfig c\n  set rule gone\n  set thing gone\nend\n";
    std::string after = "#config-version=x\nconfig c\n  set rule gone\n  set thing gone\nend\n";
    Told        all = told({shop, MIGR_RELEASE(5, 90), before, after, false});
    ASSERT_EQ(all.size(), 2u);
    EXPECT_NE(all[0].find("which was an entry of b rule and"), std::string::npos) << all[0];
    EXPECT_NE(all[1].find("which was an entry of a other and"), std::string::npos) << all[1];
}

/* Both files of an appliance are looked through for an entry. */
TEST_F(ResultFindings, OfReferencesLookIntoAllFiles)
{
    std::string before = entry_in("waf signature", "e", "    set x e\n");
    std::string after = "#config-version=x\nconfig c\n  set x e\nend\n";
    std::string of_global = entry_in("any", "e");

    std::vector<UpgradedText> files = {{shop, MIGR_RELEASE(5, 90), before, after, false},
                                       {global, MIGR_RELEASE(5, 90), "", of_global, false}};
    EXPECT_EQ(told(files).at(0), Told());
    files.pop_back();
    EXPECT_EQ(told(files).at(0).size(), 1u);
}

TEST_F(ResultFindings, OfPagesTellThoseThatAreNotTheImages)
{
    auto page = [](const std::string &name, const std::string &text) {
        return entry_in("system replacemsg", name, "    set code 200\n    set buffer \"" + text + "\"\n");
    };
    const std::string after = "#config-version=x\nconfig a\nend\n";
    auto              of = [&](const std::string &name, const std::string &text, int32_t release, bool split = false) {
        return told({global, release, page(name, text), after, split});
    };
    auto lost = [](const char *name) {
        return Told{"line 3 of the old file: the page \"" + std::string(name) +
                    "\" is not in the result. | a page is not in the result."};
    };
    EXPECT_EQ(of("own", "x", MIGR_RELEASE(5, 50)), lost("own"));
    EXPECT_EQ(of("own", "x", MIGR_RELEASE(5, 50), true), Told());
    EXPECT_EQ(of("login", "<a>in</a>", MIGR_RELEASE(4, 0)), Told());
    EXPECT_EQ(of("login", "<a>\\in</a>", MIGR_RELEASE(4, 0)), Told());
    EXPECT_EQ(of("login", "another", MIGR_RELEASE(5, 9)), lost("login"));
    EXPECT_EQ(of("login", "another", MIGR_RELEASE(5, 10)), Told());
    EXPECT_EQ(told({global, MIGR_RELEASE(5, 50), page("own", "x"), page("own", "y"), false}), Told());
    EXPECT_EQ(told({global, MIGR_RELEASE(5, 50), entry_in("system other", "own", "    set buffer x\n"), after, false}),
              Told());
    EXPECT_EQ(
        told({global, MIGR_RELEASE(5, 50), entry_in("system replacemsg", "own", "    set code 1\n"), after, false}),
        Told());
    std::string nested = "    config in\n      set buffer x\n    end\n";
    EXPECT_EQ(told({global, MIGR_RELEASE(5, 50), entry_in("system replacemsg", "own", nested), after, false}), Told());
    std::string twice = "    set buffer x\n    set buffer y\n";
    EXPECT_EQ(told({global, MIGR_RELEASE(5, 50), entry_in("system replacemsg", "own", twice), after, false}),
              lost("own"));
}

TEST_F(ResultFindings, OfCertificatesTellThoseThatADomainLost)
{
    std::string       before = entry_in("system certificate ca", "e"), after = "#config-version=x\nconfig a\nend\n";
    const std::string dropped = " was dropped: from 5.20 on a domain has the certificates that the global file had "
                                "then, and that has none of this name, or is newer already.";
    EXPECT_EQ(
        told({shop, MIGR_RELEASE(5, 19), before, after, false}),
        Told{"line 3 of the old file: system certificate ca / e" + dropped + " | system certificate ca" + dropped});
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 20), before, after, false}), Told());
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 19), before, after, true}), Told());
    EXPECT_EQ(told({global, MIGR_RELEASE(5, 19), before, after, false}), Told());
    EXPECT_EQ(told({shop, MIGR_RELEASE(5, 19), entry_in("system other", "e"), after, false}), Told());
}
