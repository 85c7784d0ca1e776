/* Sums of texts whose sums are known, however they come. */
#include "system/digest.h"

#include "support/appliance_root.h"
#include "system/failure.h"
#include "system/files.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <new>

using namespace command;

namespace {

constexpr char sum_of_abc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

class Digests : public testing::Test {
  protected:
    std::string path(const std::string &name) const
    {
        return box.path().string() + "/" + name;
    }

    support::ApplianceRoot box;
};

} // namespace

TEST(Digest, IsThatOfTheStandard)
{
    EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256("abc"), sum_of_abc);
    Sha256 sum;
    for (const char *part : {"a", "", "bc"})
        sum.add(part);
    EXPECT_EQ(sum.hex(), sum_of_abc);
}

TEST(Digest, IsNeverHalfMade)
{
    for (const char *call : {"EVP_MD_CTX_new", "EVP_DigestUpdate"}) {
        support::fail_call(call, ENOMEM);
        EXPECT_THROW(sha256("abc"), std::bad_alloc) << call;
        EXPECT_EQ(sha256("abc"), sum_of_abc);
    }
}

TEST_F(Digests, OfAFileAreThoseOfItsBytes)
{
    std::string bytes(150'000, 'x');
    box.write("/long", bytes);
    box.write("/abc", "abc");
    box.link("/link", "abc");
    EXPECT_EQ(sha256_of_path(path("abc")), sum_of_abc);
    EXPECT_EQ(sha256_of_path(path("long")), sha256(bytes));
    EXPECT_THROW(sha256_of_path(path("link")), PathError);
}

TEST_F(Digests, ACopyIsWholeAndSummed)
{
    std::string bytes(150'000, 'x');
    bytes.back() = 'y';
    box.write("/from", bytes);
    Fd from = open_file(path("from"), Links::refuse);
    Fd to(open(path("to").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_EQ(copy_and_sum(from.get(), "the old place", to.get(), "the new place"), sha256(bytes));
    EXPECT_EQ(box.read("/to"), bytes);
}

TEST_F(Digests, AFailedCopyNamesTheSideThatFailed)
{
    box.write("/from", "abc");
    Fd   from = open_file(path("from"), Links::refuse);
    auto failing = [](const auto &copy) {
        try {
            copy();
        } catch (const PathError &error) {
            return error.doing + " " + error.path;
        }
        return std::string("no failure");
    };
    EXPECT_EQ(failing([&] { copy_and_sum(from.get(), "old", from.get(), "new"); }), "write new");
    EXPECT_EQ(failing([&] { copy_and_sum(-1, "old", from.get(), "new"); }), "read old");
    EXPECT_EQ(failing([&] { sha256_of_file(-1, "old"); }), "read old");
}
