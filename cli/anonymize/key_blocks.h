/*
 * Keys, certificates, requests and revocation lists in PEM for fresh ones of the same kind, of as many lines. What
 * belonged together does so afterwards: a certificate and its key, one and its issuer, an old name and the new one.
 */
#pragma once

#include "anonymize/substitution.h"

#include <map>
#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <string_view>

namespace command {

using PrivateKey = std::shared_ptr<EVP_PKEY>;

class KeyBlocks {
  public:
    /* Its names go through `texts`, which has to live as long and must not use this for them. */
    explicit KeyBlocks(Substitution &texts) : texts_(texts) {}

    /* Takes note of the keys and certificates in a text, so that others are found to belong to them: of all texts,
     * ahead of the first block. */
    void learn(std::string_view text);

    /* Takes a text that may open encrypted keys. */
    void learn_passphrase(std::string_view passphrase);

    /* From the line that begins it to the one that ends it. What cannot be read becomes letters of the same shape. */
    std::string of(std::string_view block);

  private:
    struct Block;

    void               learn(const Block &block);
    void               fit_key(const EVP_PKEY *old, size_t length, std::string (*encode)(const EVP_PKEY *));
    std::string        of_private_key(const Block &block);
    std::string        of_encrypted_key(const Block &block);
    std::string        of_old_encrypted_key(const Block &block);
    static std::string old_cipher(const Block &block, const std::string &passphrase, std::string_view bytes,
                                  bool encrypts);
    std::string        closed_like(const std::string &like, PKCS8_PRIV_KEY_INFO &old, const std::string &passphrase);
    std::string        of_certificate(const Block &block);
    std::string        of_request(const Block &block);
    std::string        of_revocation_list(const Block &block);
    std::string        of_public_key(const Block &block);
    PrivateKey         fresh_key(const EVP_PKEY *old);
    PrivateKey         issuer_key(const std::string &issuer, int signature_kind, size_t signature_length);
    std::string        other_names(std::string der);
    std::string        other_primitive(int kind, int tag, std::string_view old, bool is_certificate_part);
    void               replace_in(unsigned char *at, long length, int depth, bool is_certificate_part);

    Substitution                      &texts_;
    std::map<std::string, PrivateKey>  fresh_;       /* by the old public key */
    std::map<std::string, std::string> keys_of_;     /* old public keys, by the subjects of their certificates */
    std::map<std::string, PrivateKey>  strangers_;   /* who signed and is not here, by name and kind */
    std::map<std::string, std::string> passphrases_; /* new ones by old ones */
};

} // namespace command
