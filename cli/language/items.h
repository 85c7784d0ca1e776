/*
 * A configuration's blocks and sets as a flat list in the order of the text, for whoever looks for something in it.
 * Made for texts without damage; of a damaged one it gives something, and never fails.
 */
#pragma once

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
    size_t           parent; /* the block that it stands in, by its place in the list; no_item at the top level */
    std::string_view name;   /* as written, with its quotes; of a top-level config all its words */
    std::string_view value;  /* of a set: as written, quotes and further lines included */
};

inline constexpr size_t no_item = static_cast<size_t>(-1);

std::vector<ConfigItem> items_of(std::string_view text);

/* Without the quotes around it, if it has any. */
std::string_view unquoted(std::string_view text);

/* "system certificate local / shop / type". */
std::string path_of(const std::vector<ConfigItem> &items, size_t at);

} // namespace command
