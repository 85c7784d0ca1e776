/* Private keys and certificates, made for these tests by libcrypto. */
#pragma once

#include <cstddef>
#include <string>

namespace material {

/* Clear private keys in PEM form, one of each kind for the whole program. */
const std::string &rsa_key();       /* 2048 bits, the form of old appliances: "BEGIN RSA PRIVATE KEY" */
const std::string &rsa_key_pkcs8(); /* the same key: "BEGIN PRIVATE KEY" */
const std::string &ec_key();        /* P-256: "BEGIN EC PRIVATE KEY" */
const std::string &certificate();   /* signed with the RSA key by itself, PEM */

/* The text with lines of remarks ahead of it, as tools that write PEM put them there, `size` bytes in all. */
std::string padded(const std::string &pem, size_t size);

/* Whether both texts hold one and the same private key, the first one clear, the second one under the passphrase. */
bool is_same_key(const std::string &clear, const std::string &encrypted, const std::string &passphrase);

/* Whether a certificate can be read from the text. */
bool is_certificate(const std::string &text);

} // namespace material
