/*
 * Whole texts in memory by libdeflate, of any number of members. What is damaged gives nothing, not even what came
 * before the damage.
 */
#include "system/gzip_text.h"

#include <algorithm>
#include <libdeflate.h>
#include <memory>
#include <new>

namespace command {

static constexpr size_t text_limit = size_t{1} << 30;

bool looks_like_gzip(std::string_view bytes)
{
    return bytes.starts_with("\x1f\x8b");
}

namespace {

using Unpacker = std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor *)>;

/* Appends the first member's text, and takes the member off. False when it is damaged or the text gets too long. */
bool unpack_member(const Unpacker &unpacker, std::string_view &bytes, std::string &text)
{
    size_t before = text.size();
    size_t most = text_limit - before;
    for (size_t room = std::min(bytes.size() * 4 + 4096, most);; room = std::min(room * 2, most)) {
        text.resize(before + room);
        size_t used = 0, made = 0;
        auto   result = libdeflate_gzip_decompress_ex(unpacker.get(), bytes.data(), bytes.size(), text.data() + before,
                                                      room, &used, &made);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE && room < most)
            continue;
        text.resize(before + made);
        bytes.remove_prefix(used);
        return result == LIBDEFLATE_SUCCESS;
    }
}

} // namespace

std::string gzip(std::string_view text)
{
    using Packer = std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor *)>;
    static constexpr int level = 6;
    Packer               packer(libdeflate_alloc_compressor(level), libdeflate_free_compressor);
    if (!packer)
        throw std::bad_alloc();
    std::string bytes(libdeflate_gzip_compress_bound(packer.get(), text.size()), '\0');
    bytes.resize(libdeflate_gzip_compress(packer.get(), text.data(), text.size(), bytes.data(), bytes.size()));
    return bytes;
}

std::optional<std::string> gunzip(std::string_view bytes)
{
    Unpacker    unpacker(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string text;
    if (!unpacker || bytes.empty())
        return std::nullopt;
    while (!bytes.empty())
        if (!unpack_member(unpacker, bytes, text))
            return std::nullopt;
    return text;
}

} // namespace command
