/* What is told when everything that counts is done. */
#include "unit/cli/command_support.h"

#include "output/console.h"
#include "support/places.h"
#include "system/failure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <stdexcept>
#include <string>

using namespace support;
using command::do_or_complain;

TEST(DoOrComplain, TellsWhatWasThrownAndGoesOn)
{
    Outcome run = run_process([] {
        do_or_complain("Not told", [] { throw command::PathError{"read", "/x", EIO}; });
        do_or_complain("Not told", [] { throw std::runtime_error("it is odd"); });
        do_or_complain("Not told", [] { throw std::bad_alloc(); });
        return 0;
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err,
              "migr: Not told: /x: cannot read it: Input/output error. Look after the disk before anything else.\n"
              "migr: Not told: it is odd\n"
              "migr: Not told: there is not enough memory\n");
}

TEST(DoOrComplain, TellsOfMemoryWithoutAny)
{
    if (is_sanitized())
        GTEST_SKIP() << "a sanitizer's allocator does not come back";
    const std::string long_words(5000, 'x'); /* so many that what is left in small pieces will not do */
    for (const std::string &what : {std::string("The upgrade is done, and not all of it can be told"), long_words}) {
        Outcome run = run_process([&] {
            use_up_memory();
            do_or_complain(what.c_str(), [] { throw std::bad_alloc(); });
            return 0;
        });
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "migr: " + what + ": there is not enough memory\n");
    }
}
