/* Damaged images, made from the project's own, each with what must be found in it. */
#include "image/check_image.h"
#include "support/files.h"
#include "support/image_line.h"
#include "support/places.h"
#include "support/step_sections.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>
#include <random>

using namespace command;
using support::source_path;

namespace {

constexpr int32_t release_3_30 = 0x3001e;
constexpr int32_t release_5_0 = 0x50000;
constexpr int32_t release_5_10 = 0x5000a;

/* The bytes of the image's database after `change`. */
std::string database(const std::string &change = "")
{
    sqlite3 *connection = nullptr;
    sqlite3_open(":memory:", &connection);
    std::string sql = support::file_text(source_path("/image/signature.sql")) + change;
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_int64  size = 0;
    unsigned char *bytes = sqlite3_serialize(connection, "main", &size, 0);
    std::string    result(reinterpret_cast<char *>(bytes), static_cast<size_t>(size));
    sqlite3_free(bytes);
    sqlite3_close(connection);
    return result;
}

struct Image {
    std::string update_file = support::file_text(source_path("/image/update_config"));
    std::string syntax_file = support::file_text(source_path("/image/syntax_v510.txt"));
    std::string predefined = support::file_text(source_path("/image/system.conf.predefine"));
    std::string database = ::database();

    std::vector<ImageFault> faults(int32_t lowest_release) const
    {
        return faults_of_image({update_file, syntax_file, predefined, database}, lowest_release);
    }
};

void replace(std::string &text, const std::string &what, const std::string &with)
{
    size_t at = text.find(what);
    ASSERT_NE(at, text.npos) << what;
    text.replace(at, what.size(), with);
}

/* The number of the line that holds `what`. */
std::string line_of(const std::string &text, const std::string &what)
{
    size_t at = text.find(what);
    EXPECT_NE(at, text.npos) << what;
    return std::to_string(std::count(text.begin(), text.begin() + static_cast<long>(at), '\n') + 1);
}

const Image sound;

struct Case {
    const char                  *name;
    int32_t                      lowest_release;
    std::function<void(Image &)> damage;
    std::vector<std::string>     faults; /* how each begins, as it is shown */
};

std::ostream &operator<<(std::ostream &out, const Case &damaged)
{
    return out << damaged.name;
}

std::string too_many_paths()
{
    std::string text = "domain table \"waf signature\"\n";
    for (int path = 0; path < 1025; path++)
        text += (path % 2 ? "GLOBAL complex " : "both table ") + std::to_string(path) + "\n";
    return text;
}

/* What is found where the section of each step above that release is missing, and then what else there is. */
std::vector<std::string> missing_above(int32_t release, std::vector<std::string> further = {})
{
    std::vector<std::string> faults;
    for (int32_t step : support::step_releases())
        if (step > release)
            faults.push_back("update_config:1: section " + support::section_name(step) + " is missing here");
    faults.insert(faults.end(), further.begin(), further.end());
    return faults;
}

const Case cases[] = {
    {"sound", release_3_30, [](Image &) {}, {}},

    {"empty_update_file", 0x50024, [](Image &image) { image.update_file.clear(); }, missing_above(0x50024)},
    {"section_of_a_step_missing",
     release_5_0,
     [](Image &image) { replace(image.update_file, "[5.20]", "# 5.20"); },
     {"update_config:" + line_of(sound.update_file, "[5.30]") + ": section 5.20 is missing here"}},
    {"section_of_a_step_behind_missing",
     0x50014,
     [](Image &image) { replace(image.update_file, "[5.20]", "# 5.20"); },
     {}},
    {"faulty_rule",
     0x60000,
     [](Image &image) { image.update_file += "[DELETE]\nwaf signature\n"; },
     {"update_config:" + std::to_string(1 + std::count(sound.update_file.begin(), sound.update_file.end(), '\n') + 1) +
      ": "}},
    {"image_of_a_later_release",
     release_3_30,
     [](Image &image) {
         image.update_file += "[99.30]\n";
         image.database.clear();
     },
     {"update_config:" + std::to_string(1 + std::count(sound.update_file.begin(), sound.update_file.end(), '\n')) +
      ": this image is for 99.30, this migr knows up to " MIGR_IMAGE_RELEASE "."}},

    {"empty_syntax_file",
     release_5_10,
     [](Image &image) { image.syntax_file.clear(); },
     {"syntax_v510.txt: names no block"}},
    {"scope_unknown",
     release_5_10,
     [](Image &image) { image.syntax_file = "GLOBAL TABLE \"a\"\nGLOBE TABLE \"b\"\n"; },
     {"syntax_v510.txt:2: is dropped, as it is no scope, type and path."}},
    {"type_missing",
     release_5_10,
     [](Image &image) { image.syntax_file = "# note\n  # note\n\nglobal \"a\"\nGLOBAL TABLE a note\n"; },
     {"syntax_v510.txt:4: is dropped, as it is no scope, type and path."}},
    {"path_missing",
     release_5_10,
     [](Image &image) { image.syntax_file += "DOMAIN COMPLEX\n"; },
     {"syntax_v510.txt:238: is dropped, as it is no scope, type and path."}},
    {"path_cut",
     release_5_10,
     [](Image &image) {
         image.syntax_file += "DOMAIN COMPLEX \"waf sig\nDOMAIN TABLE " + std::string(128, 'a') + "\n";
     },
     {"syntax_v510.txt:238: has a path that is cut", "syntax_v510.txt:239: has a path that is cut"}},
    {"nul_in_syntax_file",
     release_5_10,
     [](Image &image) { image.syntax_file += std::string("DOMAIN TABLE a\0\n", 16) + std::string(50000, ' ') + "\n"; },
     {"syntax_v510.txt:238: holds a NUL", "syntax_v510.txt:239: holds a NUL"}},
    {"too_many_paths",
     release_5_10,
     [](Image &image) { image.syntax_file = too_many_paths(); },
     {"syntax_v510.txt:1026: is dropped, as a scope has at most 1024 paths."}},
    {"predefined_block_not_named",
     release_5_0,
     [](Image &image) { replace(image.syntax_file, "DOMAIN   TABLE    \"waf web-robot\"", "#"); },
     {"syntax_v510.txt: does not name the block \"waf,web-robot\" of system.conf.predefine, line " +
      line_of(sound.predefined, "config waf web-robot")}},
    {"predefined_block_not_needed",
     release_5_10,
     [](Image &image) { replace(image.syntax_file, "DOMAIN   TABLE    \"waf web-robot\"", "#"); },
     {}},

    {"predefined_cut",
     release_5_10,
     [](Image &image) { image.predefined.resize(image.predefined.rfind("end\n")); },
     {"system.conf.predefine:313: is the last line, and blocks are still open here"}},
    {"predefined_without_a_value",
     release_5_10,
     [](Image &image) { image.predefined += "config a\nset x\nend\n"; },
     {"system.conf.predefine:316: is a `set` without a value"}},

    {"empty_database", release_5_10, [](Image &image) { image.database.clear(); }, {"signature.db: is no database."}},
    {"text_for_a_database",
     release_5_10,
     [](Image &image) { image.database = sound.syntax_file; },
     {"signature.db: is no database."}},
    {"database_cut",
     release_5_10,
     [](Image &image) { image.database.resize(image.database.size() / 2 / 4096 * 4096); },
     {"signature.db: "}},
    {"database_overwritten",
     release_5_10,
     [](Image &image) { image.database.replace(image.database.size() - 4096, 4096, std::string(4096, '\x5a')); },
     {"signature.db: "}},
    {"no_class_map",
     release_5_10,
     [](Image &image) { image.database = database("drop table class_map;"); },
     {"signature.db: has no table class_map."}},
    {"no_signature_rule",
     release_5_10,
     [](Image &image) { image.database = database("drop table signature_rule;"); },
     {"signature.db: has no table signature_rule."}},
    {"no_white_list",
     release_5_10,
     [](Image &image) { image.database = database("drop table global_white_list;"); },
     {"signature.db: has no table global_white_list."}},
    {"no_pages",
     release_5_10,
     [](Image &image) { image.database = database("drop table replacement_page;"); },
     {"signature.db: has no table replacement_page."}},
    {"no_limits",
     release_5_10,
     [](Image &image) { image.database = database("drop table platform_limit;"); },
     {"signature.db: has no table platform_limit."}},
    {"empty_class_map",
     release_5_10,
     [](Image &image) { image.database = database("delete from class_map;"); },
     {"signature.db: has nothing in its table class_map."}},
    {"empty_signature_rule",
     release_5_10,
     [](Image &image) { image.database = database("delete from signature_rule;"); },
     {"signature.db: has nothing in its table signature_rule."}},
    {"empty_tables_that_may_be",
     release_5_10,
     [](Image &image) {
         image.database =
             database("delete from global_white_list; delete from replacement_page; delete from platform_limit;");
     },
     {}},
    {"column_missing",
     release_5_10,
     [](Image &image) { image.database = database("alter table class_map rename column discard to gone;"); },
     {"signature.db: has no such table class_map as is needed: no such column: discard."}},
    {"view_for_a_table",
     release_5_10,
     [](Image &image) {
         image.database = database("alter table class_map rename to other; "
                                   "create view class_map as select * from other;");
     },
     {"signature.db: has no table class_map."}},

    {"all_at_once", release_5_10,
     [](Image &image) {
         image = {"", "", "set", ""};
     },
     missing_above(release_5_10,
                   {"syntax_v510.txt: names no block", "system.conf.predefine:1: ", "signature.db: is no database."})},
};

class DamagedImage : public testing::TestWithParam<Case> {};

TEST_P(DamagedImage, IsFoundOut)
{
    Image image = sound;
    GetParam().damage(image);
    std::vector<std::string> found;
    for (const ImageFault &fault : image.faults(GetParam().lowest_release))
        found.push_back(shown(fault));
    const std::vector<std::string> &expected = GetParam().faults;
    ASSERT_EQ(found.size(), expected.size()) << testing::PrintToString(found);
    for (size_t at = 0; at < found.size(); at++)
        EXPECT_TRUE(found[at].starts_with(expected[at])) << found[at];
}

INSTANTIATE_TEST_SUITE_P(All, DamagedImage, testing::ValuesIn(cases),
                         [](const testing::TestParamInfo<Case> &info) { return info.param.name; });

/* All that is said of a fault, once for each. */
TEST(ImageFaults, SayWhatIsWrong)
{
    auto told = [](int32_t lowest_release, const std::function<void(Image &)> &damage) {
        Image image = sound;
        damage(image);
        std::string all;
        for (const ImageFault &fault : image.faults(lowest_release))
            all += shown(fault) + "\n";
        return all;
    };
    auto syntax = [&](const std::string &text) {
        return told(release_5_10, [&](Image &image) { image.syntax_file = "GLOBAL TABLE a\n" + text; });
    };
    EXPECT_EQ(
        told(release_3_30, [](Image &image) { image.update_file += "[99.30]\n"; }),
        "update_config:" + std::to_string(1 + std::count(sound.update_file.begin(), sound.update_file.end(), '\n')) +
            ": this image is for 99.30, this migr knows up to " MIGR_IMAGE_RELEASE
            ". Take the migr that comes with the image.\n");
    EXPECT_EQ(told(release_5_10, [](Image &image) { image.syntax_file = "# none\n"; }),
              "syntax_v510.txt: names no block, so nothing would survive the split of an old file.\n");
    EXPECT_EQ(syntax("GLOBAL\n"), "syntax_v510.txt:2: is dropped, as it is no scope, type and path. Write it like: "
                                  "DOMAIN TABLE \"waf signature\".\n");
    EXPECT_EQ(syntax("BOTH COMPLEX \"a\n"),
              "syntax_v510.txt:2: has a path that is cut or whose quote is never closed.\n");
    EXPECT_EQ(syntax(std::string("a\0\n", 3)),
              "syntax_v510.txt:2: holds a NUL or is too long, and is not read whole.\n");
    EXPECT_EQ(told(release_5_10, [](Image &image) { image.predefined = ""; }),
              "system.conf.predefine: is empty: no appliance would get what its new releases bring.\n");
    EXPECT_EQ(told(release_5_0,
                   [](Image &image) {
                       image.predefined = "\nconfig a b\nend\nconfig c\nend\n";
                       image.syntax_file = "both table \"c\"\n";
                   }),
              "syntax_v510.txt: does not name the block \"a,b\" of system.conf.predefine, line 2, which would not "
              "survive the split of an old file.\n");
}

/* As many as there may be, and one more. */
TEST(ImageFaults, CountPathsByTheirScope)
{
    auto faults = [](size_t of_both, size_t of_domains) {
        Image image = sound;
        image.syntax_file.clear();
        for (size_t at = 0; at < of_both; at++)
            image.syntax_file += "BOTH TABLE b" + std::to_string(at) + "\n";
        for (size_t at = 0; at < of_domains; at++)
            image.syntax_file += "DOMAIN TABLE d" + std::to_string(at) + "\n";
        return image.faults(release_5_10).size();
    };
    EXPECT_EQ(faults(1024, 1024), 0u);
    EXPECT_EQ(faults(1025, 0), 1u);
    EXPECT_EQ(faults(0, 1025), 1u);
}

/* The tables' pages are good, and one that no table begins with is not. */
TEST(ImageDatabase, IsLookedAtWholeUnlessTablesAreEnough)
{
    std::string damaged = sound.database;
    damaged.replace(damaged.size() - 4096, 4096, std::string(4096, '\x5a'));
    EXPECT_NE(why_no_database(damaged, DatabaseCheck::pages), "");
    EXPECT_EQ(why_no_database(damaged, DatabaseCheck::tables), "");
    EXPECT_EQ(why_no_database(database("drop table class_map;"), DatabaseCheck::tables), "has no table class_map.");
}

/* Whatever the bytes are, the answer is a sentence. */
TEST(ImageDatabase, OfAnyBytesIsSoundOrHasAFault)
{
    std::mt19937 random(11);
    size_t       faulty = 0;
    for (int round = 0; round < 100; round++) {
        Image image = sound;
        for (int changes = 0; changes < 40; changes++)
            image.database[random() % image.database.size()] = static_cast<char>(random());
        faulty += image.faults(release_5_10).size();
    }
    EXPECT_GT(faulty, 50u);
}

} // namespace
