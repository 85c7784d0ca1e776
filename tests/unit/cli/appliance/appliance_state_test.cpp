/* What is asked of an appliance's snapshots from outside its root folder, and what is said where the answer is no. */
#include "appliance/appliance_state.h"

#include "appliance/commit.h"
#include "appliance/inside.h"
#include "appliance/snapshot_store.h"
#include "support/appliance_root.h"
#include "system/digest.h"
#include "system/failure.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace command;

namespace {

using Names = std::vector<std::string>;

class ApplianceState : public testing::Test {
  protected:
    void publish(const std::string &name, const std::string &command = "upgrade", const std::string &previous = "",
                 const std::string &back_to = "") const
    {
        inside(root, [&] {
            Manifest manifest;
            manifest.name = name;
            manifest.command = command;
            manifest.previous = previous;
            manifest.back_to = back_to;
            manifest.from = "5.50";
            manifest.to = "6.21";
            begin_snapshot(manifest);
            publish_snapshot(name);
        });
    }
    /* With a copy of two files, and what came new. */
    void publish_with_files(const std::string &name) const
    {
        inside(root, [&] {
            Manifest manifest;
            manifest.name = name;
            manifest.command = "upgrade";
            for (const char *path : {"/data/config/a", "/data/config/b"}) {
                Entry before = entry_at(path);
                before.sha256 = sha256_of_path(path);
                manifest.changes.push_back({path, before, std::nullopt});
            }
            manifest.changes.push_back({"/data/config/new", std::nullopt, entry_at("/data/config/a")});
            manifest.changes.push_back({"/data/config", entry_at("/data/config"), std::nullopt});
            begin_snapshot(manifest);
            for (const Change &change : manifest.changes)
                if (change.before && change.before->type == 'f')
                    store_in_snapshot(name, change.path, *change.before);
            publish_snapshot(name);
        });
    }
    void write_record_of(const std::string &name, Direction direction) const
    {
        inside(root, [&] { write_record({name, direction}); });
    }
    Names names() const
    {
        return inside(root, snapshot_names);
    }
    static std::string failure_of_work(const std::function<void()> &work, Status status = Status::unusable)
    {
        try {
            work();
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, status);
            return failure.what();
        }
        return "";
    }
    std::string choice(const std::optional<std::string> &asked) const
    {
        return chosen_snapshot(root, asked);
    }

    support::ApplianceRoot box;
    Root                   root{box.path().string(), "BOX"};
};

} // namespace

TEST_F(ApplianceState, ListsSnapshotsWithWhatTheyKeep)
{
    box.write("/data/config/a", "12345");
    box.write("/data/config/b", "678");
    publish("1", "rollback");
    publish_with_files("2");
    publish("3");
    std::ofstream(box.path() / "var/lib/migr/snapshots/3/manifest.json") << "{";
    publish_with_files("4");
    std::ofstream(box.path() / "var/lib/migr/snapshots/4/files/data/config/b") << "987";
    fs::create_directory(box.path() / "var/lib/migr/snapshots/5");
    std::vector<SnapshotSummary> all = list_snapshots(root);
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(all[0].name, "1");
    EXPECT_EQ(all[0].command, "rollback");
    EXPECT_EQ(all[0].from, "5.50");
    EXPECT_EQ(all[0].to, "6.21");
    EXPECT_EQ(all[0].files, 0u);
    EXPECT_EQ(all[0].trouble, "");
    EXPECT_EQ(all[1].files, 2u);
    EXPECT_EQ(all[1].bytes, 8u);
    EXPECT_EQ(all[2].trouble, "it is damaged");
    EXPECT_EQ(all[3].trouble, "its copy of /data/config/b is damaged");
    EXPECT_TRUE(all[4].trouble.ends_with("manifest.json: cannot read it: No such file or directory. Put that right and "
                                         "run migr again."))
        << all[4].trouble;
}

TEST_F(ApplianceState, ChoosesTheNewestUpgrade)
{
    EXPECT_EQ(failure_of_work([&] { choice(std::nullopt); }),
              "BOX has no snapshots, so there is nothing to go back to.");
    publish("1");
    publish("2", "upgrade", "1");
    EXPECT_EQ(choice(std::nullopt), "2");
    publish("3", "rollback", "2", "1");
    EXPECT_EQ(failure_of_work([&] { choice(std::nullopt); }),
              "BOX: every upgrade there has been taken back already. To undo that, name the snapshot of the rollback "
              "(migr snapshots lists them).");
    std::ofstream(box.path() / "var/lib/migr/snapshots/3/manifest.json") << "{";
    EXPECT_EQ(failure_of_work([&] { choice(std::nullopt); }), "BOX: a snapshot cannot be read: it is damaged.");
}

TEST_F(ApplianceState, ChoosesASnapshotByNameOrPath)
{
    Root named(box.path().string());
    publish("1");
    publish("2", "upgrade", "1");
    std::string folder = box.path().string() + "/var/lib/migr/snapshots/";
    for (const std::string &asked : {std::string("1"), folder + "1", folder + "1/", folder + "./1", folder + "2/../1"})
        EXPECT_EQ(chosen_snapshot(named, asked), "1") << asked;
    EXPECT_EQ(shown_snapshot(named, "1"), folder + "1");
    for (const std::string &asked : {std::string("3"), folder + "3", folder, std::string("/elsewhere/1")})
        EXPECT_EQ(failure_of_work([&] { chosen_snapshot(named, asked); }),
                  box.path().string() + " has no snapshot \"" + asked + "\". See which it has: migr snapshots " +
                      box.path().string())
            << asked;
}

TEST_F(ApplianceState, PrunesTheOldest)
{
    for (const char *name : {"1", "2", "3"})
        publish(name);
    EXPECT_EQ(prune_snapshots(root, 3), Names());
    EXPECT_EQ(prune_snapshots(root, 9), Names());
    EXPECT_EQ(prune_snapshots(root, 1), (Names{"1", "2"}));
    EXPECT_EQ(names(), Names{"3"});
    EXPECT_EQ(prune_snapshots(root, 0), Names{"3"});
    EXPECT_EQ(names(), Names());
}

TEST_F(ApplianceState, SettlesACommitThatWasCutOff)
{
    Names told;
    Tell  tell = [&](const std::string &line) { told.push_back(line); };
    settle_last_commit(root, true, tell);
    settle_last_commit(root, false, tell);
    EXPECT_EQ(told, Names());

    inside(root, [] {
        Manifest manifest;
        manifest.name = "1";
        begin_snapshot(manifest);
    });
    settle_last_commit(root, false, tell); /* which is of no harm */
    EXPECT_EQ(told, Names());
    settle_last_commit(root, true, tell);
    EXPECT_EQ(told, Names{"An earlier migr was cut off before it changed anything. What it had prepared was removed."});
    EXPECT_EQ(names(), Names());

    told.clear();
    publish("2");
    write_record_of("2", Direction::forward);
    EXPECT_EQ(failure_of_work([&] { settle_last_commit(root, false, tell); }),
              "BOX: an earlier migr was cut off while it put its result in place. Run migr upgrade or migr rollback "
              "there, which finish that first.");
    settle_last_commit(root, true, tell);
    EXPECT_EQ(told, Names{"An earlier migr was cut off while it put its result in place. That is finished now."});
    EXPECT_EQ(names(), Names{"2"});

    told.clear();
    write_record_of("2", Direction::back);
    settle_last_commit(root, true, tell);
    EXPECT_EQ(told, Names{"An earlier migr was cut off while it took back what it could not put in place. That is "
                          "finished now."});
    EXPECT_EQ(names(), Names());
    publish("3");
    write_record_of("3", Direction::forward);
    settle_last_commit(root, true, {}); /* nobody is told */
    EXPECT_FALSE(inside(root, is_commit_pending));
}

/* How far it came shows in what is there. */
TEST_F(ApplianceState, LooksBehindAWorkThatWasKilled)
{
    publish("1");
    EXPECT_EQ(commit_inside(root, [] { return std::string("answer"); }), "answer");
    EXPECT_EQ(failure_of_work([&] { commit_inside(root, []() -> std::string { _exit(3); }); }, Status::failed),
              "BOX: the process that was to put the result in place was killed. Everything is as it was. Run migr "
              "again.");
    EXPECT_EQ(commit_inside(root,
                            []() -> std::string {
                                Manifest manifest;
                                manifest.name = "2";
                                begin_snapshot(manifest);
                                write_record({"2", Direction::forward});
                                _exit(3);
                            }),
              "2");
    EXPECT_EQ(names(), (Names{"1", "2"}));
}

/* Also where it lived on without memory for its answer. */
TEST_F(ApplianceState, LooksBehindAWorkThatLackedMemoryInTheEnd)
{
    auto begin = [](const char *name) {
        Manifest manifest;
        manifest.name = name;
        begin_snapshot(manifest);
    };
    auto commit_and_fail = [&](const std::function<void()> &work) {
        return commit_inside(root, [&]() -> std::string {
            work();
            throw std::bad_alloc();
        });
    };
    auto failure_behind = [&](const std::function<void()> &work) {
        return failure_of_work([&] { commit_and_fail(work); }, Status::failed);
    };
    EXPECT_EQ(commit_and_fail([&] { begin("1"), publish_snapshot("1"); }), "1");
    EXPECT_EQ(commit_and_fail([&] { begin("2"), write_record({"2", Direction::forward}); }), "2");
    EXPECT_EQ(failure_behind([&] { begin("3"); }), "BOX: there is not enough memory");
    EXPECT_EQ(failure_behind([&] {
                  begin("3"), write_record({"3", Direction::back});
              }),
              "BOX: there is not enough memory. Everything is as it was. Run migr again.");
    EXPECT_EQ(names(), (Names{"1", "2"}));
    EXPECT_FALSE(inside(root, is_commit_pending));
}

TEST_F(ApplianceState, PlansARollbackOrSaysWhyNot)
{
    box.write("/data/config/a", "12345");
    box.write("/data/config/b", "678");
    publish_with_files("1");
    RollbackPlan plan = plan_rollback(root, "1");
    EXPECT_EQ(plan.undone, Names{"1"});
    EXPECT_EQ(
        failure_of_work([&] { plan_rollback(root, "none"); }),
        "BOX/var/lib/migr/snapshots/none: there is no snapshot none. Choose another snapshot (migr snapshots lists "
        "them).");
}
