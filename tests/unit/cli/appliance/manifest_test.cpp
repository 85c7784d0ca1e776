/* Manifests as they lie on disks, where later versions of migr find them, and what is said of damaged ones. */
#include "appliance/manifest.h"

#include "support/json_value.h"
#include "system/digest.h"

#include <gtest/gtest.h>

using namespace command;
using support::JsonValue;

namespace {

/* A change of each kind, with all that an entry can have. */
Manifest whole()
{
    Entry file = {'f', 04750, 1, 2, -5, 7, 9, "", "abc", {{"user.a b", "%"}}};
    Entry link = {'l', 0777, 3, 4, 5, 6, 0, "/to \"there\"", "", {}};
    Entry folder = {'d', 0755, 0, 0, 1, 0, 0, "", "", {}};

    Manifest manifest;
    manifest.name = "now";
    manifest.previous = "then";
    manifest.command = "rollback";
    manifest.back_to = "long ago";
    manifest.from = "5.50";
    manifest.to = "6.21";
    manifest.places = {{"/a b", "*%", true, false}, {"/\\", "x", false, true}};
    manifest.changes = {{"/a\n", file, std::nullopt}, {"/b", std::nullopt, link}};
    manifest.state = {{"/b", link}, {"/c\x7f", folder}};
    return manifest;
}

JsonValue body_of(const Manifest &manifest)
{
    JsonValue body = JsonValue::parse(manifest_text(manifest));
    body.erase("sum");
    return body;
}

/* With a sum that fits. */
std::string signed_text(JsonValue body)
{
    body.set("sum", sha256(body.dump()));
    return body.dump();
}

std::string fault_of_text(const std::string &text)
{
    try {
        parse_manifest(text);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "";
}

/* Of a manifest of which one thing is another, by its place: "/changes/0/path". */
std::string fault_with(const char *place, const JsonValue &value)
{
    JsonValue body = body_of(whole());
    body.at_path(place) = value;
    return fault_of_text(signed_text(body));
}

std::string fault_without(const char *place, const char *key)
{
    JsonValue body = body_of(whole());
    body.at_path(place).erase(key);
    return fault_of_text(signed_text(body));
}

} // namespace

TEST(ManifestText, StaysAsItLiesOnDisks)
{
    JsonValue file = {{"type", "f"}, {"mode", "4750"},     {"uid", 1},        {"gid", 2},
                      {"size", 9},   {"changed", {-5, 7}}, {"sha256", "abc"}, {"attributes", {{"user.a%20b", "%25"}}}};
    JsonValue link = {{"type", "l"}, {"mode", "0777"},    {"uid", 3},
                      {"gid", 4},    {"changed", {5, 6}}, {"target", "/to%20%22there%22"}};
    JsonValue folder = {{"type", "d"}, {"mode", "0755"}, {"uid", 0}, {"gid", 0}, {"changed", {1, 0}}};
    JsonValue body = {
        {"format", 2},
        {"name", "now"},
        {"previous", "then"},
        {"command", "rollback"},
        {"back_to", "long ago"},
        {"from", "5.50"},
        {"to", "6.21"},
        {"places",
         {{{"folder", "/a%20b"}, {"name", "*%25"}, {"pattern", true}, {"keeps_additions", false}},
          {{"folder", "/%5C"}, {"name", "x"}, {"pattern", false}, {"keeps_additions", true}}}},
        {"changes",
         {{{"path", "/a%0A"}, {"before", file}, {"after", nullptr}},
          {{"path", "/b"}, {"before", nullptr}, {"after", link}}}},
        {"state", {{"/b", link}, {"/c%7F", folder}}},
    };
    JsonValue told = JsonValue::parse(manifest_text(whole()));
    EXPECT_EQ(told["sum"], sha256(body.dump()));
    told.erase("sum");
    EXPECT_EQ(told, body);
    EXPECT_TRUE(manifest_text(whole()).starts_with("{\n \"back_to\": \"long ago\",\n"));
    EXPECT_TRUE(manifest_text(whole()).ends_with("\n}\n"));
}

TEST(ManifestText, ComesBack)
{
    Manifest again = parse_manifest(manifest_text(whole()));
    EXPECT_EQ(manifest_text(again), manifest_text(whole()));
    EXPECT_EQ(again.back_to, "long ago");
    EXPECT_EQ(again.state.at("/c\x7f"), whole().state.at("/c\x7f"));
    EXPECT_EQ(manifest_text(parse_manifest(manifest_text(Manifest()))), manifest_text(Manifest()));
}

TEST(ManifestText, ThatIsNoneIsDamaged)
{
    for (const char *text : {"", "{", "[]", "\"text\"", "{}", "{\"sum\": 1}", "{\"name\": \"now\"}"})
        EXPECT_EQ(fault_of_text(text), "it is damaged") << text;
}

TEST(ManifestText, FitsItsSum)
{
    JsonValue body = JsonValue::parse(manifest_text(whole()));
    body["name"] = "another";
    EXPECT_EQ(fault_of_text(body.dump()), "it is damaged: its checksum does not fit");
    std::string no_text = "{\"name\": \"\xff\", \"sum\": \"x\"}"; /* no bytes that JSON may have */
    EXPECT_TRUE(fault_of_text(no_text).starts_with("it is damaged"));
}

TEST(ManifestText, OfAnotherVersionIsNotTaken)
{
    for (int format : {0, 1, 3})
        EXPECT_EQ(fault_with("/format", format), "another version of migr wrote it");
    EXPECT_EQ(fault_without("", "format"), "another version of migr wrote it");
}

TEST(ManifestText, HasAllThatBelongsThere)
{
    for (const char *key : {"name", "previous", "command", "back_to", "from", "to", "places", "changes", "state"})
        EXPECT_EQ(fault_without("", key), "it is incomplete") << key;
    for (const char *key : {"path", "before", "after"})
        EXPECT_EQ(fault_without("/changes/0", key), "it is incomplete") << key;
    for (const char *key : {"folder", "name", "pattern", "keeps_additions"})
        EXPECT_EQ(fault_without("/places/0", key), "it is incomplete") << key;
    for (const char *key : {"type", "mode", "uid", "gid", "changed", "size", "sha256"})
        EXPECT_EQ(fault_without("/changes/0/before", key), "it is incomplete") << key;
    EXPECT_EQ(fault_without("/changes/1/after", "target"), "it is incomplete");
    EXPECT_EQ(fault_with("/name", 1), "it is incomplete");
    EXPECT_EQ(fault_with("/changes/0/before/changed", {1}), "it is incomplete");
}

TEST(ManifestText, HasNumbersWhereTheyBelong)
{
    for (const char *mode : {"", "mode", "99999999999999999999999999"})
        EXPECT_EQ(fault_with("/changes/0/before/mode", mode), "it is damaged") << mode;
    EXPECT_EQ(fault_with("/changes/0/before/type", ""), "it is damaged");
    for (const char *path : {"/%", "/%zz"})
        EXPECT_EQ(fault_with("/changes/0/path", path), "it is damaged") << path;
    for (const char *path : {"/%1", "/%1z"})
        EXPECT_EQ(fault_with("/changes/0/path", path), "a path in it is not encoded as it should be") << path;
}

TEST(ManifestText, HasPathsOfItsPlacesAlone)
{
    for (const char *path : {"/a/../b", "a", "", "/..", "/a/.."})
        EXPECT_EQ(fault_with("/changes/0/path", path), "a path in it leads elsewhere") << path;
    for (const char *path : {"/a/..b", "/a../b", "/a%2F.b", "/"})
        EXPECT_EQ(fault_with("/changes/0/path", path), "") << path;
}

TEST(ManifestText, OfPlacesAndEntriesGoesAlone)
{
    Manifest manifest = whole();
    EXPECT_EQ(parse_places(places_text(manifest.places)), manifest.places);
    EXPECT_EQ(parse_entries(entries_text(manifest.state)), manifest.state);
    EXPECT_TRUE(parse_places(places_text({})).empty());
    EXPECT_TRUE(parse_entries(entries_text({})).empty());
}
