/* Small houses with one thing wrong in each, and what is said of it. */
#include "tools/floors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Texts = std::map<std::string, std::string>;

/* A house of three floors, with a ground floor of which a part is made by the build. */
const Texts in_order = {
    {"docs/architecture.md", "# House\n\n| `cli/` | another table |\n\n## Floors\n\n"
                             "| Rooms | What |\n|---|---|\n"
                             "| `tests/...` | everything |\n"
                             "| `cli/` | users, as `src/top/` |\n"
                             "| `src/top/` | |\n"
                             "| `src/left/` `src/right/` | |\n"
                             "| `src/top/hooks` `src/left/made` | |\n\n"
                             "## Memory\n\n| `lost/` | |\n"},
    {"cmake/public_headers.cmake", "set(MIGR_PUBLIC_HEADERS\n  # for all\n  top/top.h top/hooks.h)\n"},
    {"tests/unit/top/top_test.cpp", "#include \"top/top.h\"\n#include \"left/inner.h\"\n#include \"help.h\"\n"},
    {"tests/unit/top/help.h", ""},
    {"cli/main.cpp", "#include \"top/top.h\"\n#include <right/right.h>\n#include <vector>\n"},
    {"src/top/top.h", "#include \"top/hooks.h\"\n"},
    {"src/top/top.cpp", "#include \"top/top.h\"\n#include \"left/left.h\"\n# include \"right/right.h\"\n"},
    {"src/top/hooks.h", ""},
    {"src/top/hooks.cpp", "#include \"top/hooks.h\"\n"},
    {"src/left/left.h", "#include \"top/hooks.h\"\n#include \"left/made.h\"\n"},
    {"src/left/left.cpp", "#include \"left/left.h\"\n#include \"left/inner.h\"\n"},
    {"src/left/inner.h", ""},
    {"src/right/right.h", ""},
    {"build-here/lost.cpp", "#include \"nowhere.h\"\n"},
    {".git/lost.cpp", "#include \"nowhere.h\"\n"},
};

/* What is said of the house when these files are as given. */
std::vector<std::string> faults_with(const Texts &changed)
{
    char     folder[] = "/tmp/migr-floors-XXXXXX";
    fs::path root = mkdtemp(folder);
    Texts    texts = changed;
    texts.insert(in_order.begin(), in_order.end());
    for (const auto &[name, text] : texts) {
        fs::create_directories((root / name).parent_path());
        std::ofstream(root / name) << text;
    }
    std::vector<std::string> faults = tools::faults_of_includes(root);
    fs::remove_all(root);
    return faults;
}

using Faults = std::vector<std::string>;

TEST(Floors, NothingIsSaidOfAHouseInOrder)
{
    EXPECT_EQ(faults_with({}), Faults{});
}

TEST(Floors, AHigherFloor)
{
    EXPECT_EQ(faults_with({{"src/left/inner.h", "#include \"top/top.h\"\n"}}),
              (Faults{"src/left/inner.h includes top/top.h, which stands on a higher floor",
                      "a circle: src/top/top includes src/left/left includes src/left/inner includes src/top/top"}));
    EXPECT_EQ(faults_with({{"src/top/hooks.cpp", "#include \"right/right.h\"\n"}}),
              Faults{"src/top/hooks.cpp includes right/right.h, which stands on a higher floor"});
    EXPECT_EQ(faults_with({{"src/right/right.h", "#include \"../top/more.h\"\n"}, {"src/top/more.h", ""}}),
              Faults{"src/right/right.h includes ../top/more.h, which stands on a higher floor"});
}

TEST(Floors, AnotherRoomOnTheSameFloor)
{
    EXPECT_EQ(faults_with({{"src/right/right.h", "#include \"left/inner.h\"\n"}}),
              Faults{"src/right/right.h includes left/inner.h, which is in another room on the same floor"});
}

TEST(Floors, AHeaderThatIsNotForUsers)
{
    EXPECT_EQ(
        faults_with({{"cli/main.cpp", "#include \"left/left.h\"\n"}}),
        Faults{"cli/main.cpp includes left/left.h, which is not among the headers of cmake/public_headers.cmake"});
}

TEST(Floors, ACircle)
{
    EXPECT_EQ(faults_with({{"src/left/inner.h", "#include \"left/deep.h\"\n"},
                           {"src/left/deep.h", ""},
                           {"src/left/deep.cpp", "#include \"left/deep.h\"\n#include \"inner.h\"\n"}}),
              Faults{"a circle: src/left/inner includes src/left/deep includes src/left/inner"});
}

TEST(Floors, ARoomThatIsNotInTheTable)
{
    EXPECT_EQ(faults_with({{"src/new/file.cpp", ""}}),
              Faults{"src/new/file.cpp is in no room of docs/architecture.md"});
    EXPECT_EQ(faults_with({{"cli/new/file.cpp", ""}}),
              Faults{"cli/new/file.cpp is in no room of docs/architecture.md"});
    EXPECT_EQ(faults_with({{"lost/file.c", ""}}), Faults{"lost/file.c is in no room of docs/architecture.md"});
}

TEST(Floors, ARoomThatHoldsNothing)
{
    std::string table = in_order.at("docs/architecture.md");
    table.insert(table.find("| `src/top/` | |\n"), "| `src/gone/` `src/top/gone` `gone/...` | |\n");
    EXPECT_EQ(faults_with({{"docs/architecture.md", table}}),
              (Faults{"src/gone/ is a room of docs/architecture.md and holds nothing",
                      "src/top/gone is a room of docs/architecture.md and holds nothing",
                      "gone/... is a room of docs/architecture.md and holds nothing"}));
}

TEST(Floors, AnIncludeOfNothing)
{
    EXPECT_EQ(faults_with({{"src/right/right.h", "#include \"right/gone.h\"\n"}}),
              Faults{"src/right/right.h includes right/gone.h, which is nowhere"});
}

TEST(Floors, NoTable)
{
    std::vector<std::string> faults = faults_with({{"docs/architecture.md", "# House\n"}});
    EXPECT_FALSE(faults.empty());
}

} // namespace
