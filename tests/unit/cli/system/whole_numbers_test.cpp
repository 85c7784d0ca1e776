/* JSON that was kept comes back, and numbers that nothing of ours writes are refused ahead of any conversion. */
#include "system/whole_numbers.h"

#include <gtest/gtest.h>
#include <stdexcept>

using command::json_of_whole_numbers;

TEST(WholeNumbers, AreReadAsTheyStand)
{
    nlohmann::json value = json_of_whole_numbers(R"({"a": [0, -1, 18446744073709551615], "b": "1.5"})");
    EXPECT_EQ(value.at("a").at(2).get<uint64_t>(), UINT64_MAX);
    EXPECT_EQ(value.at("a").at(1).get<int>(), -1);
    EXPECT_EQ(value.at("b").get<std::string>(), "1.5");
}

TEST(WholeNumbers, AFractionIsRefusedWhereverItStands)
{
    for (const char *text : {"1.5", "8.9e70", "[1, [2.0]]", R"({"a": {"b": 1e3}})", "18446744073709551616"})
        EXPECT_THROW(json_of_whole_numbers(text), std::runtime_error) << text;
    EXPECT_THROW(json_of_whole_numbers("{"), nlohmann::json::exception);
}
