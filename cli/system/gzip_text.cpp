/*
 * Whole texts in memory by libdeflate, of any number of members. What is damaged gives nothing, not even what came
 * before the damage.
 */
#include "system/gzip_text.h"

#include "system/large_pages.h"
#include "system/owned.h"

#include <algorithm>
#include <libdeflate.h>
#include <new>

namespace command {

static constexpr size_t text_limit = size_t{1} << 30;

bool looks_like_gzip(std::string_view bytes)
{
    return bytes.starts_with("\x1f\x8b");
}

namespace {

using Unpacker = Owned<libdeflate_decompressor, libdeflate_free_decompressor>;

Unpacker new_unpacker()
{
    Unpacker unpacker(libdeflate_alloc_decompressor());
    if (!unpacker)
        throw std::bad_alloc();
    return unpacker;
}

/* What a text may take. A file's last four bytes are the length of its last member's text, which is mostly all of it;
 * a length that few texts reach is not believed. */
size_t likely_length(std::string_view bytes)
{
    static constexpr size_t trailer = 4, believed_growth = 64, usual_growth = 4, least = 4096;
    size_t                  said = 0;
    for (size_t at = 0; at < std::min(trailer, bytes.size()); at++)
        said = said << 8 | static_cast<unsigned char>(bytes[bytes.size() - 1 - at]);
    return said > 0 && said <= bytes.size() * believed_growth ? said : bytes.size() * usual_growth + least;
}

void make_room(std::string &text, size_t size)
{
    text.reserve(size);
    ask_for_large_pages(text.data(), size);
    text.resize(size);
}

/* Appends the first member's text, and takes the member off. False when it is damaged or the text gets too long. */
bool unpack_member(const Unpacker &unpacker, std::string_view &bytes, std::string &text)
{
    size_t before = text.size();
    size_t most = text_limit - before;
    for (size_t room = std::min(likely_length(bytes), most);; room = std::min(room * 2, most)) {
        make_room(text, before + room);
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

/* Where a member's data begin (RFC 1952, section 2.3), or the bytes' end when they break off ahead of that. */
size_t start_of_data(std::string_view member)
{
    static constexpr size_t        fixed = 10;
    static constexpr unsigned char sum = 2, extra = 4, name = 8, comment = 16;
    if (member.size() < fixed)
        return member.size();
    auto   byte = [&](size_t at) { return at < member.size() ? static_cast<unsigned char>(member[at]) : 0U; };
    size_t flags = byte(3), at = fixed;
    if (flags & extra)
        at += 2 + byte(at) + (byte(at + 1) << 8);
    for (unsigned char text : {name, comment})
        if (flags & text)
            at = std::min(member.find('\0', at), member.size()) + 1;
    return std::min(at + (flags & sum ? 2 : 0), member.size());
}

/* Whether the data are whole, so that only what stands behind them can be wrong. */
bool has_whole_data(const Unpacker &unpacker, std::string_view member)
{
    static constexpr size_t trailer = 8;
    std::string_view        data = member.substr(start_of_data(member));
    std::string             text;
    for (size_t room = likely_length(member);; room = std::min(room * 2, text_limit)) {
        text.resize(room);
        size_t used = 0, made = 0;
        auto   result =
            libdeflate_deflate_decompress_ex(unpacker.get(), data.data(), data.size(), text.data(), room, &used, &made);
        if (result != LIBDEFLATE_INSUFFICIENT_SPACE || room == text_limit)
            return result == LIBDEFLATE_SUCCESS && data.size() - used >= trailer;
    }
}

} // namespace

std::string gzip(std::string_view text, Packing packing)
{
    using Packer = Owned<libdeflate_compressor, libdeflate_free_compressor>;
    int    level = packing == Packing::tight ? 6 : 0;
    Packer packer(libdeflate_alloc_compressor(level));
    if (!packer)
        throw std::bad_alloc();
    std::string bytes(libdeflate_gzip_compress_bound(packer.get(), text.size()), '\0');
    bytes.resize(libdeflate_gzip_compress(packer.get(), text.data(), text.size(), bytes.data(), bytes.size()));
    return bytes;
}

std::optional<std::string> gunzip(std::string_view bytes)
{
    Unpacker    unpacker = new_unpacker();
    std::string text;
    if (bytes.empty())
        return std::nullopt;
    while (!bytes.empty())
        if (!unpack_member(unpacker, bytes, text))
            return std::nullopt;
    return text;
}

const char *why_not_unpacked(std::string_view bytes)
{
    if (bytes.empty())
        return "is empty";
    if (!looks_like_gzip(bytes))
        return "is no gzip file";
    Unpacker    unpacker = new_unpacker();
    std::string text;
    for (std::string_view left = bytes; !left.empty();) {
        std::string_view member = left;
        if (!looks_like_gzip(member))
            return "is a gzip file with something else behind its end";
        if (!unpack_member(unpacker, left, text))
            return has_whole_data(unpacker, member) ? "is a gzip file whose sum is wrong"
                                                    : "is a gzip file that breaks off or is damaged";
    }
    return "unpacks to more than a configuration may hold";
}

} // namespace command
