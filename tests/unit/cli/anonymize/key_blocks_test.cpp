/* Keys and certificates that are replaced by fresh ones and still fit each other; libcrypto is asked whether they
 * do. */
#include "anonymize/key_blocks.h"

#include "support/files.h"
#include "support/places.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sstream>

namespace {

std::string sample(const std::string &path)
{
    std::string text = support::file_text(support::source_path("/samples/" + path));
    EXPECT_FALSE(text.empty()) << path;
    return text;
}

std::string without_newline(std::string text)
{
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

template <typename Thing, typename Read, typename Free>
std::shared_ptr<Thing> read_pem(const std::string &text, Read read, Free release, const char *passphrase = nullptr)
{
    BIO                   *bio = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
    std::shared_ptr<Thing> thing(read(bio, nullptr, nullptr, const_cast<char *>(passphrase)), release);
    BIO_free(bio);
    EXPECT_TRUE(thing) << text;
    return thing;
}

auto key_of(const std::string &text, const char *passphrase = nullptr)
{
    return read_pem<EVP_PKEY>(text, PEM_read_bio_PrivateKey, EVP_PKEY_free, passphrase);
}

auto certificate_of(const std::string &text)
{
    return read_pem<X509>(text, PEM_read_bio_X509, X509_free);
}

class KeyBlocksTest : public testing::Test {
  protected:
    std::string other(const std::string &text)
    {
        return blocks.of(without_newline(text)) + "\n";
    }
    /* Lines of the same length each, and other content. */
    void expect_same_shape(const std::string &old, const std::string &now)
    {
        EXPECT_EQ(std::count(old.begin(), old.end(), '\n'), std::count(now.begin(), now.end(), '\n'));
        EXPECT_EQ(old.substr(0, old.find('\n')), now.substr(0, now.find('\n')));
        std::istringstream lines(old);
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(line.size() != 64 || now.find(line) == std::string::npos)
                << "a line of the old one is left: " << line;
    }

    command::KnownWords   known;
    command::Permutation  permutation{"a secret of a test, long enough"};
    command::Substitution texts{known, permutation};
    command::KeyBlocks    blocks{texts};
};

constexpr char folder[] = "branch-office-5.50/data/etc/cert/";

} // namespace

TEST_F(KeyBlocksTest, KeepKeysAndCertificatesTogether)
{
    for (const char *name :
         {"local/root/timeclock", "local/root/intranet", "local/shop/shop_2017", "local/shop/shop_api"}) {
        std::string key = sample(std::string(folder) + name + ".key"),
                    certificate = sample(std::string(folder) + name + ".cer");
        blocks.learn(certificate);
        blocks.learn(key);
        std::string other_certificate = other(certificate), other_key = other(key);
        expect_same_shape(key, other_key);
        expect_same_shape(certificate, other_certificate);
        EXPECT_EQ(certificate.size(), other_certificate.size());
        EXPECT_EQ(1, X509_check_private_key(certificate_of(other_certificate).get(), key_of(other_key).get())) << name;
        EXPECT_EQ(EVP_PKEY_get_bits(key_of(key).get()), EVP_PKEY_get_bits(key_of(other_key).get()));
        EXPECT_EQ(0, X509_check_private_key(certificate_of(certificate).get(), key_of(other_key).get()))
            << "it is the old key";
        EXPECT_EQ(other_key, other(key)) << "another time it is another one";
    }
    EXPECT_EQ(8U, texts.counts.keys);
    EXPECT_EQ(4U, texts.counts.certificates);
}

TEST_F(KeyBlocksTest, AreOfTheSameKindAndLength)
{
    using Key = std::shared_ptr<EVP_PKEY>;
    const Key keys[] = {{EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{1024}), EVP_PKEY_free},
                        {EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "secp384r1"), EVP_PKEY_free},
                        {EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free}};
    auto      group_of = [](const Key &key) {
        char name[80] = "";
        EVP_PKEY_get_group_name(key.get(), name, sizeof name, nullptr);
        return std::string(name);
    };
    auto pem_of = [](const Key &key, auto write) {
        std::shared_ptr<BIO> out(BIO_new(BIO_s_mem()), BIO_free);
        EXPECT_EQ(write(out.get(), key.get()), 1);
        char *text = nullptr;
        long  length = BIO_get_mem_data(out.get(), &text);
        return std::string(text, static_cast<size_t>(length));
    };
    auto in_envelope = [](BIO *out, EVP_PKEY *key) {
        return PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr);
    };
    auto as_before = [](BIO *out, EVP_PKEY *key) {
        return PEM_write_bio_PrivateKey_traditional(out, key, nullptr, nullptr, 0, nullptr, nullptr);
    };
    for (const Key &key : keys) {
        std::vector<std::string> pems = {pem_of(key, in_envelope)};
        if (EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_ED25519)
            pems.push_back(pem_of(key, as_before));
        for (const std::string &pem : pems) {
            blocks.learn(pem);
            std::string now = other(pem);
            expect_same_shape(pem, now);
            Key fresh = key_of(now);
            ASSERT_TRUE(fresh);
            EXPECT_EQ(EVP_PKEY_get_base_id(fresh.get()), EVP_PKEY_get_base_id(key.get()));
            EXPECT_EQ(EVP_PKEY_get_bits(fresh.get()), EVP_PKEY_get_bits(key.get()));
            EXPECT_EQ(group_of(fresh), group_of(key));
            EXPECT_NE(EVP_PKEY_eq(fresh.get(), key.get()), 1);
        }
    }
    EXPECT_EQ(texts.counts.keys, 5U);
    EXPECT_EQ(texts.counts.blocks, 0U);
}

TEST_F(KeyBlocksTest, HaveCertificatesSignedByTheirIssuers)
{
    std::string authority = sample(std::string(folder) + "ca/root/branch_ca.cer");
    std::string issuing = sample(std::string(folder) + "intmed/root/branch_issuing.cer");
    std::string leaf = sample(std::string(folder) + "local/root/timeclock.cer");
    for (const std::string &text : {authority, issuing, leaf})
        blocks.learn(text);
    auto top = certificate_of(other(authority)), middle = certificate_of(other(issuing)),
         bottom = certificate_of(other(leaf));
    EXPECT_EQ(1, X509_verify(top.get(), X509_get0_pubkey(top.get())));
    EXPECT_EQ(1, X509_verify(middle.get(), X509_get0_pubkey(top.get())));
    EXPECT_EQ(1, X509_verify(bottom.get(), X509_get0_pubkey(middle.get())));
    EXPECT_EQ(X509_V_OK, X509_check_issued(top.get(), middle.get()));
    EXPECT_EQ(X509_V_OK, X509_check_issued(middle.get(), bottom.get()));
}

TEST_F(KeyBlocksTest, ReplaceNamesInCertificates)
{
    std::string certificate = sample(std::string(folder) + "local/root/timeclock.cer");
    auto        old = certificate_of(certificate), now = certificate_of(other(certificate));
    char        old_name[200], name[200];
    X509_NAME_oneline(X509_get_subject_name(old.get()), old_name, sizeof old_name);
    X509_NAME_oneline(X509_get_subject_name(now.get()), name, sizeof name);
    EXPECT_EQ(strlen(old_name), strlen(name));
    EXPECT_EQ(nullptr, strstr(name, "Havnby")) << name;
    EXPECT_EQ(nullptr, strstr(name, "tallowfinch")) << name;
    EXPECT_NE(nullptr, strstr(name, texts.of("tallowfinch", command::TextUse::setting).c_str())) << name;
    EXPECT_NE(0, ASN1_INTEGER_cmp(X509_get0_serialNumber(old.get()), X509_get0_serialNumber(now.get())))
        << "the serial number is left";
    EXPECT_EQ(0, ASN1_TIME_compare(X509_get0_notAfter(old.get()), X509_get0_notAfter(now.get())));
    std::string der(4000, '\0');
    auto       *end = reinterpret_cast<unsigned char *>(der.data());
    der.resize(static_cast<size_t>(i2d_X509(now.get(), &end)));
    EXPECT_EQ(std::string::npos, der.find("tallowfinch")) << "an alternative name is left";
    EXPECT_EQ(std::string::npos, der.find("Finch"));
}

TEST_F(KeyBlocksTest, SignRequestsAndRevocationListsAnew)
{
    std::string request = sample(std::string(folder) + "local/shop/pending_renewal.csr");
    std::string key = sample(std::string(folder) + "local/shop/pending_renewal.key");
    blocks.learn(key);
    auto now = read_pem<X509_REQ>(other(request), PEM_read_bio_X509_REQ, X509_REQ_free);
    EXPECT_EQ(1, X509_REQ_verify(now.get(), X509_REQ_get0_pubkey(now.get())));
    EXPECT_EQ(1, EVP_PKEY_eq(X509_REQ_get0_pubkey(now.get()), key_of(other(key)).get()));
    expect_same_shape(request, other(request));

    std::string authority = sample(std::string(folder) + "ca/root/branch_ca.cer");
    std::string list = sample(std::string(folder) + "crl/root/branch_crl.crl");
    blocks.learn(authority);
    auto revoked = read_pem<X509_CRL>(other(list), PEM_read_bio_X509_CRL, X509_CRL_free);
    EXPECT_EQ(1, X509_CRL_verify(revoked.get(), X509_get0_pubkey(certificate_of(other(authority)).get())));
    expect_same_shape(list, other(list));
}

TEST_F(KeyBlocksTest, CloseEncryptedKeysWithWhatTheirPassphraseBecame)
{
    std::string key = sample(std::string(folder) + "local/root/edi.key"),
                certificate = sample(std::string(folder) + "local/root/edi.cer");
    std::string passphrase = without_newline(sample(std::string(folder) + "local/root/edi.password"));
    ASSERT_NE(std::string::npos, key.find("ENCRYPTED"));
    key_of(key, passphrase.c_str());
    std::string unopened = other(key);
    expect_same_shape(key, unopened);
    blocks.learn_passphrase("not this one");
    blocks.learn_passphrase(passphrase);
    std::string now = other(key);
    expect_same_shape(key, now);
    auto opened = key_of(now, permutation.of(passphrase).c_str());
    EXPECT_EQ(1, X509_check_private_key(certificate_of(other(certificate)).get(), opened.get()));
}

/* Nobody lives to see the end of so many rounds; the test ends, or it does not. */
TEST_F(KeyBlocksTest, TryNoPassphraseThatTakesForEver)
{
    static constexpr int rounds = 2'000'000'000;
    unsigned char        salt[8] = {1, 2, 3, 4, 5, 6, 7, 8}, content[48] = {};
    X509_ALGOR          *scheme = PKCS5_pbe2_set_iv(EVP_aes_256_cbc(), rounds, salt, sizeof salt, nullptr, -1);
    X509_SIG            *closed = X509_SIG_new();
    X509_ALGOR          *algorithm = nullptr;
    ASN1_OCTET_STRING   *octets = nullptr;
    X509_SIG_getm(closed, &algorithm, &octets);
    ASSERT_EQ(1, X509_ALGOR_copy(algorithm, scheme));
    ASSERT_EQ(1, ASN1_OCTET_STRING_set(octets, content, sizeof content));
    BIO *bio = BIO_new(BIO_s_mem());
    ASSERT_EQ(1, PEM_write_bio_PKCS8(bio, closed));
    char       *bytes = nullptr;
    auto        length = BIO_get_mem_data(bio, &bytes);
    std::string key(bytes, static_cast<size_t>(length));
    X509_ALGOR_free(scheme);
    X509_SIG_free(closed);
    BIO_free(bio);
    blocks.learn_passphrase("ida");
    expect_same_shape(key, other(key));
}

TEST_F(KeyBlocksTest, CloseKeysOfTheOldFormToo)
{
    auto  old = key_of(sample(std::string(folder) + "local/root/timeclock.key"));
    BIO  *bio = BIO_new(BIO_s_mem());
    char  passphrase[] = "ida-Opens-4";
    char *bytes = nullptr;
    ASSERT_EQ(1,
              PEM_write_bio_PrivateKey_traditional(bio, old.get(), EVP_aes_256_cbc(), nullptr, 0, nullptr, passphrase));
    auto        length = BIO_get_mem_data(bio, &bytes);
    std::string key(bytes, static_cast<size_t>(length));
    BIO_free(bio);
    std::string start = key.substr(key.find("CBC,") + 4, 32);
    expect_same_shape(key, other(key));
    blocks.learn_passphrase(passphrase);
    std::string now = other(key);
    expect_same_shape(key, now);
    EXPECT_EQ(std::string::npos, now.find(start)) << "the bytes that begin the encryption are left";
    auto opened = key_of(now, permutation.of(passphrase).c_str());
    EXPECT_EQ(0, EVP_PKEY_eq(old.get(), opened.get())) << "it is the old key";
}

TEST_F(KeyBlocksTest, ReplaceWhatCannotBeRead)
{
    static const std::string broken =
        "-----BEGIN CERTIFICATE-----\nTm90aGluZyBvZiBhIGNlcnRpZmljYXRl\n-----END CERTIFICATE-----";
    std::string now = blocks.of(broken);
    EXPECT_EQ(broken.size(), now.size());
    EXPECT_EQ(std::string::npos, now.find("Tm90aGluZy"));
    EXPECT_TRUE(now.starts_with("-----BEGIN CERTIFICATE-----\n"));
    EXPECT_TRUE(now.ends_with("\n-----END CERTIFICATE-----"));
    EXPECT_EQ(1U, texts.counts.blocks);
}
