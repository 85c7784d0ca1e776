/* Finding an image's files and reading them; and what is said where they are not. */
#include "image/image_files.h"

#include "driver/run_context.h"
#include "image/built_image.h"
#include "image/packaged_image.h"
#include "support/appliance_root.h"
#include "support/places.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace fs = std::filesystem;
using namespace command;

namespace {

class ImageFiles : public testing::Test {
  protected:
    ImageFiles()
    {
        for (const char *name : {"update_config", "syntax_v510.txt", "system.conf.predefine", "signature.db"})
            box.write("/image/" + std::string(name), std::string("text of ") + name);
    }
    std::string folder() const
    {
        return box.path().string() + "/image";
    }
    std::string failure() const
    {
        try {
            open_image(folder());
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::unusable);
            return failure.what();
        }
        return "";
    }

    support::ApplianceRoot box;
};

} // namespace

TEST_F(ImageFiles, AreReadWhole)
{
    std::string long_text(150'000, 'x');
    long_text.back() = 'y';
    box.write("/image/update_config", long_text);
    Image image = open_image(folder());
    EXPECT_EQ(image.folder, folder());
    EXPECT_EQ(image.files.size(), 4u);
    for (int twice = 0; twice < 2; twice++) {
        EXPECT_EQ(image_text(image, "update_config"), long_text);
        EXPECT_EQ(image_text(image, "syntax_v510.txt"), "text of syntax_v510.txt");
        EXPECT_EQ(image_text(image, "system.conf.predefine"), "text of system.conf.predefine");
        EXPECT_EQ(image_text(image, "signature.db"), "text of signature.db");
    }
    EXPECT_THROW(image_text(image, "signature"), std::logic_error);
}

TEST_F(ImageFiles, HaveTheirPlacesInAnAppliance)
{
    EXPECT_STREQ(place_of_image_file("update_config"), "/data/etc/update_config");
    EXPECT_STREQ(place_of_image_file("syntax_v510.txt"), "/etc/syntax_v510.txt");
    EXPECT_STREQ(place_of_image_file("system.conf.predefine"), "/data/etc/system.conf.predefine");
    EXPECT_STREQ(place_of_image_file("signature.db"), "/data/etc/signature.db");
    try {
        place_of_image_file("other");
        FAIL();
    } catch (const std::logic_error &error) {
        EXPECT_STREQ(error.what(), "other is no file of an image");
    }
}

TEST_F(ImageFiles, ThatAreMissingAreNamed)
{
    fs::remove(folder() + "/update_config");
    fs::remove(folder() + "/signature.db");
    EXPECT_EQ(mkfifo((folder() + "/signature.db").c_str(), 0600), 0); /* which nobody waits for */
    EXPECT_EQ(failure(), "The image's files are not all there: " + folder() +
                             "/update_config (No such file or directory), " + folder() +
                             "/signature.db (Not a file). Give --image the folder that holds them.");
}

TEST_F(ImageFiles, ThatCannotBeReadAreTold)
{
    Image image = open_image(folder());
    support::fail_call("pread", EINTR);
    EXPECT_EQ(image_text(image, "update_config"), "text of update_config");
    support::fail_call("pread", EIO);
    try {
        image_text(image, "update_config");
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.doing, "read");
        EXPECT_EQ(error.path, "update_config");
        EXPECT_EQ(error.error, EIO);
    }
}

TEST_F(ImageFiles, AreLookedThroughForFaults)
{
    std::string built = support::build_path("/image");
    EXPECT_TRUE(faults_of(open_image(built), MIGR_RELEASE(3, 30)).empty());
    EXPECT_FALSE(faults_of(open_image(folder()), MIGR_RELEASE(3, 30)).empty());
}

/* Runs do not look through the image that was built with the command. */
TEST_F(ImageFiles, AreSoundWhereTheyWereBuiltWithTheCommand)
{
    const auto &[update_file, syntax_file, predefined, database] = built_image;
    EXPECT_TRUE(faults_of_image({update_file, syntax_file, predefined, database}, 0).empty());
    Image built = open_image(support::build_path("/image"));
    for (size_t at = 0; at < std::size(image_file_table); at++)
        EXPECT_EQ(image_text(built, image_file_table[at].name), built_image[at]) << image_file_table[at].name;
}

TEST_F(ImageFiles, OfTheBuiltImageAreLookedThroughOnceOneByteIsAnother)
{
    Image built = open_image(support::build_path("/image"));
    for (const ImageFile &file : image_file_table)
        box.write("/image/" + std::string(file.name), image_text(built, file.name));
    EXPECT_TRUE(faults_of(open_image(folder()), 0).empty());
    box.write("/image/update_config", image_text(built, "update_config") + "x");
    EXPECT_FALSE(faults_of(open_image(folder()), 0).empty());
}

TEST(PackagedImage, LiesBesideTheCommandOrIsInstalled)
{
    support::ApplianceRoot box;
    fs::path               usr = box.path() / "usr", command_path = usr / "bin/migr";
    std::string            installed = usr / "share/migr/image", built = usr / "bin/image";
    box.folder("/usr/bin");
    try {
        packaged_image(command_path);
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.what(), "No image's files came with this command: neither " + installed + " nor " + built +
                                      " is there. Name their folder with --image.");
        EXPECT_EQ(failure.status, Status::unusable);
    }
    box.write("/usr/share/migr/image", "no folder");
    box.folder("/usr/bin/image");
    EXPECT_EQ(packaged_image(command_path), built);
    fs::remove(installed);
    box.folder("/usr/share/migr/image");
    EXPECT_EQ(packaged_image(command_path), installed);
    EXPECT_EQ(image_folder("named"), "named");
}

TEST(PackagedImage, IsNowhereWhereTheCommandCannotFindItself)
{
    support::Outcome run = support::run_process(
        [] {
            try {
                image_folder("");
            } catch (const Failure &failure) {
                puts(failure.what());
            }
            return 0;
        },
        [] {
            support::refuse_calls({SYS_readlink, SYS_readlinkat}, EACCES);
        });
    EXPECT_EQ(run.out, "migr cannot tell where it is installed (/proc/self/exe: Permission denied). Name the folder of "
                       "the image's files with --image.\n");
}

/* Nobody can tell whether there is one: it may be there. */
TEST(PackagedImage, ThatCannotBeLookedForIsTold)
{
    support::ApplianceRoot box;
    box.folder("/usr/bin/image");
    box.link("/usr/share", "share");
    try {
        packaged_image(box.path() / "usr/bin/migr");
        FAIL();
    } catch (const PathError &error) {
        EXPECT_EQ(error.doing, "look for");
        EXPECT_EQ(error.path, (box.path() / "usr/share/migr/image").string());
        EXPECT_EQ(error.error, ELOOP);
    }
}
