/*
 * Texts for texts, under a key: each has a place of its own among all texts of its shape, and nobody without the key
 * finds the way back. Which text may be replaced, and where it stands, is for the neighbours to say.
 */
#pragma once

#include "system/owned.h"

#include <array>
#include <cstdint>
#include <openssl/evp.h>
#include <string>
#include <string_view>

namespace command {

/* Which letters a letter may become. */
enum class Letters { all, hexadecimal };

class Permutation {
  public:
    /* Throws std::bad_alloc. */
    explicit Permutation(std::string_view secret);

    /*
     * A text of the same length: a letter for a letter in its case, a digit for a digit, a byte of a character of
     * several bytes for another such one, and everything else as it is. Different texts become different ones. Case
     * aside: "Shop" becomes what "shop" becomes, with a capital. Any letter depends on all of the text; of a longer one
     * than mixed_letters, those behind these on all that is ahead of them, so that names that are alike as far as a
     * release reads them stay so.
     */
    std::string of(std::string_view text, Letters letters = Letters::all) const;

    /* The same bytes for the same text, as many as are asked for, and no way from them to the text. */
    std::string bytes(std::string_view text, size_t count) const;

    /* The same for a single number below `limit`. */
    uint32_t number(std::string_view text, uint32_t limit) const;

    static constexpr size_t mixed_letters = 32;

    /* A letter as a place in the range of what it may become. */
    struct LetterPlace {
        uint8_t first = 0;
        uint8_t count = 1; /* with one, it stays */
        uint8_t at = 0;
        bool    is_capital = false;
    };

  private:
    using CipherBlock = std::array<unsigned char, 16>;

    void move_letter(LetterPlace &place, CipherBlock &state) const;

    std::string                                key_;
    Owned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> cipher_;
};

} // namespace command
