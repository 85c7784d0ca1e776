/* Keys and certificates of each form, made by libcrypto. The one key that takes long is made once for a program. */
#include "key_material.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>

namespace material {

namespace {

template <auto free_it> struct Freed {
    template <typename Thing> void operator()(Thing *thing) const
    {
        free_it(thing);
    }
};
using Stream = std::unique_ptr<BIO, Freed<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;

std::string content_of(const Stream &stream)
{
    char *bytes = nullptr;
    long  length = BIO_get_mem_data(stream.get(), &bytes);
    return {bytes, static_cast<size_t>(length)};
}

EVP_PKEY *shared_rsa()
{
    static Key key(EVP_RSA_gen(2048));
    return key.get();
}

std::string traditional_text(EVP_PKEY *key)
{
    Stream out(BIO_new(BIO_s_mem()));
    if (PEM_write_bio_PrivateKey_traditional(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1)
        throw std::runtime_error("no key text");
    return content_of(out);
}

std::string pkcs8_text(EVP_PKEY *key)
{
    Stream out(BIO_new(BIO_s_mem()));
    if (PEM_write_bio_PKCS8PrivateKey(out.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1)
        throw std::runtime_error("no key text");
    return content_of(out);
}

std::string self_signed(EVP_PKEY *key)
{
    Certificate certificate(X509_new());
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86400);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME  *name = X509_get_subject_name(certificate.get());
    const auto *text = reinterpret_cast<const unsigned char *>("www.example.com");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    Stream out(BIO_new(BIO_s_mem()));
    if (X509_sign(certificate.get(), key, EVP_sha256()) == 0 || PEM_write_bio_X509(out.get(), certificate.get()) != 1)
        throw std::runtime_error("no certificate");
    return content_of(out);
}

Key opened(const std::string &text, const std::string &passphrase)
{
    Stream in(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    return Key(PEM_read_bio_PrivateKey(in.get(), nullptr, nullptr, const_cast<char *>(passphrase.c_str())));
}

} // namespace

const std::string &rsa_key()
{
    static const std::string text = traditional_text(shared_rsa());
    return text;
}

const std::string &rsa_key_pkcs8()
{
    static const std::string text = pkcs8_text(shared_rsa());
    return text;
}

const std::string &ec_key()
{
    static const std::string text = traditional_text(Key(EVP_EC_gen("P-256")).get());
    return text;
}

const std::string &certificate()
{
    static const std::string text = self_signed(shared_rsa());
    return text;
}

std::string padded(const std::string &pem, size_t size)
{
    std::string remarks;
    while (remarks.size() + pem.size() < size)
        remarks += "Remark on the text below, of no other use.\n";
    remarks.resize(size - pem.size());
    if (!remarks.empty())
        remarks.back() = '\n';
    return remarks + pem;
}

bool is_same_key(const std::string &clear, const std::string &encrypted, const std::string &passphrase)
{
    Key one = opened(clear, "");
    Key other = opened(encrypted, passphrase);
    return one && other && EVP_PKEY_eq(one.get(), other.get()) == 1;
}

bool is_certificate(const std::string &text)
{
    Stream in(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    return Certificate(PEM_read_bio_X509(in.get(), nullptr, nullptr, nullptr)) != nullptr;
}

} // namespace material
