/* What a fleet's work is begun with and what is left of it: commands for a shell, folders, logs, results. No appliance
 * is upgraded here. */
#include "fleet/fleet.h"

#include "fleet/bundle.h"
#include "fleet/hand_out.h"
#include "support/appliance_root.h"
#include "system/failure.h"
#include "unit/cli/failing_calls.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

using namespace command;

namespace {

namespace fs = std::filesystem;

std::string fault_of(const std::function<void()> &work)
{
    return support::failure_of(Status::unusable, work);
}

/* What a shell makes of a command: each of its words on a line. */
std::string words_of(const std::string &line)
{
    std::string words;
    char        part[200];
    FILE       *shell = popen(("printf '%s\\n' " + line).c_str(), "r");
    while (fgets(part, sizeof part, shell))
        words += part;
    EXPECT_EQ(pclose(shell), 0);
    return words;
}

} // namespace

TEST(FleetJobs, AreCommandsWhateverTheirNamesAre)
{
    FleetRequest request;
    request.migr = "/opt/my migr";
    request.in = "/srv/it's $(echo gone)";
    request.job.out = "/srv/out;`echo x`";
    EXPECT_EQ(words_of(job_line(request, "a \"b\" * & |")),
              "/opt/my migr\nfleet\none\n/srv/it's $(echo gone)/a \"b\" * & |\n/srv/out;`echo x`\n");
    request.job.image = "/image of mine";
    request.job.partial = request.job.accept_damage = request.job.page = true;
    EXPECT_EQ(words_of(job_line(request, "b")),
              "/opt/my migr\nfleet\none\n--image\n/image of mine\n--partial\n"
              "--accept-damage\n--html\n/srv/it's $(echo gone)/b\n/srv/out;`echo x`\n");
    request.migr.clear();
    request.in = "in";
    std::string here = words_of(job_line(request, "b"));
    EXPECT_EQ(here.substr(0, here.find('\n')), fs::read_symlink("/proc/self/exe").string());
    EXPECT_NE(here.find("\n" + (fs::current_path() / "in/b").string() + "\n"), here.npos) << here;
}

TEST(FleetFolders, StayApart)
{
    support::ApplianceRoot root;
    std::string            in = root.path().string() + "/in";
    root.folder("/in");
    root.link("/to-in", "in");
    EXPECT_EQ(fault_of([&] { require_folders(in, root.path().string() + "/out"); }), "none");
    EXPECT_EQ(fault_of([&] { require_folders(in, in + "put"); }), "none");
    for (const std::string &out : {in, in + "/out", in + "/a/../b/c", root.path().string() + "/to-in/out"})
        EXPECT_EQ(fault_of([&] { require_folders(in, out); }),
                  out + " lies in " + in + ", which is not written to. Name a folder elsewhere.");
    EXPECT_EQ(fault_of([&] { require_folders(in + "/none", "/out"); }),
              in + "/none is no folder. Name the one that holds the saved appliances.");
    EXPECT_EQ(fault_of([&] { require_folders(in, "/a\nb"); }),
              "/a\nb: its name has characters that a terminal or a shell might act on. Give it another one.");
}

TEST(FleetResultsRead, AreThoseOfAnEarlierRun)
{
    support::ApplianceRoot root;
    std::string            out = root.path().string();
    FleetIndex             index;
    EXPECT_EQ(fault_of([&] { read_results(out, index); }),
              out + "/fleet.jsonl is not there, so " + out + " has no results of a fleet.");
    EntryResult one;
    one.entry = "one";
    one.end = EntryEnd::upgraded;
    root.write("/fleet.jsonl", line_of(one));
    read_results(out, index);
    EXPECT_TRUE(index.has_result("one"));
    EXPECT_EQ(index.count(EntryEnd::upgraded), 1u);
}

/* As GNU parallel writes it. */
TEST(FleetLog, TellsWhichJobsEndedBadly)
{
    support::ApplianceRoot root;
    root.write("/log", "Seq\tHost\tStarttime\tJobRuntime\tSend\tReceive\tExitval\tSignal\tCommand\n"
                       "3\t:\t1700000000.123\t     0.456\t0\t10\t0\t0\tmigr fleet one a\n"
                       "1\t:\t1700000000.123\t     0.456\t0\t10\t3\t0\tmigr fleet one b\n"
                       "2\t:\t1700000000.123\t     0.456\t0\t10\t-1\t15\tmigr fleet one c\n"
                       "4\t:\t1700000000.123\t     0.456\t0\t10\t0\t9\tmigr fleet one d\n"
                       "5\t:\t17");
    std::string text;
    for (const BadEnd &end : bad_ends(root.path().string() + "/log"))
        text += std::to_string(end.number) + " " + std::to_string(end.status) + " " + std::to_string(end.signal) + "\n";
    EXPECT_EQ(text, "1 3 0\n2 -1 15\n4 0 9\n");
    EXPECT_TRUE(bad_ends(root.path().string() + "/none").empty());
}

/* On its way to another machine and back. */
TEST(FleetBundle, BringsAFolderWhole)
{
    support::ApplianceRoot from, to, files;
    from.write("/data/config/x", std::string(100000, 'x'), 0640);
    from.folder("/data/empty", 0710);
    from.link("/data/link", "../out of it");
    from.write("/odd \xff name", "odd");
    std::string file = files.path().string() + "/bundle";
    pack_bundle(from.path().string(), file);
    unpack_bundle(file, Root(to.path().string()));
    EXPECT_EQ(to.listing(), from.listing());
    EXPECT_THROW(pack_bundle(from.path().string(), file), PathError) << "it is there already";
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}
