/*
 * The words that say nothing of whose a configuration is: those of the image, of the library's conversions, and of the
 * language. An upgrade goes by them, so they stay.
 */
#pragma once

#include "image/image_files.h"

#include <string>
#include <string_view>
#include <unordered_set>

namespace command {

class KnownWords {
  public:
    KnownWords(); /* only those of the library and the language */
    explicit KnownWords(const Image &image);

    /* Of letters and digits, in any case. */
    bool has(std::string_view word) const;

    /* Whether it is a page of the image, as far as its words go. */
    bool has_page(std::string_view text) const;

    void add_page(std::string_view text);

    /* Every word of a text, each also without the number at its end. */
    void add(std::string_view text);

  private:
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };
    std::unordered_set<std::string, Hash, std::equal_to<>> words_;
    std::unordered_set<std::string, Hash, std::equal_to<>> pages_; /* their words alone */
};

} // namespace command
