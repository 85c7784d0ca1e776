/* `migr convert` as its user sees it: names and forms of input and output, and what is said. What conversions do is
 * none of it. */
#include "support/json_value.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <pty.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using support::JsonValue;

namespace {

constexpr char desk[] = "config lab desk\n    set old-flag 1\n    set tint green\n    set height 70\nend\n";
constexpr char new_desk[] = "config lab desk\n    set colour green\n    set height 70\nend\n";
constexpr char global_settings[] = "config system global\n    set hostname keeper\nend\n";

/* A folder for the files of a test, and the image beside it. */
class Convert : public testing::Test {
  protected:
    std::string file(const std::string &name, const std::string &text) const
    {
        box_.write("/" + name, text);
        return path(name);
    }
    std::string path(const std::string &name) const
    {
        return (box_.path() / name).string();
    }
    support::Outcome convert(std::vector<std::string> arguments, const std::string &input = "") const
    {
        arguments.insert(arguments.begin(), {"convert", "--image", image_.folder()});
        return support::migr(arguments, support::with_input(input));
    }
    /* All that is said when there is nothing to say. */
    std::string image_line() const
    {
        return "migr: the image's files are those in " + image_.folder() + "\n";
    }
    std::string image_folder() const
    {
        return image_.folder();
    }
    const support::ApplianceRoot &box() const
    {
        return box_;
    }

  private:
    support::ApplianceRoot box_;
    support::SmallImage    image_;
};

/* 5.85 gave every file its policies' common settings. */
std::string of_image(const std::string &text)
{
    return "#config-version=QA-A1X-" IMAGE_VERSION ":x\n#conf_file_ver=1\n"
           "config server-policy setting\nend\n" +
           text;
}

/* What is said ahead of the account, which ends each conversion. */
std::string ahead_of_account(const support::Outcome &run)
{
    return run.err.substr(0, run.err.find("migr: FILE "));
}

std::string single_file()
{
    return support::headers("5.00") + global_settings + "config lab desk\n    set old-flag 1\nend\n" +
           "config lab bench\n    set width 3\nend\n";
}

bool holds(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(Convert, EndsWithTheAccount)
{
    std::string      input = file("shop.conf", support::headers("5.50") + desk);
    support::Outcome run = convert({input, "--as", "domain"});
    EXPECT_TRUE(holds(run.err, "REWRITTEN  DROPPED  LAYOUT  ADDED  LINES  AFTER\nmigr: " + input +
                                   "  5.50        7     "
                                   "2      0          1        1       3      1      8  6.21\n"))
        << run.err;
    EXPECT_TRUE(run.err.ends_with("migr: 1 line was dropped and 1 rewritten, none of them about protection or "
                                  "credentials: migr account " +
                                  input + "\n"))
        << run.err;
}

/* Each line's path and indent could be as long as the text is deep. */
TEST_F(Convert, AccountsForATextThatOnlyNests)
{
    std::string text = support::headers("5.40") + "config system ticket-gateway\n", ends;
    for (int depth = 0; depth < 1500; depth++) {
        text += "edit a\nconfig a\n";
        ends += "end\nnext\n";
    }
    std::string      input = file("sys_global.conf", text + ends + "end\n");
    support::Outcome run = support::migr({"account", "--all", "--json", "--image", image_folder(), input});
    ASSERT_EQ(0, run.status) << run.err;
    JsonValue answer = JsonValue::parse(run.out);
    for (const JsonValue &entry : answer["files"][0]["entries"])
        EXPECT_LE(entry["path"].size(), 33u);
    EXPECT_LT(run.out.size(), 10'000'000u);
}

TEST_F(Convert, EndsWithOneAccountOfSeveralFiles)
{
    std::string      one = file("sys_domain.one.conf", support::headers("5.50") + desk);
    std::string      two = file("sys_domain.two.conf", support::headers("5.50") + "config lab desk\nend\n");
    support::Outcome run = convert({one, two, "-o", box().path().string()});
    std::string      account = run.err.substr(ahead_of_account(run).size());
    EXPECT_TRUE(holds(account, "\nmigr: " + one + "  5.50 ") && holds(account, "\nmigr: " + two + "  5.50 "))
        << account;
    EXPECT_EQ(account.find("FILE"), account.rfind("FILE ")) << account;
    EXPECT_TRUE(holds(account, ": migr account FILE\n")) << account;
}

TEST_F(Convert, CallsTheHalvesOfAFileByTheirNames)
{
    std::string      input = file("old.conf", single_file());
    std::string      folder = (box().path() / "two").string();
    support::Outcome run = convert({input, "-o", folder});
    EXPECT_TRUE(holds(run.err, "\nmigr: " + input + " ")) << run.err;
    EXPECT_TRUE(holds(run.err, "\nmigr: " + folder + "/sys_domain.root.conf  -")) << run.err;
}

TEST_F(Convert, AccountsForStandardInput)
{
    support::Outcome run = convert({"--as", "domain", "-"}, support::headers("5.50") + "config lab desk\nend\n");
    EXPECT_TRUE(run.err.ends_with("migr: No line was dropped or rewritten.\n")) << run.err;
}

TEST_F(Convert, PrintsTheUpgradedDomainFile)
{
    support::Outcome run = convert({file("sys_domain.shop.conf", support::headers("5.50") + desk)});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(of_image(new_desk), run.out);
    EXPECT_EQ(image_line(), ahead_of_account(run));
}

TEST_F(Convert, TakesAGlobalFileByItsName)
{
    /* Going by what it holds it would be a domain's. */
    support::Outcome run = convert({file("sys_global.conf", support::headers("5.50") + desk)});
    EXPECT_EQ(0, run.status);
    EXPECT_TRUE(holds(run.out, new_desk)) << run.out;
    EXPECT_EQ(image_line(), ahead_of_account(run));
}

TEST_F(Convert, LeavesItsInputAlone)
{
    std::string text = support::headers("5.50") + desk;
    std::string path = file("sys_domain.shop.conf", text);
    auto        before = box().listing();
    convert({path});
    EXPECT_EQ(before, box().listing());
}

TEST_F(Convert, UnpacksAGzipFile)
{
    std::string      packed = support::gzip(support::headers("5.50") + desk);
    support::Outcome run = convert({file("sys_domain.shop.conf.gz", packed)});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(of_image(new_desk), run.out);
}

TEST_F(Convert, WritesAFile)
{
    std::string      input = file("sys_domain.shop.conf", support::headers("5.50") + desk);
    support::Outcome run = convert({input, "-o", path("new.conf")});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ(of_image(new_desk), box().read("/new.conf"));
    struct stat st = {};
    ASSERT_EQ(0, stat(path("new.conf").c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 07777);
}

TEST_F(Convert, PacksAFileThatIsCalledSo)
{
    std::string      input = file("sys_domain.shop.conf", support::headers("5.50") + desk);
    support::Outcome run = convert({input, "-o", path("new.conf.gz")});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(of_image(new_desk), box().read_gzip("/new.conf.gz"));
}

TEST_F(Convert, MayReplaceItsInput)
{
    std::string      input = file("sys_domain.shop.conf", support::headers("5.50") + desk);
    support::Outcome run = convert({input, "--output", input});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(of_image(new_desk), box().read("/sys_domain.shop.conf"));
}

TEST_F(Convert, ReadsStandardInput)
{
    support::Outcome run = convert({"--as", "domain", "--domain", "shop", "-"}, support::headers("5.50") + desk);
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(of_image(new_desk), run.out);
    EXPECT_EQ(image_line(), ahead_of_account(run));
}

TEST_F(Convert, ToleratesOddNames)
{
    for (const char *name : {"-", "--as", " ", "a\nb", "sys_domain..conf", "\xff\x1b[2J"}) {
        support::Outcome run = convert({"--as=domain", "--", file(name, support::headers("5.50") + desk)});
        EXPECT_EQ(0, run.status) << run.err;
        EXPECT_EQ(of_image(new_desk), run.out);
        EXPECT_TRUE(holds(run.err, "taken for the domain \"root\"")) << run.err;
        EXPECT_FALSE(holds(run.err, "\x1b"));
    }
}

TEST_F(Convert, GoesByTheContentOfAFileWithoutATellingName)
{
    support::Outcome run = convert({file("a.conf", support::headers("5.50") + desk)});
    EXPECT_TRUE(holds(run.err, "taken for a domain file of the domain \"root\"")) << run.err;
    EXPECT_EQ(of_image(new_desk), run.out);

    run = convert({file("b.conf", support::headers("5.50") + global_settings)});
    EXPECT_TRUE(holds(run.err, "taken for a global file")) << run.err;
    EXPECT_TRUE(holds(run.out, "set hostname keeper")) << run.out;
}

TEST_F(Convert, AsksAheadOfReplacing)
{
    std::string              input = file("a.conf", support::headers("5.50") + desk), output = file("there", "kept");
    std::vector<std::string> arguments = {"convert", "--image", image_folder(), input, "-o", output};
    std::string              question = "migr: " + output + " is there already.\nReplace it? [y/N] ";
    for (const char *no : {"\n", "n\n"}) {
        support::Outcome run = support::migr(arguments, support::person_who_says(no));
        EXPECT_EQ(1, run.status);
        EXPECT_TRUE(run.err.ends_with("\n" + question + "migr: " + output + " was left as it is.\n")) << run.err;
        EXPECT_EQ("kept", box().read("/there"));
    }
    support::Outcome run = support::migr(arguments, support::person_who_says("y\n"));
    EXPECT_EQ(0, run.status);
    EXPECT_TRUE(holds(run.err, question)) << run.err;
    EXPECT_EQ(of_image(new_desk), box().read("/there"));
}

TEST_F(Convert, AsksNobodyElse)
{
    std::string input = file("a.conf", support::headers("5.50") + desk), output = path("there");
    auto        said = [&](const support::Ahead &ahead, const std::string &output, const char *more = "--verbose") {
        support::Outcome run = support::migr({"convert", "--image", image_folder(), input, "-o", output, more}, ahead);
        EXPECT_EQ(0, run.status) << run.err;
        return run.err;
    };
    support::Ahead refusing = support::person_who_says("n\n");
    EXPECT_FALSE(holds(said(refusing, output), "Replace it?")); /* there is nothing */
    EXPECT_EQ(of_image(new_desk), box().read("/there"));
    file("there", "kept");
    EXPECT_FALSE(holds(said(refusing, output, "--force"), "Replace it?"));
    EXPECT_EQ(of_image(new_desk), box().read("/there"));
    file("there", "kept");
    EXPECT_FALSE(holds(said(support::with_input("n\n"), output), "Replace it?"));
    EXPECT_EQ(of_image(new_desk), box().read("/there"));
    EXPECT_FALSE(holds(said(refusing, "/dev/null"), "Replace it?"));
}

TEST_F(Convert, PacksWhatIsToBePacked)
{
    std::string text = support::headers(MIGR_IMAGE_RELEASE) + desk, input = file("a.conf", text);
    EXPECT_EQ(0, convert({input, "-o", path("new.gz")}).status);
    EXPECT_EQ(text, box().read_gzip("/new.gz"));
    EXPECT_NE(text, box().read("/new.gz"));
    EXPECT_EQ(0, convert({path("new.gz"), "-o", path("plain")}).status);
    EXPECT_EQ(text, box().read("/plain"));
}

TEST_F(Convert, SaysWhyTwoHaveNoPlace)
{
    std::string input = file("old.conf", single_file()), other = file("b.conf", support::headers("5.50") + desk);
    box().folder("/new");
    support::Outcome run = convert({input, other, "-o", path("new")});
    EXPECT_EQ(2, run.status);
    EXPECT_TRUE(holds(run.err, "one for the domain \"root\". Convert it by itself.\n")) << run.err;
    EXPECT_TRUE(holds(box().read("/new/b.conf"), new_desk)) << "the other one goes on";

    std::vector<std::string> arguments = {"convert", "--image", image_folder(), input, "-o", path("none/new")};
    run = support::migr(arguments);
    EXPECT_EQ(2, run.status);
    EXPECT_TRUE(holds(run.err, path("none/new") + ": cannot make it: No such file or directory")) << run.err;
}

TEST_F(Convert, ShowsATerminalNothingThatItActsOn)
{
    std::string text = support::headers(MIGR_IMAGE_RELEASE) + "\nconfig lab desk\n    set note \"\x1b[2J\"\nend";
    std::string input = file("a.conf", text);
    int         person = -1, terminal = -1;
    ASSERT_EQ(openpty(&person, &terminal, nullptr, nullptr, nullptr), 0);
    support::Outcome run =
        support::migr({"convert", "--image", image_folder(), input}, [=] { dup2(terminal, STDOUT_FILENO); });
    close(terminal);
    EXPECT_EQ(0, run.status) << run.err;
    std::string shown;
    char        part[4096];
    for (ssize_t got; (got = read(person, part, sizeof part)) > 0;)
        shown.append(part, static_cast<size_t>(got));
    close(person);
    std::erase(shown, '\r');
    EXPECT_EQ(shown, support::headers(MIGR_IMAGE_RELEASE) + "\nconfig lab desk\n    set note \"\\x1b[2J\"\nend\n");
}

TEST_F(Convert, MakesTwoOfAFileFromBefore510)
{
    support::Outcome run = convert({file("old.conf", single_file()), "-o", path("new")});
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_EQ("", run.out);
    EXPECT_TRUE(holds(run.err, "migr: wrote " + path("new/sys_global.conf") + "\nmigr: wrote " +
                                   path("new/sys_domain.root.conf") + "\n"))
        << run.err;
    EXPECT_TRUE(holds(box().read("/new/sys_global.conf"), global_settings));
    EXPECT_FALSE(holds(box().read("/new/sys_global.conf"), "config lab"));
    EXPECT_TRUE(holds(box().read("/new/sys_domain.root.conf"), "config lab bench\n    set width 3\nend\n"));
    EXPECT_FALSE(holds(box().read("/new/sys_domain.root.conf"), "old-flag"));
    EXPECT_EQ(0u, box().read("/new/sys_domain.root.conf").find("#config-version=QA-A1X-" MIGR_IMAGE_RELEASE "-"));
}

/* One of the two is no result, unless it stands where there was one already. */
TEST_F(Convert, TakesBackTheOneWithoutTheOther)
{
    std::string              input = file("old.conf", single_file());
    std::vector<std::string> arguments = {"convert", "--image", image_folder(), input, "-o", path("new")};
    for (unsigned number : {1U, 2U}) {
        support::Outcome run = support::migr(arguments, [=] { support::fail_call("fsync", EIO, number); });
        EXPECT_EQ(2, run.status) << number;
        EXPECT_TRUE(holds(run.err, "cannot write it: Input/output error")) << number << run.err;
        EXPECT_FALSE(box().exists("/new")) << number;
    }
    box().folder("/new/sys_domain.root.conf");
    EXPECT_EQ(2, support::migr(arguments).status);
    EXPECT_FALSE(box().exists("/new/sys_global.conf"));
    box().write("/new/sys_global.conf", "of before");
    arguments.emplace_back("--force");
    EXPECT_EQ(2, support::migr(arguments).status);
    EXPECT_TRUE(holds(box().read("/new/sys_global.conf"), global_settings));
}

/* The result is written by then. */
TEST_F(Convert, ComplainsOfAnAccountThatItCannotTell)
{
    std::string              input = file("sys_domain.shop.conf", support::headers("5.50") + desk);
    std::vector<std::string> arguments = {"convert", "--image", image_folder(), input, "-o", path("new.conf")};
    unsigned                 complaints = 0;
    for (unsigned number = 1;; number++) {
        ASSERT_LT(number, 99U);
        fs::remove(path("new.conf"));
        support::Outcome run = support::migr(arguments, [=] { support::fail_call("pread", EIO, number); });
        EXPECT_EQ(run.status == 0, box().exists("/new.conf")) << number << run.err;
        if (run.status == 0 && !holds(run.err, "Input/output error"))
            break;
        if (run.status == 0) {
            complaints++;
            EXPECT_TRUE(holds(run.err, "migr: What became of the lines cannot be summed up: update_config: cannot read "
                                       "it: Input/output error."))
                << run.err;
        }
    }
    EXPECT_GT(complaints, 0U);
}

TEST_F(Convert, WantsAFolderForThoseTwo)
{
    std::string      input = file("old.conf", single_file());
    support::Outcome run = convert({input});
    EXPECT_EQ(2, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_TRUE(holds(run.err, "Name a folder for them with -o")) << run.err;

    run = convert({input, "-o", file("there", "kept")});
    EXPECT_EQ(2, run.status);
    EXPECT_EQ("kept", box().read("/there"));

    run = convert({input, "--as", "domain", "-o", path("new")});
    EXPECT_EQ(2, run.status);
    EXPECT_TRUE(holds(run.err, "it is no domain's")) << run.err;
}

TEST_F(Convert, WarnsOfCertificatesThatStandInAnotherFile)
{
    std::string      certificates = "config system certificate local\n    edit \"shop\"\n    next\nend\n";
    std::string      input = file("sys_domain.shop.conf", support::headers("5.10") + certificates + desk);
    support::Outcome run = convert({input});
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_TRUE(holds(run.err, "warning: ")) << run.err;
    EXPECT_TRUE(holds(run.err, "certificate blocks")) << run.err;

    run = convert({file("sys_domain.shop.conf", support::headers("5.50") + certificates + desk)});
    EXPECT_TRUE(holds(run.err, "without their content")) << run.err;

    run = convert({file("sys_domain.shop.conf", support::headers("6.00") + certificates + desk)});
    EXPECT_EQ(image_line(), ahead_of_account(run));
}

TEST_F(Convert, PassesAFileOfTheImagesReleaseThrough)
{
    std::string      text = support::headers(MIGR_IMAGE_RELEASE) + desk;
    support::Outcome run = convert({file("sys_domain.shop.conf", text)});
    EXPECT_EQ(0, run.status);
    EXPECT_EQ(text, run.out);
    EXPECT_TRUE(holds(run.err, "already")) << run.err;

    text = support::headers("99.30") + desk;
    run = convert({file("sys_domain.shop.conf", text)});
    EXPECT_EQ(1, run.status); /* the result is not at the image's release */
    EXPECT_EQ(text, run.out);
    EXPECT_TRUE(holds(run.err, "it is at 99.30, and the image at " MIGR_IMAGE_RELEASE)) << run.err;
}

TEST_F(Convert, NamesTheLineOfEachSetWithoutAValue)
{
    std::string text = support::headers("5.50") + "config lab desk\n    set height\n    set width 1\n    set x\nend\n";
    std::string input = file("sys_domain.shop.conf", text);
    support::Outcome run = convert({input, "-o", path("new")});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.err, input + ": line 4: is a `set` without a value")) << run.err;
    EXPECT_TRUE(holds(run.err, input + ": line 6: is a `set` without a value")) << run.err;
    EXPECT_FALSE(box().exists("/new"));
}

TEST_F(Convert, SaysWhichHeaderLineToAdd)
{
    support::Outcome run = convert({file("a.conf", desk)});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.err, "a.conf: It has no version line")) << run.err;

    std::string first = support::headers("5.50");
    run = convert({file("b.conf", first.substr(0, first.find('\n') + 1) + desk)});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.err, "b.conf: It has no second header line")) << run.err;

    run = convert({"-"});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.err, "standard input: It has no version line")) << run.err;
}

TEST_F(Convert, RefusesWhatItCannotRead)
{
    EXPECT_EQ(2, convert({path("none.conf")}).status);
    EXPECT_EQ(2, convert({box().path().string()}).status);
    std::string      packed = support::gzip(support::headers("5.50") + desk);
    support::Outcome run = convert({file("cut.gz", packed.substr(0, packed.size() / 2))});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(run.err, "a gzip file that breaks off or is damaged")) << run.err;
}

TEST_F(Convert, RefusesDomainNamesThatAreNone)
{
    std::string input = file("a.conf", support::headers("5.50") + desk);
    for (std::string name : {std::string("../x"), std::string("/"), std::string(128, 'n')}) {
        support::Outcome run = convert({"--domain", name, input});
        EXPECT_EQ(2, run.status);
        EXPECT_TRUE(holds(run.err, "cannot be a domain's name")) << run.err;
    }
    EXPECT_EQ(2, convert({"--as", "global", "--domain", "shop", input}).status);
    EXPECT_EQ(0, convert({"--domain", std::string(127, 'n'), input}).status);
}

TEST_F(Convert, TellsWhatIsMissingFromTheImage)
{
    std::string      input = file("a.conf", support::headers("5.50") + desk);
    support::Outcome run = support::migr({"convert", "--image", path("no-image"), input});
    EXPECT_EQ(2, run.status);
    EXPECT_TRUE(holds(run.err, "update_config")) << run.err;
}

TEST_F(Convert, TellsAProgramWhatCameOfEachFile)
{
    std::string good = file("sys_domain.shop.conf", support::headers("5.10") + desk);
    std::string bad = file("sys_domain.bad.conf", support::headers("5.50") + "config lab desk\n    set height\nend\n");
    box().folder("/new");
    support::Outcome run = convert({good, bad, path("none"), "-o", path("new"), "--json"});
    EXPECT_EQ(2, run.status);
    EXPECT_EQ("", run.err);
    JsonValue files = JsonValue::parse(run.out)["files"];
    ASSERT_EQ(3u, files.size());
    EXPECT_EQ("upgraded", files[0]["result"]);
    EXPECT_EQ("5.10", files[0]["before"]);
    EXPECT_EQ(MIGR_IMAGE_RELEASE, files[0]["after"]);
    EXPECT_EQ(JsonValue::array({path("new/sys_domain.shop.conf")}), files[0]["outputs"]);
    EXPECT_TRUE(holds(files[0]["warnings"][0].text(), "certificate blocks")) << run.out;
    EXPECT_EQ(good, files[0]["file"]);
    EXPECT_EQ("not upgraded", files[1]["result"]);
    EXPECT_EQ("5.50", files[1]["before"]);
    EXPECT_EQ("5.50", files[1]["after"]);
    EXPECT_EQ(JsonValue::array(), files[1]["outputs"]);
    EXPECT_TRUE(holds(files[1]["reasons"][0].text(), "line 4: is a `set` without a value")) << run.out;
    EXPECT_TRUE(holds(files[2]["reasons"][0].text(), "No such file")) << run.out;
}

TEST_F(Convert, AnswersAProgramOnlyIfTheResultGoesElsewhere)
{
    std::string input = file("sys_domain.shop.conf", support::headers("5.50") + desk);
    for (const std::vector<std::string> &more : {std::vector<std::string>{}, {"-o", "-"}}) {
        std::vector<std::string> arguments = {input, "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        support::Outcome run = convert(arguments);
        EXPECT_EQ(2, run.status);
        EXPECT_EQ("", run.err);
        EXPECT_TRUE(holds(JsonValue::parse(run.out)["error"].text(), "Name a place for the result with -o")) << run.out;
    }
}

TEST_F(Convert, WantsAFolderForSeveral)
{
    std::string first = file("a.conf", support::headers("5.50") + desk);
    std::string second = file("b.conf", support::headers("5.50") + desk);
    for (const std::vector<std::string> &more : {std::vector<std::string>{}, {"-o", path("none")}, {"-o", second}}) {
        std::vector<std::string> arguments = {first, second};
        arguments.insert(arguments.end(), more.begin(), more.end());
        support::Outcome run = convert(arguments);
        EXPECT_EQ(2, run.status);
        EXPECT_EQ("migr: Several files need a folder for their results. Name one with -o.\n", run.err);
    }
    EXPECT_EQ(support::headers("5.50") + desk, box().read("/b.conf"));
}

TEST_F(Convert, CallsStandardInputByANameInAFolder)
{
    box().folder("/new");
    support::Outcome run = convert({"-", "-o", path("new"), "--as", "domain"}, support::headers("5.50") + desk);
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_TRUE(holds(box().read("/new/stdin.conf"), new_desk));
}

TEST_F(Convert, GoesOnBehindAResultThatCannotBeWritten)
{
    std::string first = file("a.conf", support::headers("5.50") + desk);
    std::string second = file("b.conf", support::headers("5.50") + desk);
    box().folder("/new/a.conf");
    support::Outcome run = convert({first, second, "-o", path("new")});
    EXPECT_EQ(2, run.status);
    EXPECT_TRUE(holds(run.err, "/new/a.conf: cannot write it")) << run.err;
    EXPECT_TRUE(holds(box().read("/new/b.conf"), new_desk));
}
