/* The encoding's cipher is DES, which libcrypto calls deprecated. The library reads it, and nothing but this writes it.
 */
#define OPENSSL_SUPPRESS_DEPRECATED

#include "anonymize/old_secret.h"

#include "anonymize/word_scan.h"
#include "platform/platform.h"
#include "stages/shared/secret_decoding.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <openssl/crypto.h>
#include <openssl/des.h>
#include <openssl/evp.h>

namespace command {

namespace {

constexpr size_t vector_length = 4; /* the first half of the initialisation vector; the second half is zero */
constexpr size_t blob_length = vector_length + MIGR_SECRET_SIZE;

using Padded = std::array<char, MIGR_SECRET_SIZE + 1>;

bool is_base64(char c)
{
    return is_letter(c) || is_digit(c) || c == '+' || c == '/' || c == '=';
}

std::string base64(std::string_view bytes)
{
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                    reinterpret_cast<const unsigned char *>(bytes.data()), static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

/* What the library finds in it: any text can be opened, and mostly gives nothing that makes sense. */
std::string opened(const std::string &encoded)
{
    Padded inner = {};
    char   plain[MIGR_SECRET_SIZE + 1] = {};
    __crv_decode(encoded.c_str(), inner.data());
    int length = b64_decode(inner.data(), plain, MIGR_SECRET_SIZE);
    OPENSSL_cleanse(inner.data(), inner.size());
    std::string secret(plain, static_cast<size_t>(std::max(length, 0)));
    OPENSSL_cleanse(plain, sizeof plain);
    return secret;
}

/* What it takes for a secret fits into the place of the encoded one. */
bool gives_secret(const std::string &encoded)
{
    size_t length = opened(encoded).size();
    return length >= 1 && length <= encoded.size();
}

/* Too short for the encoding: other letters, of which just as much or as little is found. */
std::string other_letters(const std::string &old, const Permutation &permutation)
{
    static constexpr int most_tries = 1000;
    std::string          other = permutation.of(old);
    for (int tries = 0; tries < most_tries && gives_secret(other) != gives_secret(old); tries++)
        other = permutation.of(other);
    return other;
}

void encrypt(Padded &padded, std::string_view vector_half, char *out)
{
    char             phrase[MIGR_PHRASE_SIZE] = {};
    DES_cblock       key, vector = {};
    DES_key_schedule schedule;
    get_pri_key(phrase, sizeof phrase);
    DES_string_to_key(phrase, &key);
    DES_set_key(&key, &schedule);
    memcpy(vector, vector_half.data(), vector_length);
    DES_cbc_encrypt(reinterpret_cast<unsigned char *>(padded.data()), reinterpret_cast<unsigned char *>(out),
                    MIGR_SECRET_SIZE, &schedule, &vector, DES_ENCRYPT);
    OPENSSL_cleanse(phrase, sizeof phrase);
    OPENSSL_cleanse(&schedule, sizeof schedule);
}

/* As long as `old`, whatever stands behind the secret in there. */
std::string closed(const std::string &secret, const std::string &old, const Permutation &permutation)
{
    Padded      padded = {};
    std::string inner = base64(secret);
    std::string blob = permutation.bytes("old secret " + old, old.size() / 4 * 3);
    if (inner.size() > MIGR_SECRET_SIZE || blob.size() < blob_length)
        return other_letters(old, permutation);
    memcpy(padded.data(), inner.data(), inner.size());
    encrypt(padded, std::string_view(blob).substr(0, vector_length), blob.data() + vector_length);
    std::string text = base64(blob);
    text.resize(old.size(), '=');
    return text;
}

} // namespace

std::string other_old_secret(std::string_view encoded, const Permutation &permutation)
{
    const char *end = std::find_if_not(encoded.begin(), encoded.end(), is_base64);
    std::string old(encoded.begin(), end);
    std::string secret = opened(old);
    std::string other = closed(permutation.of(secret), old, permutation);
    OPENSSL_cleanse(secret.data(), secret.size());
    return other + permutation.of(std::string(end, encoded.end()));
}

} // namespace command
