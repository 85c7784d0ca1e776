/*
 * Damaged input: each is refused with its file and line and the true reason, by `upgrade` and by `convert`, and nothing
 * is changed or written; or it goes through because that was asked for, and what is lost is listed.
 */
#include "unit/cli/command_support.h"

#include "support/places.h"
#include "support/trees.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <vector>

namespace fs = std::filesystem;
using namespace support;
using namespace std::string_literals;

namespace {

constexpr char domain_name[] = "sys_domain.root.conf.gz";
constexpr char domain_path[] = "/data/config/sys_domain.root.conf.gz";
constexpr char global_path[] = "/data/config/sys_global.conf.gz";

enum class Accepted {
    yes, /* it goes through with --accept-damage */
    no,
};

/* A domain file's text behind its header lines, which end in line 2, and what must be said of it. */
struct DamagedText {
    const char              *name;
    std::string              text;
    std::vector<std::string> said; /* each the beginning of a finding, "line 5: is" */
    Accepted                 accepted = Accepted::yes;
};

/* Stands in a text for a value of more than four megabytes. These texts last as long as the program, and each process
 * that a test starts would carry the value along.
 */
constexpr char too_long_value[] = "<too long>";

std::string text_of(const DamagedText &damaged)
{
    std::string text = damaged.text;
    if (size_t at = text.find(too_long_value); at != std::string::npos)
        text.replace(at, strlen(too_long_value), times(4200, std::string(1000, 'v') + "\n"));
    return text;
}

const std::string long_name(127, 'n');

const DamagedText damaged_texts[] = {
    {"EndTooMany", "config a b\nend\nend\nconfig c d\nend\n", {"line 5: is an `end`", "line 6: stands behind"}},
    {"NextTooMany", "config a b\nedit 1\nnext\nnext\nend\n", {"line 6: ", "line 7: is an `end`"}},
    {"EndTooFew", "config a b\nset x y\nconfig c d\nset x y\nend\n", {"line 5: ", "line 7: "}},
    {"NextTooFew", "config a b\nedit 1\nset x y\nedit 2\nset x y\nnext\nend\n", {"line 6: is an `edit`"}},
    {"EndForNext", "config a b\nedit 1\nset x y\nend\nset z 1\nend\n", {"line 6: "}},
    {"CutShort", "config a b\nedit 1\nset x y\n", {"line 5: "}},
    {"SetOutside", "set x y\nconfig a b\nend\n", {"line 3: is a `set` outside any `config`"}},
    {"EditOutside", "edit 1\nset x y\nnext\nconfig a b\nend\n", {"line 3: is an `edit`"}},
    {"UnknownWord", "config a b\nunset x\nend\n", {"line 4: "}},
    {"Nul", "config a b\nset x \"y\0z\"\nend\n"s, {"line 4: "}},
    {"NulInAComment", "config a b\n# \0\nset x 1\nend\n"s, {"line 4: "}},
    {"NameCut", "config a b\nedit " + long_name + "tail\nnext\nend\n", {"line 4: "}},
    {"TwoNamesBecomeOne",
     "config a b\nedit " + long_name + "1\nnext\nedit " + long_name + "2\nnext\nend\n",
     {"line 4: ", "line 6: "}},
    {"LineTooLong", "config a b\n# " + std::string(100'000, 'x') + "\nset x y\nend\n", {"line 4: "}},
    {"ValueTooLong", "config a b\nset x \""s + too_long_value + "\"\nend\n", {"line 4: "}},
    {"ValueNeverClosed", "config a b\nset x \"open\nend\nconfig c d\nset y 1\nend\n", {"line 4: "}},
    {"SetWithoutValue", "config a b\nset x\nend\n", {"line 4: is a `set` without a value"}, Accepted::no},
    {"WordsBehindAName", "config a b\nedit 1 2\nnext\nend\n", {"line 4: "}},
    {"TwoFilesInOne", "config a b\nend\n" + headers("5.50") + "config c d\nend\n", {"line 5: "}},
};

/* Each text alone in an appliance. With sanitizers all of them, each in a domain of its own: what they find in a run
 * they find there, too, and whether one is refused for itself is seen without them. */
struct Damages {
    std::string              name;
    std::vector<DamagedText> texts;
};

std::vector<Damages> all_damages()
{
    std::vector<Damages> each, together = {{"Accepted", {}}, {"NotAccepted", {}}};
    for (const DamagedText &damaged : damaged_texts) {
        each.push_back({damaged.name, {damaged}});
        together[damaged.accepted == Accepted::no].texts.push_back(damaged);
    }
    return is_sanitized() ? together : each;
}

void PrintTo(const Damages &damages, std::ostream *out)
{
    *out << damages.name;
}

std::string domain_of(size_t number)
{
    return number == 0 ? domain_name : "sys_domain.d" + std::to_string(number) + ".conf.gz";
}

class OfADamagedText : public testing::TestWithParam<Damages> {
  protected:
    OfADamagedText()
    {
        for (size_t number = 0; number < texts().size(); number++)
            box.config(domain_of(number), "5.50", text_of(texts()[number]));
        box.folder("/results");
        before = box.listing();
    }
    static const std::vector<DamagedText> &texts()
    {
        return GetParam().texts;
    }
    static void expect_findings(const std::string &said)
    {
        for (size_t number = 0; number < texts().size(); number++)
            for (const std::string &text : texts()[number].said)
                EXPECT_NE(said.find(domain_of(number) + ": " + text), std::string::npos) << text << "\nin " << said;
    }
    std::string path_of(size_t number) const
    {
        return box.root() + "/data/config/" + domain_of(number);
    }

    TinyAppliance box;
    Listing       before;
};

} // namespace

TEST_P(OfADamagedText, AnUpgradeChangesNothing)
{
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 1);
    expect_findings(run.out);
    EXPECT_NE(run.out.find("Nothing was changed"), std::string::npos) << run.out;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

TEST_P(OfADamagedText, AConversionWritesNothing)
{
    std::vector<std::string> arguments = {"convert", "-o", box.root() + "/results", "--image", build_path("/image")};
    if (texts().size() == 1)
        arguments[2] += "/one";
    for (size_t number = 0; number < texts().size(); number++)
        arguments.push_back(path_of(number));
    Outcome run = migr(arguments);
    EXPECT_EQ(run.status, 1);
    expect_findings(run.err);
    EXPECT_EQ(box.listing(), before);
}

TEST_P(OfADamagedText, WhatIsAcceptedIsListedAsLost)
{
    Outcome run = migr({"upgrade", "--accept-damage", box.root()});
    if (texts()[0].accepted == Accepted::no) {
        expect_findings(run.out);
        EXPECT_EQ(run.status, 1) << run.all();
        EXPECT_EQ(box.without_snapshots(), before);
        return;
    }
    std::string all = run.out; /* "lost: line 5: ..." */
    for (size_t at; (at = all.find(": lost: ")) != std::string::npos;)
        all.replace(at, 8, ": ");
    expect_findings(all);
    EXPECT_EQ(run.status, 0) << run.all();
    for (size_t number = 0; number < texts().size(); number++) {
        std::string name = domain_of(number);
        EXPECT_NE(run.out.find("warning: " + name + ": lost: "), std::string::npos) << run.out;
        EXPECT_TRUE(box.read_gzip("/data/config/" + name).starts_with("#config-version=QA-A1X-" MIGR_IMAGE_RELEASE));
    }
}

TEST_P(OfADamagedText, TheOthersGoAloneWhenThatIsAskedFor)
{
    Outcome run = migr({"upgrade", "--partial", box.root()});
    EXPECT_EQ(run.status, 1) << run.all();
    expect_findings(run.out);
    EXPECT_NE(run.out.find("the appliance is on mixed releases now"), std::string::npos) << run.out;
    Listing now = box.without_snapshots();
    for (size_t number = 0; number < texts().size(); number++) {
        std::string path = "data/config/" + domain_of(number);
        EXPECT_EQ(now.at(path), before.at(path));
    }
    EXPECT_TRUE(box.read_gzip(global_path).starts_with("#config-version=QA-A1X-" MIGR_IMAGE_RELEASE));
}

INSTANTIATE_TEST_SUITE_P(Refused, OfADamagedText, testing::ValuesIn(all_damages()),
                         [](const auto &one) { return std::string(one.param.name); });

namespace {

/* What stands in a stored file's place, and what must be said of it. */
struct DamagedFile {
    const char                                   *name;
    std::function<void(const TinyAppliance &box)> damage;
    std::string                                   said;
    int                                           status = 1;
};

std::string sound_file()
{
    return gzip(headers("5.50") + "config a b\nend\n");
}

std::string turned_bit(std::string bytes, size_t at)
{
    bytes.at(at) = static_cast<char>(bytes[at] ^ 1);
    return bytes;
}

void put(const TinyAppliance &box, const std::string &bytes)
{
    box.write(domain_path, bytes);
}

const std::string no_gzip = "It is no gzip file.";
const std::string cut_gzip = "It is a gzip file that breaks off or is damaged.";
const std::string wrong_sum = "It is a gzip file whose sum is wrong.";

const DamagedFile damaged_files[] = {
    {"Plain", [](auto &box) { put(box, headers("5.50") + "config a b\nend\n"); }, no_gzip},
    {"CutShort", [](auto &box) { put(box, sound_file().substr(0, sound_file().size() - 3)); }, cut_gzip},
    {"ATurnedBitInTheData", [](auto &box) { put(box, turned_bit(sound_file(), 30)); }, wrong_sum},
    {"ATurnedBitInTheSum", [](auto &box) { put(box, turned_bit(sound_file(), sound_file().size() - 8)); }, wrong_sum},
    {"Empty", [](auto &box) { put(box, ""); }, "It is empty."},
    {"BytesBehindTheEnd", [](auto &box) { put(box, sound_file() + "more"); },
     "It is a gzip file with something else behind its end."},
    {"NoText", [](auto &box) { put(box, gzip("")); }, "It has no version line"},
    {"NoVersionLine", [](auto &box) { put(box, gzip("\n" + headers("5.50") + "config a b\nend\n")); },
     "It has no version line"},
    {"NoSecondLine",
     [](auto &box) { put(box, gzip("#config-version=QA-A1X-5.50-CV-build0601-170328:x\nconfig a\nend\n")); },
     "It has no second header line"},
    {"AVersionLineBeyondTheReadersLimit",
     [](auto &box) { box.config(domain_name, "5.50", "config a b\nend\n", "QA-" + std::string(50'000, 'x')); },
     "It has no version line"},
    {"AHeaderLineThatIsCut",
     [](auto &box) { put(box, gzip("#config-version=QA-A1X-5.50-CV-build0601-170328:x\n#conf_file_ver=1")); },
     "line 2: is a header line that is cut"},
    {"AFolder", [](auto &box) { box.drop(domain_path), box.folder(domain_path); }, "It is no file"},
    {"ALinkToNowhere", [](auto &box) { box.drop(domain_path), box.link(domain_path, "gone"); },
     "No such file or directory"},
    {"ALinkToItself", [](auto &box) { box.drop(domain_path), box.link(domain_path, domain_name); },
     "Too many levels of symbolic links"},
    {"APipe",
     [](auto &box) {
         box.drop(domain_path);
         ASSERT_EQ(mkfifo((box.root() + domain_path).c_str(), 0600), 0);
     },
     "is no ordinary file", 2},
    {"NoGlobalFile", [](auto &box) { box.drop(global_path); }, "is no appliance's root folder", 2},
    {"ADomainFileFromBeforeTheSplit", [](auto &box) { box.config(domain_name, "5.00", "config a b\nend\n"); },
     "its split would replace sys_global.conf.gz"},
    {"TheDomainFileThatASplitWouldReplace",
     [](auto &box) { box.config("sys_global.conf.gz", "5.00", "config a b\nend\n"); },
     "sys_domain.root.conf.gz: The split of sys_global.conf.gz"},
    {"TheSameAtTheImagesRelease",
     [](auto &box) {
         box.config("sys_global.conf.gz", "5.00", "config a b\nend\n");
         box.config(domain_name, MIGR_IMAGE_RELEASE, "config a b\nend\n");
     },
     "sys_domain.root.conf.gz: The split of sys_global.conf.gz"},
};

void PrintTo(const DamagedFile &damaged, std::ostream *out)
{
    *out << damaged.name;
}

class OfADamagedFile : public testing::TestWithParam<DamagedFile> {};

} // namespace

TEST_P(OfADamagedFile, AnUpgradeChangesNothing)
{
    TinyAppliance box;
    GetParam().damage(box);
    Listing before = box.listing();
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, GetParam().status) << run.all();
    EXPECT_NE(run.all().find(GetParam().said), std::string::npos) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

INSTANTIATE_TEST_SUITE_P(Refused, OfADamagedFile, testing::ValuesIn(damaged_files),
                         [](const auto &one) { return std::string(one.param.name); });
