/*
 * Private keys of the configuration, encrypted under the appliance's own passphrase: PKCS#8 with PBES2 and AES-256-CBC,
 * which every tool that reads PEM can open again.
 */
#include "platform/platform.h"

#include "files.h"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <cstring>

constexpr char PASSPHRASE_FILE[] = "/data/etc/key.secret";

/* The passphrase is made by the machine, at random; rounds against guessing would only slow down a file of many keys.
 */
constexpr int KEY_DERIVATION_ROUNDS = 10000;

/* What the caller needs behind the result: the closing quote and the NUL. */
constexpr size_t ROOM_FOR_CLOSING = 2;

namespace {

using Stream = appliance::Owned<BIO, BIO_free_all>;
using Key = appliance::Owned<EVP_PKEY, EVP_PKEY_free>;
using KeyRecord = appliance::Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using EncryptedKey = appliance::Owned<X509_SIG, X509_SIG_free>;

/* The first line of the passphrase file; wiped when it goes. PEM readers take at most 1023 characters. */
struct Passphrase {
    char   text[1024] = "";
    size_t length = 0;

    ~Passphrase()
    {
        OPENSSL_cleanse(text, sizeof text);
    }
};

} // namespace

static bool read_passphrase(Passphrase *passphrase)
{
    struct stat           status = {};
    appliance::Descriptor file(appliance::open_regular(AT_FDCWD, PASSPHRASE_FILE, 0, &status));
    if (!file.good())
        return false;
    ssize_t got = read(file.get(), passphrase->text, sizeof passphrase->text);
    if (got <= 0)
        return false;
    size_t      room = static_cast<size_t>(got);
    const void *newline = memchr(passphrase->text, '\n', room);
    if (!newline && room == sizeof passphrase->text)
        return false;
    passphrase->length = newline ? static_cast<size_t>(static_cast<const char *>(newline) - passphrase->text) : room;
    return passphrase->length > 0;
}

static void say_once_that_passphrase_is_missing()
{
    static bool said;
    if (said)
        return;
    said = true;
    message("key_encrypt: no passphrase in the first line of %s, private keys stay as they are\n", PASSPHRASE_FILE);
}

/* Nobody is asked for the passphrase of a key that is encrypted in a way of its own: it is no key that can be read. */
static int give_no_passphrase(char *, int, int, void *)
{
    return -1;
}

static Key read_key(const char *text)
{
    Stream in(BIO_new_mem_buf(text, -1));
    return Key(in ? PEM_read_bio_PrivateKey(in.get(), nullptr, give_no_passphrase, nullptr) : nullptr);
}

/* The encrypted key's PEM text in a memory stream, or null. */
static Stream encrypted_text(EVP_PKEY *key, const Passphrase &passphrase)
{
    constexpr int BY_CIPHER = -1; /* PBES2, with the cipher that is handed over */
    KeyRecord     record(EVP_PKEY2PKCS8(key));
    if (!record)
        return nullptr;
    EncryptedKey encrypted(PKCS8_encrypt(BY_CIPHER, EVP_aes_256_cbc(), passphrase.text,
                                         static_cast<int>(passphrase.length), nullptr, 0, KEY_DERIVATION_ROUNDS,
                                         record.get()));
    Stream       out(BIO_new(BIO_s_mem()));
    if (!encrypted || !out || PEM_write_bio_PKCS8(out.get(), encrypted.get()) != 1)
        return nullptr;
    return out;
}

static void encrypt_in_place(char *text, size_t room, const Passphrase &passphrase)
{
    Key key = read_key(text);
    if (!key) {
        message("key_encrypt: no private key in PEM form, the text stays as it is\n");
        return;
    }
    Stream encrypted = encrypted_text(key.get(), passphrase);
    if (!encrypted) {
        message("key_encrypt: a private key cannot be encrypted and stays as it is\n");
        return;
    }
    char  *result = nullptr;
    size_t length = static_cast<size_t>(BIO_get_mem_data(encrypted.get(), &result));
    if (length + ROOM_FOR_CLOSING > room) {
        message("key_encrypt: an encrypted private key is too long for its place, the key stays as it is\n");
        return;
    }
    memcpy(text, result, length);
    text[length] = '\0';
}

void key_encrypt(char *text)
{
    if (!text || !*text)
        return;
    size_t length = strlen(text);
    size_t room = 2 * length;
    if (text[length - 1] == '"')
        text[length - 1] = '\0';
    if (strstr(text, "ENCRYPTED"))
        return;

    Passphrase passphrase;
    if (!read_passphrase(&passphrase)) {
        say_once_that_passphrase_is_missing();
        return;
    }
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
    ERR_set_mark();
    encrypt_in_place(text, room, passphrase);
    ERR_pop_to_mark();
}
