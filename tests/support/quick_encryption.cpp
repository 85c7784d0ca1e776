/* Keys are encrypted with few rounds in the tests that say quick_encryption() in tests/programs.cmake: how long
 * somebody would have to guess is nobody's business here, and took half of what those tests take. */
#include <openssl/x509.h>

extern "C" X509_SIG *__real_PKCS8_encrypt(int method, const EVP_CIPHER *cipher, const char *passphrase, int length,
                                          unsigned char *salt, int salt_length, int rounds, PKCS8_PRIV_KEY_INFO *key);

extern "C" X509_SIG *__wrap_PKCS8_encrypt(int method, const EVP_CIPHER *cipher, const char *passphrase, int length,
                                          unsigned char *salt, int salt_length, int, PKCS8_PRIV_KEY_INFO *key)
{
    return __real_PKCS8_encrypt(method, cipher, passphrase, length, salt, salt_length, 1, key);
}
