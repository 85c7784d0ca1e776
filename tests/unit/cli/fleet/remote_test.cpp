/* A fleet's jobs on other machines, of which there is none here: who answers for one, what goes there and what comes
 * back. */
#include "fleet/remote.h"

#include "fleet/bundle.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"
#include "unit/cli/made_up_parallel.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>

using namespace command;

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

const Identity identity = {"input", "0123", "migr 1 for 6.21", "partial "};

class Machines : public testing::Test {
  protected:
    Machines()
    {
        parallel.root().write("/hosts", "# ours\n\nnorth\n4/south\n/odd\nx2/west\n8/ssh -l me box\n");
        answers("north south /odd x2/west");
    }
    /* "me box" has a blank, and answers with the others. */
    void answers(const std::string &names, const std::string &line = "migr 1 for 6.21, image 0123") const
    {
        parallel.does("for name in " + names + "; do printf '%s\\t%s\\n' $name '" + line +
                      "'; done; printf 'ssh -l me box\\tmigr 1 for 6.21, image 0123\\n'; echo 'no answer of anybody'");
    }
    Strings good(const std::string &image = "")
    {
        Interrupts interrupts;
        return hosts_that_answer(parallel.folder() + "/hosts", image, identity, interrupts);
    }
    /* What is complained of on the way, and what for it ends. */
    std::string told(const std::string &image = "")
    {
        return support::run_process([&] {
                   try {
                       for (const std::string &machine : good(image))
                           fprintf(stderr, "good: %s\n", machine.c_str());
                   } catch (const Failure &failure) {
                       fprintf(stderr, "%s\n", failure.what());
                       return static_cast<int>(failure.status);
                   }
                   return 0;
               })
            .err;
    }

    support::MadeUpParallel parallel;
};

/* A folder of results, and what is on its way from it. */
class Shipped : public support::SmallImageTest {
  protected:
    std::string path(const std::string &name) const
    {
        return place.path().string() + "/" + name;
    }
    void pack_returned(const std::string &name, const std::vector<const char *> &entries) const
    {
        support::ApplianceRoot other;
        std::string            lines;
        for (const char *entry : entries) {
            EntryResult result;
            result.entry = entry;
            lines += line_of(result);
            other.write(std::string("/appliances/") + entry, "of another machine");
        }
        other.write("/fleet.jsonl", lines);
        pack_bundle(other.path().string(), shipments.folder() + "/" + name);
    }

    support::ApplianceRoot place;
    ResultsFolder          results{path("out")};
    Shipments              shipments{results};
};

} // namespace

TEST_F(Machines, AnswerForThemselves)
{
    EXPECT_EQ(good(), (Strings{"north", "4/south", "/odd", "x2/west", "8/ssh -l me box"}));
    Strings arguments = parallel.arguments();
    EXPECT_EQ(
        Strings(arguments.end() - 7, arguments.end()),
        (Strings{"--nonall", "--tag", "--sshloginfile", parallel.folder() + "/hosts", "migr", "fleet", "identity"}));
    EXPECT_EQ(std::find(arguments.begin(), arguments.end(), "--arg-file"), arguments.end());
    good("/image's");
    arguments = parallel.arguments();
    EXPECT_EQ(Strings(arguments.end() - 5, arguments.end()),
              (Strings{"migr", "fleet", "identity", "--image", "'/image'\\''s'"}));
}

TEST_F(Machines, ThatGiveNoAnswerAreLeftOut)
{
    answers("north");
    EXPECT_EQ(told(), "migr: 4/south: gives no answer, and is left out.\n"
                      "migr: /odd: gives no answer, and is left out.\n"
                      "migr: x2/west: gives no answer, and is left out.\n"
                      "good: north\ngood: 8/ssh -l me box\n");
    parallel.does("echo 'ssh: it is away' >&2; exit 255");
    EXPECT_TRUE(told().starts_with("migr: ssh: it is away\nmigr: north: gives no answer, and is left out.\n"))
        << told();
    EXPECT_EQ(good(), Strings{});
}

TEST_F(Machines, OfAnotherVersionAreNotAsked)
{
    answers("north", "migr 2 for 6.21, image \x1b");
    EXPECT_EQ(told(), "north has migr 2 for 6.21, image \\x1b, and this machine migr 1 for 6.21, image 0123. Put the "
                      "same there, or leave it out.\n");
}

TEST_F(Machines, AreNamedInTheirFile)
{
    parallel.root().write("/hosts", "# nobody\n\n");
    EXPECT_EQ(told(), parallel.folder() + "/hosts names no machine. Write one a line.\n");
    EXPECT_EQ(parallel.calls(), 0u);
}

TEST_F(Machines, AreAskedNoMoreBehindASignal)
{
    parallel.does("echo; exec sleep 20");
    support::Outcome outcome = support::run_process([&] {
        Interrupts interrupts;
        raise(SIGTERM);
        try {
            hosts_that_answer(parallel.folder() + "/hosts", "", identity, interrupts);
        } catch (const Failure &failure) {
            printf("%s", failure.what());
        }
        return 0;
    });
    EXPECT_EQ(outcome.out, "Stopped by a signal. Nothing was begun.");
}

TEST_F(Shipped, GoesThereWhole)
{
    place.write("/saved/a folder/data/x", "x", 0640);
    place.link("/saved/a folder/link", "nowhere");
    place.write("/saved/file", "text");
    EXPECT_EQ(shipments.folder(), path("out/.fleet/shipments"));
    EXPECT_EQ(shipments.send(7, path("saved/a folder")), "00000007.sent");
    EXPECT_EQ(shipments.send(12, path("saved/file")), "00000012.sent");
    support::ApplianceRoot folder, file;
    unpack_bundle(shipments.folder() + "/00000007.sent", Root(folder.path().string()));
    EXPECT_EQ(folder.read("/a folder/data/x"), "x");
    EXPECT_TRUE(fs::is_symlink(folder.path() / "a folder/link"));
    unpack_bundle(shipments.folder() + "/00000012.sent", Root(file.path().string()));
    EXPECT_EQ(file.read("/file"), "text");
    EXPECT_EQ(shipments.send(7, path("saved/file")), "00000007.sent") << "what an earlier round sent gives way";
    unpack_bundle(shipments.folder() + "/00000007.sent", Root(file.path().string()));
    EXPECT_EQ(std::distance(fs::directory_iterator(results.work()), {}), 1) << "nothing else is left";
}

TEST_F(Shipped, ComesBackIntoItsPlace)
{
    pack_returned("00000001.returned", {"one"});
    pack_returned("00000002.returned", {"two", "here"});
    place.write("/out/.fleet/shipments/00000001.sent", "");
    place.write("/out/.fleet/shipments/00000003.sent", "");
    place.write("/out/.fleet/shipments/00000004.returned-not", "half of it");
    shipments.take_in([](const EntryResult &result) { return result.entry == "here"; });
    EXPECT_EQ(place.read("/out/appliances/one"), "of another machine");
    EXPECT_EQ(place.read("/out/appliances/two"), "of another machine");
    EXPECT_FALSE(place.exists("/out/appliances/here"));
    size_t lines = 0;
    for_each_line(results.lines(), [&](const std::string &, size_t) { lines++; });
    EXPECT_EQ(lines, 2u);
    Strings left;
    for (const auto &entry : fs::directory_iterator(shipments.folder()))
        left.push_back(entry.path().filename());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (Strings{"00000003.sent", "00000004.returned-not"}));
    EXPECT_EQ(std::distance(fs::directory_iterator(results.work()), {}), 1);
    shipments.clear();
    EXPECT_FALSE(fs::exists(shipments.folder()));
}

TEST_F(Shipped, NeedsItsFolder)
{
    Shipments again(results);
    fs::remove(shipments.folder());
    place.folder("/elsewhere");
    fs::remove_all(results.work());
    EXPECT_EQ(support::path_error_of([&] { Shipments none(results); }),
              support::with_error("make " + shipments.folder(), ENOENT));
}

/* On the other machine. */
TEST_F(Shipped, IsUpgradedThere)
{
    Interrupts interrupts;
    EntryJob   job;
    job.image = image().folder();
    place.write("/saved/desk.conf", support::headers("5.50") + "config lab desk\n    set tint green\nend\n");
    std::string sent = shipments.folder() + "/" + shipments.send(1, path("saved/desk.conf"));
    EntryResult result = upgrade_sent(job, sent, path("returned"), interrupts);
    EXPECT_EQ(result.entry, "desk.conf");
    EXPECT_EQ(result.end, EntryEnd::upgraded);
    fs::rename(path("returned"), shipments.folder() + "/00000001.returned");
    shipments.take_in([](const EntryResult &) { return false; });
    EXPECT_TRUE(support::holds(place.read("/out/appliances/desk.conf"), "set colour green\n"));
    place.folder("/empty");
    pack_bundle(path("empty"), path("nothing"));
    try {
        upgrade_sent(job, path("nothing"), path("none"), interrupts);
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status, Status::unusable);
        EXPECT_EQ(failure.what(), path("nothing") + " holds no appliance.");
    }
    EXPECT_FALSE(fs::exists(path("none")));
}
