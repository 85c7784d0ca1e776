/*
 * A configuration's blocks and sets in the order of the text, for whoever looks for something in it: read one by one,
 * or as a flat list. Made for texts without damage; of a damaged one it gives something, and never fails.
 */
#pragma once

#include "language/lines.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace command {

enum class ItemKind { config, edit, set };

/* The views lead into the text. */
struct ConfigItem {
    ItemKind         kind;
    size_t           line;   /* from 1 */
    size_t           parent; /* the block that it stands in, by its number; no_item at the top level */
    std::string_view name;   /* as written, with its quotes; of a top-level config all its words */
    std::string_view value;  /* of a set: as written, quotes and further lines included */
};

inline constexpr size_t no_item = static_cast<size_t>(-1);

/* Reads a text item by item, and keeps no more of it than the blocks around. */
class ConfigItems {
  public:
    explicit ConfigItems(std::string_view text) : lines_(text) {}

    /* False at the text's end. */
    bool next();

    /* What was read last. */
    const ConfigItem &item() const
    {
        return item_;
    }
    /* The top-level config that it is or stands in, in comma form. */
    const std::string &config() const
    {
        return config_;
    }
    /* The blocks that it stands in, the outermost first. */
    const std::vector<ConfigItem> &blocks() const
    {
        return blocks_;
    }

  private:
    void open_block();
    bool take(const ConfigLine &line);

    ConfigLines             lines_;
    ConfigItem              item_ = {ItemKind::set, 0, no_item, {}, {}};
    std::vector<ConfigItem> blocks_;
    std::vector<size_t>     numbers_; /* of these */
    std::string             config_;
    size_t                  count_ = 0;
};

/* All of them, numbered by their places in the list. */
std::vector<ConfigItem> items_of(std::string_view text);

/* Without the quotes around it, if it has any. */
std::string_view unquoted(std::string_view text);

/* "system certificate local / shop / type". */
std::string path_of(const std::vector<ConfigItem> &items, size_t at);
std::string path_of(const ConfigItems &items); /* of what was read last */

} // namespace command
