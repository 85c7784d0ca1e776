/* The old scheme is DES, which libcrypto calls deprecated; it is needed here to read what is already encoded. */
#define OPENSSL_SUPPRESS_DEPRECATED

#include "stages/shared/secret_decoding.h"

#include "platform/platform.h"
#include "secret_phrase.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <openssl/crypto.h>
#include <openssl/des.h>

namespace {

constexpr size_t encoded_length = 116; /* base64 of the blob */
constexpr size_t vector_length = 4;    /* the first half of the initialisation vector; the second half is zero */
constexpr size_t blob_length = vector_length + MIGR_SECRET_SIZE;
constexpr size_t phrase_length = sizeof SECRET_PHRASE - 1;

constexpr char mask_of(size_t index)
{
    return static_cast<char>(0x35 + index % 29);
}

/* The phrase as the library holds it: masked, so that it stands whole in no file. The reader takes it for volatile,
 * or a compiler would put the plain phrase together beforehand. */
constexpr std::array<char, phrase_length> masked_phrase()
{
    std::array<char, phrase_length> masked = {};
    for (size_t i = 0; i < phrase_length; i++)
        masked[i] = static_cast<char>(SECRET_PHRASE[i] ^ mask_of(i));
    return masked;
}

} // namespace

void get_pri_key(char *buffer, int32_t)
{
    static constexpr std::array<char, phrase_length> masked = masked_phrase();
    const volatile char                             *letters = masked.data();
    for (size_t i = 0; i < phrase_length; i++)
        buffer[i] = static_cast<char>(letters[i] ^ mask_of(i));
    buffer[phrase_length] = '\0';
}

static void schedule_key(DES_key_schedule *schedule)
{
    char       phrase[256] = {};
    DES_cblock key;
    get_pri_key(phrase, sizeof phrase);
    DES_string_to_key(phrase, &key);
    DES_set_key(&key, schedule);
    OPENSSL_cleanse(phrase, sizeof phrase);
    OPENSSL_cleanse(&key, sizeof key);
}

int32_t __crv_decode(const char *text, char *out)
{
    char encoded[encoded_length + 1];
    snprintf(encoded, sizeof encoded, "%s", text);
    char blob[blob_length + 1] = {};
    b64_decode(encoded, blob, blob_length);

    DES_cblock vector = {};
    memcpy(vector, blob, vector_length);
    DES_key_schedule schedule;
    schedule_key(&schedule);
    DES_cbc_encrypt(reinterpret_cast<unsigned char *>(blob) + vector_length, reinterpret_cast<unsigned char *>(out),
                    MIGR_SECRET_SIZE, &schedule, &vector, DES_DECRYPT);
    OPENSSL_cleanse(&schedule, sizeof schedule);
    return 0;
}

int32_t copyof_crv_decode(const char *text, char *out)
{
    return __crv_decode(text, out);
}
