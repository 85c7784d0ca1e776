/* Old encoded secrets, from the bytes of their keys on. Which sets are decoded is in the cases. */
#define OPENSSL_SUPPRESS_DEPRECATED

#include "stages/shared/secret_decoding.h"

#include "platform/platform.h"
#include "support/files.h"
#include "unit/stages/passes.h"
#include "unit/stages/watched_calls.h"

#include <openssl/des.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace {

using Plain = std::array<char, MIGR_SECRET_SIZE>;

std::string hex(const unsigned char *bytes, size_t size)
{
    std::string text;
    char        two[3];
    for (size_t i = 0; i < size; i++) {
        snprintf(two, sizeof two, "%02x", bytes[i]);
        text += two;
    }
    return text;
}

std::string key_of(const char *phrase)
{
    DES_cblock key;
    DES_string_to_key(phrase, &key);
    return hex(key, sizeof key);
}

std::string base64(const unsigned char *bytes, size_t size)
{
    std::string text((size + 2) / 3 * 4 + 1, '\0');
    int         length = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()), bytes, static_cast<int>(size));
    text.resize(static_cast<size_t>(length));
    return text;
}

/* What old releases did: four bytes of the vector in clear, then the cipher text, all in base64. */
std::string encoded(const Plain &plain, const std::string &vector = "\x11\x22\x33\x44")
{
    char phrase[MIGR_PHRASE_SIZE];
    get_pri_key(phrase, sizeof phrase);
    DES_cblock       key;
    DES_key_schedule schedule;
    DES_string_to_key(phrase, &key);
    DES_set_key_unchecked(&key, &schedule);
    unsigned char blob[4 + MIGR_SECRET_SIZE];
    DES_cblock    whole_vector = {};
    vector.copy(reinterpret_cast<char *>(whole_vector), 4);
    memcpy(blob, whole_vector, 4);
    DES_cbc_encrypt(reinterpret_cast<const unsigned char *>(plain.data()), blob + 4, MIGR_SECRET_SIZE, &schedule,
                    &whole_vector, DES_ENCRYPT);
    return base64(blob, sizeof blob);
}

Plain plain_of(const std::string &text)
{
    Plain plain = {};
    text.copy(plain.data(), plain.size());
    return plain;
}

/* Decodes into a buffer that is watched for bytes written behind it. */
Plain decoded(const std::string &text)
{
    char out[MIGR_SECRET_SIZE + 8];
    memset(out, '#', sizeof out);
    EXPECT_EQ(0, __crv_decode(text.c_str(), out));
    EXPECT_EQ("########", std::string(out + MIGR_SECRET_SIZE, 8));
    Plain plain;
    memcpy(plain.data(), out, plain.size());
    return plain;
}

} // namespace

/* Published vectors: RFC 3961 for the key that comes from a text, FIPS 81 for the chaining. */
TEST(Des, KnownKeys)
{
    EXPECT_EQ("cbc22fae235298e3", key_of("passwordATHENA.MIT.EDUraeburn"));
    EXPECT_EQ("df3d32a74fd92a01", key_of("potatoeWHITEHOUSE.GOVdanny"));
}

TEST(Des, KnownChain)
{
    DES_cblock       key = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
    DES_cblock       vector = {0x12, 0x34, 0x56, 0x78, 0x90, 0xab, 0xcd, 0xef};
    DES_key_schedule schedule;
    DES_set_key(&key, &schedule);
    unsigned char out[24];
    DES_cbc_encrypt(reinterpret_cast<const unsigned char *>("Now is the time for all "), out, sizeof out, &schedule,
                    &vector, DES_ENCRYPT);
    EXPECT_EQ("e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6", hex(out, sizeof out));
}

TEST(SecretDecoding, PhraseIsAsLongAsItSaysAndEnds)
{
    char buffer[256];
    memset(buffer, '#', sizeof buffer);
    get_pri_key(buffer, 256);
    EXPECT_EQ(MIGR_PHRASE_SIZE - 1u, strlen(buffer));
    EXPECT_EQ(sizeof buffer - MIGR_PHRASE_SIZE, static_cast<size_t>(std::count(buffer, buffer + sizeof buffer, '#')));
    /* The size is not looked at. */
    char again[256] = {};
    get_pri_key(again, 0);
    EXPECT_STREQ(buffer, again);
}

/* Neither the phrase nor a part of it stands in the program that the library is linked into. */
TEST(SecretDecoding, PhraseStandsInNoFile)
{
    char phrase[MIGR_PHRASE_SIZE];
    get_pri_key(phrase, sizeof phrase);
    std::string program = support::file_text("/proc/self/exe");
    ASSERT_GT(program.size(), 100000u);
    for (size_t at = 0; at + 16 < MIGR_PHRASE_SIZE; at++)
        EXPECT_EQ(std::string::npos, program.find(std::string(phrase + at, 16))) << "at " << at;
}

TEST(SecretDecoding, OpensWhatWasEncoded)
{
    Plain all_bytes;
    for (size_t i = 0; i < all_bytes.size(); i++)
        all_bytes[i] = static_cast<char>(i * 37);
    for (const Plain &plain : {plain_of(""), plain_of("cGFzc3dvcmQ="), all_bytes})
        for (const std::string &vector :
             {std::string("\x11\x22\x33\x44"), std::string(4, '\0'), std::string("\xff\xff\xff\xff")}) {
            std::string text = encoded(plain, vector);
            EXPECT_EQ(112u, text.size());
            EXPECT_EQ(plain, decoded(text));
        }
}

TEST(SecretDecoding, CopyGivesTheSame)
{
    Plain plain = plain_of("secret");
    char  out[MIGR_SECRET_SIZE];
    EXPECT_EQ(0, copyof_crv_decode(encoded(plain).c_str(), out));
    EXPECT_EQ(0, memcmp(plain.data(), out, sizeof out));
}

/* Of a text the first 116 characters count: four blanks may stand ahead of the 112 that matter, but not five. */
TEST(SecretDecoding, LongTextsAreCut)
{
    Plain       plain = plain_of("secret");
    std::string text = encoded(plain);
    EXPECT_EQ(plain, decoded(text + "=="));
    EXPECT_EQ(plain, decoded(text + std::string(100000, 'A')));
    EXPECT_EQ(plain, decoded("    " + text + "A"));
    Plain one_letter_less = decoded("     " + text);
    EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + 72, one_letter_less.begin()));
    EXPECT_NE(plain, one_letter_less);
}

/* Bytes that a text does not yield are zero, and wrong input gives wrong bytes. */
TEST(SecretDecoding, ShortAndWrongTexts)
{
    Plain plain = plain_of("01234567 second block");
    EXPECT_EQ(decoded(std::string(112, 'A')), decoded(""));
    EXPECT_EQ(decoded(std::string(112, 'A')), decoded("?\"\n\xff"));
    std::string two_blocks = encoded(plain).substr(0, 28); /* 21 bytes: the vector, two blocks and a byte */
    Plain       begun = decoded(two_blocks);
    EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + 16, begun.begin()));
    EXPECT_FALSE(std::equal(plain.begin() + 16, plain.begin() + 24, begun.begin() + 16));
}

/* The password of a cloud resource: base64 of it, padded with NULs, is what was encoded. */
static std::string resource_with(const std::string &password)
{
    auto *bytes = reinterpret_cast<const unsigned char *>(password.data());
    return "config system azure-resource\nset pass \"ENC " + encoded(plain_of(base64(bytes, password.size()))) +
           "\"\nend\n";
}

TEST(SecretDecoding, PasswordOfACloudResource)
{
    const std::string begin =
        "config system mesh-connectors\n    set name azure-resource\n    set type azure\n    set pass ";
    for (const char *password :
         {"p", "pw", "pass", "a b%s%n\\x", "sixty characters, the most that ever fits, or even a few le."})
        EXPECT_EQ(begin + password + "\nend\n", after_row(resource_with(password), "_reorg_azure_res"));
    /* A NUL ends it. */
    EXPECT_EQ(begin + "before\nend\n", after_row(resource_with(std::string("before\0behind", 13)), "_reorg_azure_res"));
}

/* The decoded length must not exceed that of the encoded text: a shorter text stays, even if it opens. */
TEST(SecretDecoding, LengthTest)
{
    std::string before = resource_with("a password");
    size_t      start = before.find("ENC ") + 4;
    before.erase(start + 12, before.size());
    before += "\"\nend\n";
    std::string after = after_row(before, "_reorg_azure_res");
    EXPECT_NE(std::string::npos, after.find("set pass \"ENC "));
}

/* The decoded password, the secret around it and the formatted value are wiped; only the value itself stays. */
TEST(SecretDecoding, NoDecodedPasswordStaysInMemory)
{
    const std::string password = "a password that is easily found";
    after_pass(resource_with(password), [&] {
        watched::look_for(password);
        run_row("_reorg_azure_res");
        EXPECT_EQ(0u, watched::found_in_freed_memory());
        EXPECT_EQ(2u, watched::found_in_wiped_memory());
        watched::look_for("");
    });
    std::string secret = base64(reinterpret_cast<const unsigned char *>(password.data()), password.size());
    after_pass(resource_with(password), [&] {
        watched::look_for(secret);
        run_row("_reorg_azure_res");
        EXPECT_EQ(0u, watched::found_in_freed_memory());
        EXPECT_EQ(1u, watched::found_in_wiped_memory());
        watched::look_for("");
    });
}

TEST(SecretDecoding, PhraseIsWiped)
{
    char phrase[MIGR_PHRASE_SIZE];
    get_pri_key(phrase, sizeof phrase);
    watched::look_for(phrase);
    decoded("");
    EXPECT_EQ(1u, watched::found_in_wiped_memory());
    watched::look_for("");
}
