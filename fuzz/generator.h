/*
 * Makes and disturbs the documents of the fuzzers (document.h) out of the vocabulary. Favours what is looked for: a
 * block that it makes is about one row, migration or rule, which the document runs. Whether what comes out is a good
 * configuration it does not ask.
 */
#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace fuzzing {

/* What is done with the documents. */
enum class Use { parts, runs };

class Generator {
  public:
    Generator(Use use, unsigned seed) : use_(use), random_(seed) {}

    /* A document of its own. */
    std::string made();

    /* One with a few things done to it. */
    std::string disturbed(std::string document);

    /* One with blocks and lines of the other. */
    std::string crossed(const std::string &document, const std::string &other);

  private:
    size_t      draw(size_t below);
    bool        one_in(size_t chance);
    std::string changed(std::string word);
    std::string word();
    std::string name();
    std::string value();
    std::string top_name();
    std::string sets(size_t most);
    std::string nested(size_t depth);
    std::string entry();
    std::string block();
    std::string rule();
    std::string rules();
    std::string row_of_database();
    std::string file();
    std::string heading();
    std::string head_line();
    std::string pass_line();
    std::string configuration_file();
    std::string release();
    std::string new_line();
    void        disturb_once(std::string *document);

    Use                   use_;
    std::mt19937          random_;
    const struct Subject *subject_ = nullptr; /* whose words are being taken */
};

} // namespace fuzzing
