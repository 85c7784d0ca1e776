/*
 * The lines of a part as they are shown: as the library writes them, but for secrets. It changes nothing in a tree, and
 * what a terminal acts on stays as it is.
 */
#pragma once

#include "explain/part_text.h"

#include <string>

namespace command {

class ShownLines {
  public:
    ShownLines(const ToldTree &tree, const PartText &part, bool show_secrets)
        : tree_(tree), part_(part), show_secrets_(show_secrets)
    {
    }

    /* One line or several, without the last newline, as they were when that turn was over. */
    std::string text(uint32_t line, uint32_t turn) const;

    /* How many these are. */
    uint64_t count(uint32_t line, uint32_t turn) const;

    /* "server-policy server-pool / desk / status": the names from the top-level config down to the line's own. */
    std::string path(uint32_t line, uint32_t turn) const;

    /* That of the block that the line is in, or opens or closes. */
    std::string block_path(uint32_t line, uint32_t turn) const;

    std::string name(uint32_t line, uint32_t turn) const;

  private:
    std::string without_secret(uint32_t line, const ToldTree::Content &content, uint32_t turn) const;

    const ToldTree &tree_;
    const PartText &part_;
    bool            show_secrets_;
};

} // namespace command
