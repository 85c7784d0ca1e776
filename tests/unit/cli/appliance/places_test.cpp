/* Where an upgrade may change something, and what lies there. Each test runs inside a made-up root folder. */
#include "appliance/places.h"

#include "support/appliance_root.h"
#include "system/failure.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>

using namespace command;
using support::expect_in_root;

namespace {

std::vector<std::string> paths_of(const Entries &entries)
{
    std::vector<std::string> paths;
    for (const auto &[path, entry] : entries)
        paths.push_back(path);
    return paths;
}

using Paths = std::vector<std::string>;

/* Every place that an upgrade has, and of each something that is none. */
const Paths inside = {
    "/data/config/x",
    "/data/etc/cert/a/b",
    "/data/etc/globalcert/x",
    "/data/etc/wvs/x",
    "/data/etc/ws_security/x",
    "/data/etc/xmlproxy/x",
    "/etc/cert/mesh_connector/x",
    "/var/log/aven.fc.lastgood",
    "/var/log/autolearn_adom/x",
    "/var/log/da_pdfdir/x",
    "/var/log/data_analysis/x",
    "/var/log/data_analysis2/x",
    "/var/log/geo_db/x",
    "/var/log/libav.so",
    "/var/log/sys_x.conf",
    "/var/log/virext",
    "/var/log/wvs/x",
};
const Paths beside = {
    "/data/config2/x",      "/data/etc/certs/x", "/data/other",       "/etc/cert/other/x",
    "/var/log/.sys_x.conf", "/var/log/libav",    "/var/log/messages", "/var/log/sys_x.conf.gz",
    "/var/other/vir",       "/data/lib/x.orig",
};

bool holds(const std::vector<Place> &places, const std::string &path)
{
    return !in_places({{path, Entry()}}, places).empty();
}

} // namespace

TEST(Places, OfAnUpgradeAreWhatItCanChange)
{
    support::ApplianceRoot box;
    for (const Paths &paths : {inside, beside})
        for (const std::string &path : paths)
            box.write(path, "x");
    expect_in_root(box, [] {
        std::vector<Place> places = places_of_upgrade();
        for (const std::string &path : inside)
            EXPECT_TRUE(holds(places, path)) << path;
        for (const std::string &path : beside)
            EXPECT_FALSE(holds(places, path)) << path;
        Entries found = look_at(places);
        for (const std::string &path : inside)
            EXPECT_TRUE(found.count(path)) << path;
        for (const std::string &path : beside)
            EXPECT_FALSE(found.count(path)) << path;
        EXPECT_TRUE(found.count("/data/etc/cert/a")); /* folders, too */
        EXPECT_EQ(found.at("/data/config/x").type, 'f');
        std::vector<Place> staging = places_of_staging();
        EXPECT_TRUE(holds(staging, "/data/lib/x.orig"));
        EXPECT_TRUE(holds(staging, "/data/etc/any/thing"));
        EXPECT_FALSE(holds(staging, "/data/lib/x"));
        EXPECT_FALSE(holds(staging, "/data/lib/.orig"));
    });
}

TEST(Places, MayBeEmpty)
{
    support::ApplianceRoot box;
    expect_in_root(box, [] {
        Entries found = look_at(places_of_upgrade());
        EXPECT_EQ(paths_of(found), Paths{"/data/config"});
    });
}

/* Whoever writes to a link writes to what it leads to. */
TEST(Places, GoOnWhereTheirLinksLead)
{
    support::ApplianceRoot box;
    box.write("/disk/certs/key", "x");
    box.write("/disk/one.conf", "x");
    box.write("/disk/other", "x");
    box.link("/data/etc/cert", "/disk/certs");           /* a place itself */
    box.link("/data/config/one", "../../disk/one.conf"); /* something in one */
    box.link("/data/config/two", "one");
    expect_in_root(box, [] {
        std::vector<Place> places = places_of_upgrade();
        EXPECT_EQ(std::count(places.begin(), places.end(), Place{"/disk", "certs", false, false}), 1);
        EXPECT_EQ(std::count(places.begin(), places.end(), Place{"/disk", "one.conf", false, true}), 1);
        EXPECT_TRUE(holds(places, "/disk/certs/key"));
        EXPECT_FALSE(holds(places, "/disk/other"));
        EXPECT_EQ(look_at(places).at("/data/etc/cert").type, 'l');
    });
}

/* Nothing that holds a place, or snapshots, and nothing in these. */
TEST(Places, GoNowhereWithoutAnEnd)
{
    support::ApplianceRoot box;
    box.write("/var/lib/migr/snapshots/x", "x");
    for (const auto &[link, target] : std::map<std::string, std::string>{{"root", "/"},
                                                                         {"own", "/var/lib/migr/snapshots"},
                                                                         {"above", "/var/lib"},
                                                                         {"log", "/var/log"},
                                                                         {"data", "/data"},
                                                                         {"itself", "/data/config"},
                                                                         {"circle", "circle"}})
        box.link("/data/config/" + link, target);
    expect_in_root(box, [] {
        std::vector<Place> places = places_of_upgrade();
        for (const char *path : {"/x", "/var/lib/x", "/var/lib/migr/snapshots/x", "/var/log/x", "/data/x"})
            EXPECT_FALSE(holds(places, path)) << path;
    });
}

TEST(Places, ThatCannotBeReadAreTold)
{
    support::ApplianceRoot box;
    box.link("/data/lib", "lib");
    expect_in_root(box, [] {
        for (const Place &place : {Place{"/data/lib", "*.orig", true}, Place{"/data/lib", "x"}})
            try {
                look_at({place});
                ADD_FAILURE() << place.name;
            } catch (const PathError &error) {
                EXPECT_EQ(error.doing, "read");
                EXPECT_EQ(error.path, place.pattern ? "/data/lib" : "/data/lib/x");
                EXPECT_EQ(error.error, ELOOP);
            }
        EXPECT_TRUE(look_at({{"/none", "*", true}, {"/none", "x"}}).empty());
    });
}

TEST(InPlaces, IsWhatLiesBelowThem)
{
    const std::vector<Place> places = {{"/", "top"}, {"/a", "b*", true}};

    for (const char *path : {"/top", "/top/x/y", "/a/b", "/a/b2/x"})
        EXPECT_TRUE(holds(places, path)) << path;
    for (const char *path : {"/", "/a", "/top2", "/a/c", "/ab", "/x/top", "/a/x/b"})
        EXPECT_FALSE(holds(places, path)) << path;
    EXPECT_EQ(paths_of(in_places({{"/top", Entry()}, {"/a/x", Entry()}, {"/a/b", Entry()}}, places)),
              (Paths{"/a/b", "/top"}));
}
