/* Which parts of a text are addresses, and what becomes of them. Whole configurations are anonymized in
 * tests/anonymize. */
#include "anonymize/address_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <gtest/gtest.h>

using command::address_at;
using command::AddressKind;

namespace {

const command::Permutation permutation("a secret of a test, long enough");

std::string other(const std::string &text)
{
    command::AddressText found = address_at(text, 0, permutation);
    EXPECT_NE(AddressKind::none, found.kind) << text;
    return found.other + text.substr(found.length);
}

uint32_t number(const std::string &text)
{
    in_addr address = {};
    EXPECT_EQ(1, inet_pton(AF_INET, text.substr(0, text.find('/')).c_str(), &address)) << text;
    return ntohl(address.s_addr);
}

int common_bits(const std::string &one, const std::string &two)
{
    uint32_t differing = number(one) ^ number(two);
    return differing == 0 ? 32 : __builtin_clz(differing);
}

} // namespace

TEST(AddressText, KeepsCommonPrefixes)
{
    const char *addresses[] = {"203.0.113.9", "203.0.113.77",  "203.0.112.1", "203.1.0.5", "198.51.100.7",
                               "10.18.0.1",   "10.18.255.254", "10.19.3.1",   "8.8.8.8",   "8.8.4.4"};
    for (const char *one : addresses)
        for (const char *two : addresses) {
            /* What is for private use stays so, whatever others become. */
            bool is_one_kind = std::string(one).starts_with("10.") == std::string(two).starts_with("10.");
            EXPECT_TRUE(!is_one_kind || common_bits(one, two) == common_bits(other(one), other(two)))
                << one << " " << two;
            EXPECT_EQ(number(one) & 0xff, number(other(one)) & 0xff) << "the last byte changes";
        }
    for (const char *one : addresses)
        EXPECT_NE(one, other(one));
}

TEST(AddressText, KeepsWhatStandsForSomething)
{
    for (const char *address : {"0.0.0.0", "0.0.0.0/0", "127.0.0.1", "127.8.0.1", "255.255.255.0", "255.255.240.0",
                                "224.0.0.5", "239.18.0.51", "255.255.255.255", "169.254.1.1", "::", "::/0", "::1",
                                "ff02::1", "00:00:00:00:00:00", "FF-FF-FF-FF-FF-FF"}) {
        EXPECT_EQ(AddressKind::special, address_at(address, 0, permutation).kind) << address;
        EXPECT_EQ(address, other(address));
    }
}

TEST(AddressText, KeepsAddressesForPrivateUsePrivate)
{
    EXPECT_EQ("10.", other("10.18.0.1").substr(0, 3));
    EXPECT_EQ("192.168.", other("192.168.7.1").substr(0, 8));
    EXPECT_NE("192.168.7.1", other("192.168.7.1"));
    EXPECT_EQ(number("172.16.0.0"), number(other("172.20.5.1")) & 0xfff00000U);
    for (uint32_t first = 1; first < 224; first++) {
        std::string text = other(std::to_string(first) + ".77.3.1");
        EXPECT_EQ(first == 10, text.starts_with("10.")) << text;
        EXPECT_EQ(first == 127, text.starts_with("127.")) << text;
        EXPECT_LT(number(text) >> 24, 224U) << text;
    }
}

TEST(AddressText, KeepsTheEndOfANetworkEmpty)
{
    uint32_t network = number(other("10.0.0.0/12"));
    EXPECT_EQ(0U, network & 0xfffffU);
    EXPECT_EQ(network, number(other("10.1.2.3")) & 0xfff00000U);
    EXPECT_EQ("/12", other("10.0.0.0/12").substr(other("10.0.0.0/12").find('/')));
    EXPECT_EQ(other("203.0.0.0/16").substr(0, other("203.0.0.0/16").find('/')) + " 255.255.0.0",
              other("203.0.0.0 255.255.0.0"));
    EXPECT_NE(0U, number(other("10.1.2.0/12")) & 0xffff00U) << "it is no network";
}

TEST(AddressText, FindsAddressesInExpressions)
{
    std::string plain = other("203.0.113.9"), escaped = other(R"(203\.0\.113\.9$)");
    std::string without = escaped.substr(0, escaped.size() - 1);
    without.erase(std::remove(without.begin(), without.end(), '\\'), without.end());
    EXPECT_EQ(plain, without);
    EXPECT_EQ(3, std::count(escaped.begin(), escaped.end(), '\\'));
    EXPECT_EQ('$', escaped.back());
}

TEST(AddressText, LeavesNumbersThatAreNone)
{
    for (const char *text : {"5.50", "1.2.3", "1.2.3.256", "01.2.3.4", "1.2.3.4.5", "1.2.3.4a", "03:10", "02:30:05",
                             "12345", "1:2", "fe:1", "00:11:22:33:44:5", "00:11:22:33:44:55:66"})
        EXPECT_EQ(AddressKind::none, address_at(text, 0, permutation).kind) << text;
}

TEST(AddressText, WritesWideAddressesAsTheyWere)
{
    for (const char *text : {"2001:db8:18::18/64", "2001:DB8:0:1:0:0:0:5", "fd18:250::fe",
                             "2001:db8::", "fe80::0211:22ff:fe33:4455", "64:ff9b::203.0.113.9"}) {
        std::string now = other(text);
        EXPECT_NE(text, now);
        if (std::string(text).find('.') != std::string::npos)
            continue;
        ASSERT_EQ(std::string(text).size(), now.size()) << now;
        for (size_t at = 0; at < now.size(); at++)
            EXPECT_EQ(text[at] == ':' || text[at] == '/', now[at] == ':' || now[at] == '/') << now;
    }
    EXPECT_EQ("fd", other("fd18:250::fe").substr(0, 2));
    EXPECT_EQ("fe80:", other("fe80::0211:22ff:fe33:4455").substr(0, 5));
    EXPECT_EQ("2", other("2001:db8::1").substr(0, 1));
    EXPECT_EQ("::18/64", other("2001:db8:18::18/64").substr(other("2001:db8:18::18/64").find("::")));
    EXPECT_EQ("::ffff:" + other("203.0.113.9"), other("::ffff:203.0.113.9"));
}

TEST(AddressText, TakesSpellingsOfAWideAddressForOne)
{
    auto value = [](const std::string &text) {
        in6_addr address = {};
        EXPECT_EQ(1, inet_pton(AF_INET6, text.c_str(), &address)) << text;
        return std::string(reinterpret_cast<const char *>(&address), sizeof address);
    };
    EXPECT_EQ(value(other("2001:db8:0:1::5")), value(other("2001:DB8:0:1:0:0:0:5")));
    EXPECT_EQ(value(other("2001:db8:0:1::5")), value(other("2001:0db8:0000:0001::0005")));
    EXPECT_EQ(value(other("2001:db8:7::1")).substr(0, 6), value(other("2001:db8:7:99::4")).substr(0, 6));
}

TEST(AddressText, KeepsADevicesFirstByte)
{
    std::string now = other("02:1A:2b:3c:4d:5e");
    EXPECT_EQ("02:", now.substr(0, 3));
    EXPECT_NE("02:1A:2b:3c:4d:5e", now);
    EXPECT_EQ(17U, now.size());
    EXPECT_EQ(std::string::npos, now.find_first_not_of("0123456789abcdefABCDEF:"));
    EXPECT_EQ(AddressKind::device, address_at("02-1a-2b-3c-4d-5e", 0, permutation).kind);
}
