/* What has to happen on disk between two states. Nothing here touches a disk. */
#include "appliance/changes.h"

#include <gtest/gtest.h>

using command::Change;
using command::Entries;
using command::Entry;

namespace {

using Maker = std::optional<Entry> (*)();

std::optional<Entry> nothing()
{
    return std::nullopt;
}

std::optional<Entry> file()
{
    return Entry{'f', 0600, 1, 2, 3, 4, 5, "", "sum", {}};
}

std::optional<Entry> changed(std::optional<Entry> entry, void (*how)(Entry &))
{
    how(*entry);
    return entry;
}

std::optional<Entry> file_of_another_sum()
{
    return changed(file(), [](Entry &entry) { entry.sha256 = "other"; });
}

std::optional<Entry> file_of_another_size()
{
    return changed(file(), [](Entry &entry) { entry.size = 6; });
}

std::optional<Entry> file_of_another_mode()
{
    return changed(file(), [](Entry &entry) { entry.mode = 0644; });
}

std::optional<Entry> file_of_another_time()
{
    return changed(file(), [](Entry &entry) { entry.seconds = entry.nanoseconds = 9; });
}

std::optional<Entry> file_of_another_owner()
{
    return changed(file(), [](Entry &entry) { entry.uid = entry.gid = 9; });
}

std::optional<Entry> folder()
{
    return Entry{'d', 0700, 1, 2, 3, 4, 0, "", "", {}};
}

std::optional<Entry> open_folder()
{
    return changed(folder(), [](Entry &entry) { entry.mode = 0755; });
}

std::optional<Entry> link()
{
    return Entry{'l', 0777, 1, 2, 3, 4, 0, "there", "", {}};
}

std::optional<Entry> link_elsewhere()
{
    return changed(link(), [](Entry &entry) { entry.target = "elsewhere"; });
}

std::optional<Entry> pipe()
{
    return Entry{'o', 0600, 1, 2, 3, 4, 0, "", "", {}};
}

/* What has to be done for one path: "" nothing, else some of p(uts), m(akes a folder), r(emoves), s(ettles a mode). */
struct Transition {
    Maker       before, after;
    const char *work;
};

constexpr Transition transitions[] = {
    {file, file, ""},
    {file, nothing, "r"},
    {nothing, file, "p"},
    {file, file_of_another_sum, "p"},
    {file, file_of_another_size, "p"},
    {file, file_of_another_mode, "p"},
    {file, file_of_another_time, ""},
    {file, file_of_another_owner, ""},
    {folder, folder, ""},
    {folder, open_folder, "s"},
    {folder, nothing, "r"},
    {nothing, folder, "m"},
    {link, link, ""},
    {link, link_elsewhere, "p"},
    {link, nothing, "r"},
    {nothing, link, "p"},
    {file, folder, "mr"},
    {folder, file, "pr"},
    {link, folder, "mr"},
    {folder, link, "pr"},
    {file, link, "p"},
    {link, file, "p"},
    {pipe, nothing, ""},
    {pipe, file, ""},
    {pipe, pipe, ""},
};

std::string work_of(const std::vector<Change> &changes)
{
    std::string work;
    for (const Change &change : changes) {
        size_t length = work.size();
        work += change.puts_something() ? "p" : "";
        work += change.makes_folder() ? "m" : "";
        work += change.removes() ? "r" : "";
        work += work.size() == length ? "s" : "";
    }
    return work;
}

Entries state(const std::optional<Entry> &entry)
{
    return entry ? Entries{{"/a", *entry}} : Entries{};
}

} // namespace

TEST(Changes, OfOnePath)
{
    for (size_t row = 0; row < std::size(transitions); row++) {
        const Transition   &transition = transitions[row];
        std::vector<Change> changes = changes_between(state(transition.before()), state(transition.after()));
        EXPECT_EQ(work_of(changes), transition.work) << "row " << row;
    }
}

TEST(Changes, LeadFromOneStateToTheOtherAndBack)
{
    Entries             before = {{"/a", *folder()}, {"/a/x", *file()}, {"/b", *link()}, {"/same", *file()}};
    Entries             after = {{"/a", *file()}, {"/c", *folder()}, {"/c/x", *file()}, {"/same", *file()}};
    std::vector<Change> changes = changes_between(before, after);
    EXPECT_EQ(applied(before, changes), after);
    EXPECT_EQ(applied(after, command::reversed(changes)), before);
    std::vector<std::string> paths;
    for (const Change &change : changes)
        paths.push_back(change.path);
    EXPECT_EQ(paths, (std::vector<std::string>{"/a", "/a/x", "/b", "/c", "/c/x"}));
}
