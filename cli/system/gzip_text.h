/* Packing and unpacking in memory. Files are somebody else's. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace command {

bool looks_like_gzip(std::string_view bytes);

/* For what is kept, or for what is soon unpacked again, which is as long as it was. */
enum class Packing { tight, none };

/* One member. Throws std::bad_alloc. */
std::string gzip(std::string_view text, Packing packing = Packing::tight);

/* The text of all members, or nothing when the bytes are damaged, cut short, or unpack to more than a configuration
 * may hold. Throws std::bad_alloc. */
std::optional<std::string> gunzip(std::string_view bytes);

/* What is wrong with bytes for which gunzip gives nothing: "is empty", as a file's owner is told. */
const char *why_not_unpacked(std::string_view bytes);

} // namespace command
