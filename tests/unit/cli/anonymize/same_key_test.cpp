/* One key gives the same words, numbers and addresses in any year: these are what they became in the first one. Whether
 * they are good ones is for the tests beside this to say. */
#include "anonymize/address_text.h"
#include "anonymize/configuration.h"
#include "anonymize/ordered_words.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

struct Pair {
    const char *old, *other;
};

class SameKey : public testing::Test {
  protected:
    void expect(std::initializer_list<Pair> pairs, TextUse use)
    {
        for (const Pair &pair : pairs)
            EXPECT_EQ(texts.of(pair.old, use), pair.other) << pair.old;
    }

    KnownWords   known;
    Permutation  permutation{"a secret of a test, long enough"};
    Substitution texts{known, permutation};
};

} // namespace

TEST_F(SameKey, GivesTheSameWords)
{
    expect({{"tallowfinch", "pydhqermkix"},
            {"Tallow-FINCH_2017.example", "Rqwdcd-OFXLG_2017.example"},
            {"FW-400012345-NORD", "EL-816073398-JINU"},
            {"5f0c1881-1c18-4d18-9e18-181818181818", "2e4d9073-0b12-7c05-9d88-588171950559"},
            {"xmlish", "xmlwbl"},
            {"airport7", "tymport7"},
            {"<formal>", "<formfw>"},
            {"h1", "h1"},
            {"</h2x", "</h2x"},
            {"%74allow%5C%", "%84allow%3E%"},
            {"\\d+\\w\\tallow", "\\d+\\w\\tallow"},
            {"q1w", "e3y"},
            {"Zürich", "EÂehcn"},
            {"grüße ÿ ¡Ñ", "ywÄÎl Ü ¢Î"},
            {"日本 😀", "旊朶 😒"},
            {"\x80"
             "\xc3"
             "",
             "\x84"
             "\xc0"
             ""},
            {"1234567890", "3309446069"},
            {"x10000", "x49136"},
            {"x9999", "x9999"},
            {"slavery", "slavesn"},
            {"portal-attacker", "portfw-attackml"},
            {"aport", "eport"},
            {"robotized99", "robottxoo99"},
            {"1.2.3.203.0.113.9", "1.2.3.203.0.113.9"},
            {"a::b", "a::b"},
            {"ab:2001:db8::7", "a6:a3df:724::7"},
            {":::2001:db8::9", ":::2555:ae6::9"},
            {"http://[2001:db8::1]:80/", "http://[2555:ae6::1]:80/"}},
           TextUse::setting);
}

TEST_F(SameKey, GivesTheSameProse)
{
    expect({{"\"The server of Ida, +47 22 33 44 55\"", "\"Sqd blzsxe tu Jfa, +71 79 80 91 92\""},
            {"\"-----BEGIN X\"", "\"-----IVOKH Z\""},
            {"1.2.3.4 127.0.0.1 <form", "211.52.135.4 127.0.0.1 <kkvk"}},
           TextUse::prose);
}

TEST_F(SameKey, GivesTheSameSecrets)
{
    expect({{"sesame", "qxoixx"},
            {"ENC 4nF0gk2rWm6s", "ENC 7cR8lf2dRn1l"},
            {"said to be ENCRYPTED here", "vmmf nz gh ENCRYPTED dudt"},
            {"\"ENC 4nF0gk2rWm6s==\" x", "\"ENC 3oF3mk7xOb0f==\" c"},
            {"ENC ", "ENC "},
            {"\"-----BEGIN X tallow\"", "\"-----IVOKH Z rqwdcd\""},
            {"ENC "
             "MZxS5/IhOPBoHxhDvp45EWvu2yKO+hyXoXGua9KUfGKYKIodfXXO/DlkN3xbvSq/"
             "9PtuNRC9NSzdTJLtY8TzxoU10cPgj9E0PPHKKVBxPNdzlFRj\"",
             "ENC "
             "X2lcR0GwHQRmBUE4Ga23ALbNONtXC+SS1MXx/AP0pxDQ/iwQ5ay/3MebjxRb1dUga1zatftMD2iNKfv3azL5tgilF/"
             "kMXnK2nH+btsNLlCYrj8wD\""}},
           TextUse::secret);
}

TEST_F(SameKey, GivesTheSameAddresses)
{
    const struct {
        const char *old;
        AddressKind kind;
        const char *other;
    } addresses[] = {{"203.0.113.9", AddressKind::network, "101.217.33.9"},
                     {"198.51.100.7", AddressKind::network, "110.134.68.7"},
                     {"203.0.0.0/16", AddressKind::network, "101.217.0.0"},
                     {"203.0.113.0/33", AddressKind::network, "101.217.33.0"},
                     {"203.0.113.0/", AddressKind::network, "101.217.33.0"},
                     {"203.0.0.0 255.255.0.0", AddressKind::network, "101.217.0.0"},
                     {"203.0.0.0 255.255.0.1", AddressKind::network, "101.217.97.0"},
                     {"203.0.0.0 255.255.255.255", AddressKind::network, "101.217.97.0"},
                     {"128.0.0.0/1", AddressKind::special, "128.0.0.0"},
                     {"128.0.0.1", AddressKind::network, "63.202.181.1"},
                     {"192.0.0.0", AddressKind::special, "192.0.0.0"},
                     {"10.0.0.0/12", AddressKind::network, "10.208.0.0"},
                     {"10.0.0.0/8", AddressKind::network, "10.0.0.0"},
                     {"10.18.0.1", AddressKind::network, "10.200.51.1"},
                     {"172.20.5.1", AddressKind::network, "172.30.40.1"},
                     {"172.16.0.0/13", AddressKind::network, "172.24.0.0"},
                     {"192.168.7.1", AddressKind::network, "192.168.131.1"},
                     {"192.168.0.0/17", AddressKind::network, "192.168.128.0"},
                     {"100.64.3.4", AddressKind::network, "100.110.113.4"},
                     {"100.128.3.4", AddressKind::network, "129.27.206.4"},
                     {"203\\.0\\.113\\.9", AddressKind::network, "101\\.217\\.33\\.9"},
                     {"2001:db8:18::18/64", AddressKind::network, "2555:ae6:e9::18"},
                     {"2001:DB8:0:1:0:0:0:5", AddressKind::network, "2555:AE6:0:2:0:0:0:5"},
                     {"2001:db8:1000:fff:10:f:1:ffff", AddressKind::network, "2555:ae6:295b:14e:57:d:b:d68a"},
                     {"fd18:250::fe", AddressKind::network, "fd02:c69::fe"},
                     {"fe80::0211:22ff:fe33:4455", AddressKind::network, "fe80::0cb9:968c:9f72:a707"},
                     {"64:ff9b::203.0.113.9", AddressKind::network, "66:c353::80.27.89.238"},
                     {"::ffff:203.0.113.9", AddressKind::network, "::ffff:101.217.33.9"},
                     {"::203.0.113.9", AddressKind::network, "::101.217.33.9"},
                     {"::2:3", AddressKind::special, "::2:3"},
                     {"::1:0", AddressKind::special, "::1:0"},
                     {"::2", AddressKind::special, "::2"},
                     {"2001:db8::1.", AddressKind::network, "2555:ae6::1"},
                     {"2001:db8::1:", AddressKind::network, "2555:ae6::1"},
                     {"2001:db8:::", AddressKind::none, ""},
                     {"02:1A:2b:3c:4d:5e", AddressKind::device, "02:7C:7c:1a:6a:6c"},
                     {"03-1a-2b-3c-4d-5e", AddressKind::device, "03-7c-7c-1a-6a-6c"},
                     {"00:00:00:00:00:01", AddressKind::device, "00:54:69:95:12:54"},
                     {"FF:ff:ff:ff:ff:fe", AddressKind::device, "FF:ad:ca:dc:ed:ec"}};
    for (const auto &[old, kind, other] : addresses) {
        AddressText found = address_at(old, 0, permutation);
        EXPECT_EQ(found.kind, kind) << old;
        EXPECT_EQ(found.other, other) << old;
    }
}

TEST_F(SameKey, GivesTheSameOrder)
{
    auto                               stays = [](std::string_view word) { return word == "root" || word == "Root"; };
    std::map<std::string, std::string> expected = {{"Quay", "Nxni"},
                                                   {"Quayside", "Rhnrgzki"},
                                                   {"Zebra", "Sgmnf"},
                                                   {"auction", "ffisbtk"},
                                                   {"auctioneersofthenorth", "pnmbmyoobvfajabyyyeib"},
                                                   {"north", "raura"},
                                                   {"shop", "sabd"},
                                                   {"shopping", "tyaldicq"},
                                                   {"zebra", "zlsgs"}};
    std::set<std::string>              words = {"Root", "root"};
    for (const auto &[word, other] : expected)
        words.insert(word);
    EXPECT_EQ(in_order(words, permutation, stays, stays), expected);
}
