/*
 * Texts that may leave the house for texts that may not: what each word, number and address in one becomes. What a text
 * is for, and so how much of it may stay, is said by whoever knows its place.
 */
#pragma once

#include "anonymize/known_words.h"
#include "anonymize/permutation.h"

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>

namespace command {

/* How many of each kind were replaced, or kept. */
struct Replacements {
    uint64_t addresses = 0; /* of networks */
    uint64_t devices = 0;   /* addresses of network cards */
    uint64_t words = 0;
    uint64_t numbers = 0;
    uint64_t secrets = 0;
    uint64_t keys = 0;
    uint64_t certificates = 0; /* requests and revocation lists among them */
    uint64_t blocks = 0;       /* that look like keys or certificates and cannot be read */
    uint64_t kept_words = 0;
    uint64_t kept_numbers = 0;
    uint64_t kept_addresses = 0; /* that stand for something by themselves */
};

inline auto fields_of(Replacements &counts)
{
    return std::tie(counts.addresses, counts.devices, counts.words, counts.numbers, counts.secrets, counts.keys,
                    counts.certificates, counts.blocks, counts.kept_words, counts.kept_numbers, counts.kept_addresses);
}

enum class TextUse {
    setting, /* words that are known stay, so do small numbers */
    prose,   /* only punctuation stays, and addresses that stand for something */
    secret,  /* nothing stays but its shape */
};

class Substitution {
  public:
    /* Both must live as long. */
    Substitution(const KnownWords &known, const Permutation &permutation) : known_(known), permutation_(permutation) {}

    /* Of the same length but for addresses; line breaks and quotes stay where they are. */
    std::string of(std::string_view text, TextUse use);

    /* Whether nothing in a setting would be replaced. */
    bool is_known(std::string_view text) const;

    /* Words of letters whose order is to stay become these from here on. */
    void keep_order(const std::set<std::string> &words);

    const Permutation &permutation() const
    {
        return permutation_;
    }

    /* What becomes of a key, a certificate or the like, from its first line to its last; the counts are for it to keep.
     */
    std::function<std::string(std::string_view block)> of_block;

    Replacements counts;

  private:
    std::string of_scanned(std::string_view text, TextUse use);
    std::string of_secret(std::string_view text);
    std::string of_word(std::string_view word, std::string_view around, TextUse use);
    std::string of_setting_word(std::string_view word, bool is_numeric);
    std::string of_name(std::string_view letters);
    std::string of_number(std::string_view digits, bool is_numeric);
    bool        means_something(std::string_view word) const;
    bool        take_block(std::string_view text, size_t &at, std::string &out);
    bool        take_address(std::string_view text, size_t &at, std::string &out);
    bool        take_escape(std::string_view text, size_t &at, std::string &out);

    const KnownWords                            &known_;
    const Permutation                           &permutation_;
    std::unordered_map<std::string, std::string> names_; /* that were made already */
};

} // namespace command
