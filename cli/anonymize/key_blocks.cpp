/*
 * Everything is read and written by libcrypto. Names, serial numbers and identifiers are replaced where they lie in the
 * encoded form, by others of the same length; then the fresh key is put in, and the whole is signed anew, again and
 * again until the signature is as long as the old one. So all lines stay where they are.
 */
#include "anonymize/key_blocks.h"

#include "anonymize/addresses.h"
#include "anonymize/word_scan.h"
#include "system/owned.h"

#include <algorithm>
#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <functional>
#include <openssl/asn1.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <optional>

namespace command {

namespace {

PrivateKey own(EVP_PKEY *key)
{
    return {key, EVP_PKEY_free};
}

const unsigned char *bytes_of(std::string_view text)
{
    return reinterpret_cast<const unsigned char *>(text.data());
}

/* Through one of the i2d functions; empty when it cannot be encoded. */
template <typename Encode, typename Type> std::string encoded_by(Encode encode, Type *thing)
{
    unsigned char *bytes = nullptr;
    int            length = encode(thing, &bytes);
    std::string    der(reinterpret_cast<char *>(bytes), static_cast<size_t>(std::max(length, 0)));
    OPENSSL_free(bytes);
    return der;
}

std::string base64_of(std::string_view bytes)
{
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()), bytes_of(bytes), static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

/* As long as the old thing was, if some try gives that, or as near as any. */
std::string of_length(size_t wanted, int tries, const std::function<std::string()> &make)
{
    std::string best;
    auto        distance = [&](const std::string &der) {
        return der.size() > wanted ? der.size() - wanted : wanted - der.size();
    };
    for (int at = 0; at < tries && (best.empty() || best.size() != wanted); at++) {
        std::string made = make();
        if (!made.empty() && (best.empty() || distance(made) < distance(best)))
            best = std::move(made);
    }
    return best;
}

/* Another try at a signature costs little, one at a key much. */
constexpr int signature_tries = 60;
constexpr int key_tries = 6;
constexpr int most_rsa_bits = 8192;

/* ---- keys ---- */

EVP_PKEY *generate(int kind, const EVP_PKEY *like)
{
    Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(like && kind != EVP_PKEY_RSA && kind != EVP_PKEY_EC
                                                       ? EVP_PKEY_CTX_new(const_cast<EVP_PKEY *>(like), nullptr)
                                                       : EVP_PKEY_CTX_new_id(kind, nullptr));
    EVP_PKEY                              *key = nullptr;
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1)
        return nullptr;
    char group[80] = "prime256v1";
    if (kind == EVP_PKEY_EC && like)
        EVP_PKEY_get_group_name(like, group, sizeof group, nullptr);
    if (kind == EVP_PKEY_EC && EVP_PKEY_CTX_set_group_name(context.get(), group) != 1)
        return nullptr;
    if (kind == EVP_PKEY_RSA &&
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), std::clamp(EVP_PKEY_get_bits(like), 512, most_rsa_bits)) != 1)
        return nullptr;
    return EVP_PKEY_keygen(context.get(), &key) == 1 ? key : nullptr;
}

PrivateKey made_like(const EVP_PKEY *old)
{
    PrivateKey fresh = own(generate(EVP_PKEY_get_base_id(old), old));
    if (!fresh)
        return nullptr;
    char   form[32];
    size_t length = 0;
    if (EVP_PKEY_get_utf8_string_param(old, OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, form, sizeof form, &length) ==
        1)
        EVP_PKEY_set_utf8_string_param(fresh.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, form);
    return fresh;
}

std::string public_part(const EVP_PKEY *key)
{
    return encoded_by(i2d_PUBKEY, key);
}

std::string traditional(const EVP_PKEY *key)
{
    return encoded_by(i2d_PrivateKey, key);
}

std::string in_envelope(const EVP_PKEY *key)
{
    Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free> info(EVP_PKEY2PKCS8(key));
    return info ? encoded_by(i2d_PKCS8_PRIV_KEY_INFO, info.get()) : "";
}

/* ---- signatures ---- */

/* Schemes that sign a sum of their own take no digest. */
const EVP_MD *digest_of(int signature_kind, const EVP_PKEY *signer)
{
    int digest = NID_undef;
    if (EVP_PKEY_get_base_id(signer) == EVP_PKEY_ED25519 || EVP_PKEY_get_base_id(signer) == EVP_PKEY_ED448)
        return nullptr;
    OBJ_find_sigid_algs(signature_kind, &digest, nullptr);
    const EVP_MD *found = digest == NID_undef ? nullptr : EVP_get_digestbynid(digest);
    return found ? found : EVP_sha256();
}

bool is_printable(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7f; });
}

} // namespace

/* ---- a block as it is written ---- */

struct KeyBlocks::Block {
    std::string      label; /* "EC PRIVATE KEY" */
    std::string      headers;
    std::string      der;
    std::string_view text;

    /* With other content, in lines as long as before. */
    std::string with(std::string_view content) const
    {
        size_t           body = body_start();
        std::string_view old = text.substr(body, text.rfind("-----END ") - body);
        std::string_view first = old.substr(0, old.find('\n') + 1);
        std::string_view line_end = first.ends_with("\r\n") ? "\r\n" : "\n";
        size_t           width = std::max<size_t>(first.size() - std::min(first.size(), line_end.size()), 1);
        std::string      all = base64_of(content), out(text.substr(0, body));
        for (size_t at = 0; at < all.size(); at += width)
            out += all.substr(at, width).append(line_end);
        return out.append(text.substr(text.rfind("-----END ")));
    }

    size_t body_start() const
    {
        size_t first = text.find('\n') + 1;
        if (headers.empty())
            return first;
        for (const char *blank : {"\n\n", "\n\r\n"})
            if (size_t at = text.find(blank); at != std::string_view::npos)
                return at + strlen(blank);
        return first;
    }

    static std::optional<Block> read(std::string_view text)
    {
        Owned<BIO, BIO_free> bio(
            BIO_new_mem_buf(text.data(), static_cast<int>(std::min<size_t>(text.size(), INT_MAX))));
        char          *name = nullptr, *header = nullptr;
        unsigned char *data = nullptr;
        long           length = 0;
        if (!bio || text.find('\n') == std::string_view::npos ||
            PEM_read_bio(bio.get(), &name, &header, &data, &length) != 1)
            return ERR_clear_error(), std::nullopt;
        Block block{name, header, {reinterpret_cast<char *>(data), static_cast<size_t>(length)}, text};
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_clear_free(data, static_cast<size_t>(length));
        return block;
    }
};

/* ---- names in the encoded form ---- */

static bool is_text_tag(int tag)
{
    return tag == V_ASN1_UTF8STRING || tag == V_ASN1_PRINTABLESTRING || tag == V_ASN1_IA5STRING ||
           tag == V_ASN1_T61STRING || tag == V_ASN1_VISIBLESTRING || tag == V_ASN1_NUMERICSTRING;
}

/* Whether it is made of whole encoded things; a key's identifier or a serial number could only be so by chance. */
static bool is_encoded(const unsigned char *at, long length)
{
    const unsigned char *end = at + length;
    if (length < 2)
        return false;
    while (at < end) {
        int  tag = 0, kind = 0;
        long inner = 0;
        if (ASN1_get_object(&at, &inner, &tag, &kind, end - at) & 0x80)
            return ERR_clear_error(), false;
        if (kind == V_ASN1_UNIVERSAL && tag == V_ASN1_EOC)
            return false;
        at += inner;
    }
    return at == end;
}

/* A number's sign and length show in its first two bytes. */
static std::string other_serial(std::string_view old, const Permutation &permutation)
{
    std::string serial = permutation.bytes(old, old.size());
    serial[0] = old[0];
    serial[1] = static_cast<char>((serial[1] & 0x7f) | (old[1] & 0x80));
    return serial;
}

static std::string other_address_bytes(std::string_view old, const Permutation &permutation)
{
    uint32_t address = 0;
    memcpy(&address, old.data(), sizeof address);
    address = htonl(other_address(ntohl(address), 32, permutation));
    return {reinterpret_cast<char *>(&address), sizeof address};
}

/* What lies too deep, or is not encoded as it should be. */
static void scramble(unsigned char *at, long length, const Permutation &permutation)
{
    std::string_view old(reinterpret_cast<char *>(at), static_cast<size_t>(length));
    std::string      other = permutation.bytes(old, old.size());
    memcpy(at, other.data(), other.size());
}

void KeyBlocks::replace_in(unsigned char *at, long length, int depth, bool is_certificate_part)
{
    static constexpr int deepest = 32;
    unsigned char       *end = at + length;
    while (at < end) {
        const unsigned char *content = at;
        int                  tag = 0, kind = 0;
        long                 size = 0;
        int                  found = ASN1_get_object(&content, &size, &tag, &kind, end - at);
        if (found & 0x80) {
            ERR_clear_error();
            return scramble(at, end - at, texts_.permutation());
        }
        at = const_cast<unsigned char *>(content);
        bool is_extension = is_certificate_part && kind == V_ASN1_UNIVERSAL && tag == V_ASN1_OCTET_STRING;
        bool holds_others = (found & V_ASN1_CONSTRUCTED) != 0 || (is_extension && is_encoded(content, size));
        if (holds_others && depth == deepest) {
            scramble(at, size, texts_.permutation());
        } else if (holds_others) {
            replace_in(at, size, depth + 1, is_certificate_part);
        } else {
            std::string other = other_primitive(kind, tag, {reinterpret_cast<char *>(at), static_cast<size_t>(size)},
                                                is_certificate_part);
            memcpy(at, other.data(), other.size());
        }
        at += size;
    }
}

/* Of the same length. */
std::string KeyBlocks::other_primitive(int kind, int tag, std::string_view old, bool is_certificate_part)
{
    static constexpr size_t shortest_serial = 2;
    static constexpr int    address_tag = 7; /* of an alternative name */
    bool                    is_own = kind == V_ASN1_CONTEXT_SPECIFIC;
    if (is_own && tag == address_tag && old.size() == sizeof(uint32_t))
        return other_address_bytes(old, texts_.permutation());
    if (kind == V_ASN1_UNIVERSAL && tag == V_ASN1_BMPSTRING)
        return texts_.permutation().of(old);
    if ((kind == V_ASN1_UNIVERSAL && is_text_tag(tag)) || (is_own && is_printable(old))) {
        std::string other = texts_.of(old, TextUse::setting);
        return other.size() == old.size() ? other : texts_.permutation().of(old);
    }
    if (is_own || (kind == V_ASN1_UNIVERSAL && tag == V_ASN1_OCTET_STRING))
        return texts_.permutation().bytes(old, old.size());
    bool is_serial = kind == V_ASN1_UNIVERSAL && tag == V_ASN1_INTEGER && old.size() >= shortest_serial;
    return is_serial && is_certificate_part ? other_serial(old, texts_.permutation()) : std::string(old);
}

std::string KeyBlocks::other_names(std::string der)
{
    replace_in(reinterpret_cast<unsigned char *>(der.data()), static_cast<long>(der.size()), 0, true);
    return der;
}

/* ---- what is known ahead ---- */

void KeyBlocks::learn(std::string_view text)
{
    static constexpr std::string_view begin = "-----BEGIN ";
    for (size_t at = text.find(begin); at != std::string_view::npos; at = text.find(begin, at)) {
        std::string_view written = key_block_at(text, at);
        at += std::max(written.size(), begin.size());
        if (std::optional<Block> block = written.empty() ? std::nullopt : Block::read(written))
            learn(*block);
        ERR_clear_error();
    }
}

void KeyBlocks::learn(const Block &block)
{
    const unsigned char *der = bytes_of(block.der);
    auto                 length = static_cast<long>(block.der.size());
    if (block.label == "CERTIFICATE") {
        Owned<X509, X509_free> certificate(d2i_X509(nullptr, &der, length));
        if (EVP_PKEY *key = certificate ? X509_get0_pubkey(certificate.get()) : nullptr)
            keys_of_[encoded_by(i2d_X509_NAME, X509_get_subject_name(certificate.get()))] = public_part(key);
    } else if (block.headers.empty() && block.label.ends_with("PRIVATE KEY")) {
        if (PrivateKey key = own(d2i_AutoPrivateKey(nullptr, &der, length)))
            fit_key(key.get(), block.der.size(), block.label == "PRIVATE KEY" ? in_envelope : traditional);
    }
}

/* A fresh key whose encoded form takes as many lines as the old one's, mostly: those of some kinds differ by a few
 * bytes. */
void KeyBlocks::fit_key(const EVP_PKEY *old, size_t length, std::string (*encode)(const EVP_PKEY *))
{
    static constexpr size_t bytes_of_line = 48;
    PrivateKey             &fresh = fresh_[public_part(old)];
    auto                    lines = [](size_t size) { return (size + bytes_of_line - 1) / bytes_of_line; };
    for (int tries = 0; tries < key_tries; tries++)
        if (!fresh || lines(encode(fresh.get()).size()) != lines(length))
            fresh = made_like(old);
}

void KeyBlocks::learn_passphrase(std::string_view passphrase)
{
    if (!passphrase.empty())
        passphrases_.emplace(passphrase, texts_.permutation().of(passphrase));
}

PrivateKey KeyBlocks::fresh_key(const EVP_PKEY *old)
{
    PrivateKey &fresh = fresh_[public_part(old)];
    if (!fresh)
        fresh = made_like(old);
    return fresh;
}

PrivateKey KeyBlocks::issuer_key(const std::string &issuer, int signature_kind, size_t signature_length)
{
    if (auto known = keys_of_.find(issuer); known != keys_of_.end()) {
        const unsigned char *der = bytes_of(known->second);
        PrivateKey           key = own(d2i_PUBKEY(nullptr, &der, static_cast<long>(known->second.size())));
        return key ? fresh_key(key.get()) : nullptr;
    }
    PrivateKey &stranger =
        strangers_[issuer + "/" + std::to_string(signature_kind) + "/" + std::to_string(signature_length)];
    int kind = NID_undef;
    OBJ_find_sigid_algs(signature_kind, nullptr, &kind);
    if (!stranger && kind == NID_rsaEncryption)
        stranger = own(EVP_RSA_gen(std::clamp<size_t>(signature_length * 8, 512, most_rsa_bits)));
    else if (!stranger && kind == NID_ED25519)
        stranger = own(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    else if (!stranger)
        stranger = own(EVP_EC_gen(signature_length > 110 ? "P-521" : signature_length > 75 ? "P-384" : "P-256"));
    return stranger;
}

/* ---- each kind ---- */

std::string KeyBlocks::of_private_key(const Block &block)
{
    const unsigned char *der = bytes_of(block.der);
    PrivateKey           old = own(d2i_AutoPrivateKey(nullptr, &der, static_cast<long>(block.der.size())));
    if (!old)
        return "";
    PrivateKey fresh = fresh_key(old.get());
    auto       encode = block.label == "PRIVATE KEY" ? in_envelope : traditional;
    return fresh ? block.with(encode(fresh.get())) : "";
}

/* Of how a key is encrypted: among others, how many rounds it takes to try a passphrase. */
static uint64_t largest_number_in(const unsigned char *at, long length)
{
    const unsigned char *end = at + length;
    uint64_t             largest = 0;
    while (at < end) {
        int  tag = 0, kind = 0;
        long size = 0;
        int  found = ASN1_get_object(&at, &size, &tag, &kind, end - at);
        if (found & 0x80)
            return ERR_clear_error(), largest;
        uint64_t number = 0;
        for (long digit = 0; tag == V_ASN1_INTEGER && kind == V_ASN1_UNIVERSAL && digit < size; digit++)
            number = number > UINT32_MAX ? number : number << 8 | at[digit];
        /* What a thing is made of stands behind its head: to go on there is to look into it. */
        at += found & V_ASN1_CONSTRUCTED ? 0 : size;
        largest = std::max(largest, number);
    }
    return largest;
}

/* A tenth of a second or so. Whoever asks for more has something else in mind. */
constexpr uint64_t most_rounds = 1'000'000;

/* With the passphrase that takes the place of the one that opens it, if that is known; otherwise nobody can open it, as
 * before. */
std::string KeyBlocks::of_encrypted_key(const Block &block)
{
    if (!block.headers.empty())
        return of_old_encrypted_key(block);
    std::string                    content = block.der;
    const unsigned char           *old_der = bytes_of(block.der);
    Owned<X509_SIG, X509_SIG_free> old(d2i_X509_SIG(nullptr, &old_der, static_cast<long>(block.der.size())));
    if (!old)
        return "";
    replace_in(reinterpret_cast<unsigned char *>(content.data()), static_cast<long>(content.size()), 0, false);
    bool takes_long = largest_number_in(bytes_of(block.der), static_cast<long>(block.der.size())) > most_rounds;
    for (const auto &[passphrase, other] : passphrases_) {
        if (takes_long)
            break;
        Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free> opened(
            PKCS8_decrypt(old.get(), passphrase.data(), static_cast<int>(passphrase.size())));
        std::string closed = opened ? closed_like(content, *opened, other) : "";
        if (!closed.empty())
            return block.with(closed);
    }
    return block.with(content);
}

/* The form in which the encryption stands in lines ahead of the key, with bytes that begin it. */
std::string KeyBlocks::of_old_encrypted_key(const Block &block)
{
    static constexpr std::string_view mark = "DEK-Info:";
    std::string                       content = texts_.permutation().bytes(block.der, block.der.size());
    size_t                            line = block.text.find(mark);
    size_t                            comma = line == std::string_view::npos ? line : block.text.find(',', line);
    if (comma == std::string_view::npos)
        return block.with(content);
    std::string text(block.text), start(word_at(block.text, comma + 1));
    text.replace(comma + 1, start.size(), texts_.permutation().of(start, Letters::hexadecimal));
    std::optional<Block> other = Block::read(text);
    if (!other)
        return block.with(content);
    for (const auto &[passphrase, other_passphrase] : passphrases_) {
        std::string opened = old_cipher(block, passphrase, block.der, false);
        const auto *der = bytes_of(opened);
        PrivateKey  key =
            own(opened.empty() ? nullptr : d2i_AutoPrivateKey(nullptr, &der, static_cast<long>(opened.size())));
        PrivateKey  fresh = key ? fresh_key(key.get()) : nullptr;
        std::string closed = fresh ? old_cipher(*other, other_passphrase, traditional(fresh.get()), true) : "";
        if (!closed.empty())
            return other->with(closed);
    }
    return other->with(content);
}

/* Encrypts or decrypts as the lines ahead of a key say; empty when that does not go. */
std::string KeyBlocks::old_cipher(const Block &block, const std::string &passphrase, std::string_view bytes,
                                  bool encrypts)
{
    EVP_CIPHER_INFO info = {};
    std::string     headers = block.headers;
    if (PEM_get_EVP_CIPHER_INFO(headers.data(), &info) != 1 || !info.cipher)
        return "";
    unsigned char                              key[EVP_MAX_KEY_LENGTH];
    std::string                                out(bytes.size() + EVP_MAX_BLOCK_LENGTH, '\0');
    auto                                      *to = reinterpret_cast<unsigned char *>(out.data());
    int                                        length = 0, rest = 0;
    Owned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> context(EVP_CIPHER_CTX_new());
    bool                                       is_done = context &&
                   EVP_BytesToKey(info.cipher, EVP_md5(), info.iv, bytes_of(passphrase),
                                  static_cast<int>(passphrase.size()), 1, key, nullptr) > 0 &&
                   EVP_CipherInit_ex(context.get(), info.cipher, nullptr, key, info.iv, encrypts ? 1 : 0) == 1 &&
                   EVP_CipherUpdate(context.get(), to, &length, bytes_of(bytes), static_cast<int>(bytes.size())) == 1 &&
                   EVP_CipherFinal_ex(context.get(), to + length, &rest) == 1;
    OPENSSL_cleanse(key, sizeof key);
    out.resize(is_done ? static_cast<size_t>(length + rest) : 0);
    return out;
}

/* Encrypted as `like` says, which has the salt that is to be used. */
std::string KeyBlocks::closed_like(const std::string &like, PKCS8_PRIV_KEY_INFO &old, const std::string &passphrase)
{
    PrivateKey                     old_key = own(EVP_PKCS82PKEY(&old));
    PrivateKey                     fresh = old_key ? fresh_key(old_key.get()) : nullptr;
    const unsigned char           *at = bytes_of(like);
    Owned<X509_SIG, X509_SIG_free> scheme(d2i_X509_SIG(nullptr, &at, static_cast<long>(like.size())));
    Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free> info(fresh ? EVP_PKEY2PKCS8(fresh.get()) : nullptr);
    const X509_ALGOR                                    *algorithm = nullptr;
    if (!scheme || !info)
        return "";
    X509_SIG_get0(scheme.get(), &algorithm, nullptr);
    X509_ALGOR                    *copied = X509_ALGOR_dup(algorithm);
    Owned<X509_SIG, X509_SIG_free> closed(
        PKCS8_set0_pbe(passphrase.data(), static_cast<int>(passphrase.size()), info.get(), copied));
    if (!closed)
        X509_ALGOR_free(copied);
    return closed ? encoded_by(i2d_X509_SIG, closed.get()) : "";
}

std::string KeyBlocks::of_certificate(const Block &block)
{
    const unsigned char   *der = bytes_of(block.der);
    Owned<X509, X509_free> old(d2i_X509(nullptr, &der, static_cast<long>(block.der.size())));
    EVP_PKEY              *old_key = old ? X509_get0_pubkey(old.get()) : nullptr;
    PrivateKey             key = old_key ? fresh_key(old_key) : nullptr;
    if (!key)
        return "";
    const ASN1_BIT_STRING *signature = nullptr;
    X509_get0_signature(&signature, nullptr, old.get());
    int                    kind = X509_get_signature_nid(old.get());
    PrivateKey             signer = issuer_key(encoded_by(i2d_X509_NAME, X509_get_issuer_name(old.get())), kind,
                                               static_cast<size_t>(ASN1_STRING_length(signature)));
    std::string            renamed = other_names(block.der);
    const unsigned char   *at = bytes_of(renamed);
    Owned<X509, X509_free> fresh(d2i_X509(nullptr, &at, static_cast<long>(renamed.size())));
    if (!fresh || !signer || X509_set_pubkey(fresh.get(), key.get()) != 1)
        return "";
    std::string made = of_length(block.der.size(), signature_tries, [&] {
        return X509_sign(fresh.get(), signer.get(), digest_of(kind, signer.get())) > 0
                   ? encoded_by(i2d_X509, fresh.get())
                   : "";
    });
    return made.empty() ? "" : block.with(made);
}

std::string KeyBlocks::of_request(const Block &block)
{
    const unsigned char           *der = bytes_of(block.der);
    Owned<X509_REQ, X509_REQ_free> old(d2i_X509_REQ(nullptr, &der, static_cast<long>(block.der.size())));
    EVP_PKEY                      *old_key = old ? X509_REQ_get0_pubkey(old.get()) : nullptr;
    PrivateKey                     key = old_key ? fresh_key(old_key) : nullptr;
    std::string                    renamed = other_names(block.der);
    const unsigned char           *at = bytes_of(renamed);
    Owned<X509_REQ, X509_REQ_free> fresh(d2i_X509_REQ(nullptr, &at, static_cast<long>(renamed.size())));
    if (!key || !fresh || X509_REQ_set_pubkey(fresh.get(), key.get()) != 1)
        return "";
    int         kind = X509_REQ_get_signature_nid(old.get());
    std::string made = of_length(block.der.size(), signature_tries, [&] {
        return X509_REQ_sign(fresh.get(), key.get(), digest_of(kind, key.get())) > 0
                   ? encoded_by(i2d_X509_REQ, fresh.get())
                   : "";
    });
    return made.empty() ? "" : block.with(made);
}

std::string KeyBlocks::of_revocation_list(const Block &block)
{
    const unsigned char           *der = bytes_of(block.der);
    Owned<X509_CRL, X509_CRL_free> old(d2i_X509_CRL(nullptr, &der, static_cast<long>(block.der.size())));
    std::string                    renamed = other_names(block.der);
    const unsigned char           *at = bytes_of(renamed);
    Owned<X509_CRL, X509_CRL_free> fresh(d2i_X509_CRL(nullptr, &at, static_cast<long>(renamed.size())));
    if (!old || !fresh)
        return "";
    const ASN1_BIT_STRING *signature = nullptr;
    X509_CRL_get0_signature(old.get(), &signature, nullptr);
    int        kind = X509_CRL_get_signature_nid(old.get());
    PrivateKey signer = issuer_key(encoded_by(i2d_X509_NAME, X509_CRL_get_issuer(old.get())), kind,
                                   static_cast<size_t>(ASN1_STRING_length(signature)));
    if (!signer)
        return "";
    std::string made = of_length(block.der.size(), signature_tries, [&] {
        return X509_CRL_sign(fresh.get(), signer.get(), digest_of(kind, signer.get())) > 0
                   ? encoded_by(i2d_X509_CRL, fresh.get())
                   : "";
    });
    return made.empty() ? "" : block.with(made);
}

std::string KeyBlocks::of_public_key(const Block &block)
{
    const unsigned char *der = bytes_of(block.der);
    PrivateKey           old = own(d2i_PUBKEY(nullptr, &der, static_cast<long>(block.der.size())));
    PrivateKey           fresh = old ? fresh_key(old.get()) : nullptr;
    return fresh ? block.with(public_part(fresh.get())) : "";
}

/* Up to the end of its first line, or of what begins it if all stands in one; what has no label is none's beginning. */
static size_t label_length(std::string_view text)
{
    static constexpr std::string_view begin = "-----BEGIN ", dashes = "-----";
    size_t                            close = text.find(dashes, begin.size());
    if (close == text.rfind("-----END "))
        return begin.size();
    return std::min(text.find('\n'), close + dashes.size());
}

std::string KeyBlocks::of(std::string_view text)
{
    struct Kind {
        std::string_view label_end;
        std::string (KeyBlocks::*replace)(const Block &);
        uint64_t Replacements::*count;
    };
    static constexpr Kind kinds[] = {
        {"ENCRYPTED PRIVATE KEY", &KeyBlocks::of_encrypted_key, &Replacements::keys},
        {"PRIVATE KEY", &KeyBlocks::of_private_key, &Replacements::keys},
        {"PUBLIC KEY", &KeyBlocks::of_public_key, &Replacements::keys},
        {"CERTIFICATE", &KeyBlocks::of_certificate, &Replacements::certificates},
        {"CERTIFICATE REQUEST", &KeyBlocks::of_request, &Replacements::certificates},
        {"X509 CRL", &KeyBlocks::of_revocation_list, &Replacements::certificates},
    };
    std::optional<Block> block = Block::read(text);
    for (const Kind &kind : kinds) {
        if (!block || !block->label.ends_with(kind.label_end))
            continue;
        bool        is_encrypted = !block->headers.empty();
        std::string made = is_encrypted ? of_encrypted_key(*block) : (this->*kind.replace)(*block);
        ERR_clear_error();
        if (made.empty())
            break;
        texts_.counts.*kind.count += 1;
        return made;
    }
    texts_.counts.blocks++;
    size_t end = text.rfind("-----END ");
    size_t body = std::min(label_length(text), end);
    return std::string(text.substr(0, body)) + texts_.permutation().of(text.substr(body, end - body)) +
           std::string(text.substr(end));
}

} // namespace command
