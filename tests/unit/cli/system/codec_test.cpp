/* Values as bytes and back; and bytes that nobody ought to have sent. */
#include "system/codec.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

enum class Colour { red, green };

struct Inner {
    std::string text;
    Colour      colour = Colour::red;
    bool        operator==(const Inner &) const = default;
};

auto fields_of(Inner &inner)
{
    return std::tie(inner.text, inner.colour);
}

struct Outer {
    int64_t                  number = 0;
    bool                     flag = false;
    std::vector<Inner>       inner;
    std::vector<std::string> texts;
    bool                     operator==(const Outer &) const = default;
};

auto fields_of(Outer &outer)
{
    return std::tie(outer.number, outer.flag, outer.inner, outer.texts);
}

const Outer whole = {-7, true, {{std::string("a\0b", 3), Colour::green}, {}}, {"", "\xff"}};

} // namespace

TEST(Codec, WhatGoesInComesOut)
{
    EXPECT_EQ(decoded<Outer>(encoded(whole)), whole);
    EXPECT_EQ(decoded<Outer>(encoded(Outer())), Outer());
    EXPECT_EQ(decoded<std::string>(encoded(std::string("text"))), "text");
    EXPECT_EQ(decoded<int>(encoded(-1)), -1);
}

TEST(Codec, BytesThatEndEarlyOrLateAreRefused)
{
    std::string bytes = encoded(whole);
    for (size_t length = 0; length < bytes.size(); length++)
        EXPECT_THROW(decoded<Outer>(bytes.substr(0, length)), Failure) << length;
    EXPECT_THROW(decoded<Outer>(bytes + "x"), Failure);
}

TEST(Codec, ALengthIsNotBelieved)
{
    std::string huge(8, '\xff');
    EXPECT_THROW(decoded<std::string>(huge), Failure);
    EXPECT_THROW(decoded<std::vector<std::string>>(huge), Failure);
    EXPECT_THROW(decoded<std::vector<Outer>>(huge + "some bytes"), Failure);
}
