/* Whole-file gzip. A stored configuration is either what was compressed last, whole, or what it was before. */
#include "driver/hooks.h"
#include "platform/platform.h"

#include "files.h"

#include <fcntl.h>
#include <libdeflate.h>

#include <algorithm>

using appliance::Block;
using appliance::ReplacedFile;
using appliance::text_limit;

/* No deflate stream grows by more than this factor, so more room than that is never of use. */
constexpr size_t DEFLATE_GROWTH_LIMIT = 1032;

constexpr size_t   FIRST_ROOM = 64 * 1024;
constexpr int      COMPRESSION_LEVEL = 6;
constexpr unsigned STORED_FILE_MODE = 0600;

/* Level 0 only stores, which makes a text longer: one that might pass the limit is packed. */
static int level_for(size_t length)
{
    bool need_not_be_small = migr_unpacks_soon && migr_unpacks_soon() != 0;
    return need_not_be_small && length <= text_limit / 2 ? 0 : COMPRESSION_LEVEL;
}

static int store(const char *target, const void *bytes, size_t length)
{
    ReplacedFile file(AT_FDCWD, target);
    return file.make() && file.write(bytes, length) && file.put_in_place(STORED_FILE_MODE) ? 0 : -1;
}

int cvgzip(const char *source, const char *target)
{
    Block  text;
    size_t length = 0;
    if (appliance::no_path(target) || !appliance::read_whole(source, text_limit, &text, &length))
        return -1;

    appliance::Owned<libdeflate_compressor, libdeflate_free_compressor> tool(
        libdeflate_alloc_compressor(level_for(length)));
    if (!tool)
        return -1;
    size_t room = libdeflate_gzip_compress_bound(tool.get(), length);
    Block  packed = appliance::new_block(room);
    if (!packed)
        return -1;
    size_t used = libdeflate_gzip_compress(tool.get(), text.get(), length, packed.get(), room);
    return used > 0 ? store(target, packed.get(), used) : -1;
}

namespace {

/* The unpacked text of all members so far. */
struct Unpacked {
    Block  text;
    size_t used = 0;
    size_t room = 0;
};

} // namespace

/* A file's last four bytes are the length of its last member's text, which is mostly all of it. Whoever made the file
 * may have lied, so a length that few texts reach is not believed. */
static size_t likely_length(const unsigned char *packed, size_t length)
{
    constexpr size_t trailer = 4, believed_growth = 64;
    if (length < trailer)
        return 0;
    const unsigned char *said = packed + length - trailer;
    size_t               text = said[0] | size_t{said[1]} << 8 | size_t{said[2]} << 16 | size_t{said[3]} << 24;
    return text <= length * believed_growth ? text : 0;
}

/* Doubles the room, or makes the first, within the limit and within what `packed` more bytes can unpack to. */
static bool grow(Unpacked *out, size_t packed, size_t first)
{
    size_t most = text_limit;
    if (packed < text_limit / DEFLATE_GROWTH_LIMIT)
        most = std::min(text_limit, out->used + packed * DEFLATE_GROWTH_LIMIT);
    size_t room = std::min(std::max({out->room * 2, first, FIRST_ROOM}), most);
    if (room <= out->room)
        return false;
    void *larger = realloc(out->text.get(), room);
    if (!larger)
        return false;
    (void)out->text.release();
    out->text.reset(static_cast<unsigned char *>(larger));
    out->room = room;
    appliance::ask_for_large_pages(out->text.get() + out->used, room - out->used);
    return true;
}

/* Unpacks the member that `packed` begins with. The bytes that it took, or 0 when it is damaged or too long. */
static size_t unpack_member(libdeflate_decompressor *tool, const unsigned char *packed, size_t length, Unpacked *out)
{
    for (;;) {
        size_t            taken = 0;
        size_t            given = 0;
        libdeflate_result result = libdeflate_gzip_decompress_ex(tool, packed, length, out->text.get() + out->used,
                                                                 out->room - out->used, &taken, &given);
        if (result == LIBDEFLATE_SUCCESS) {
            out->used += given;
            return taken;
        }
        if (result != LIBDEFLATE_INSUFFICIENT_SPACE || !grow(out, length, 0))
            return 0;
    }
}

/* What stands behind a member is a further member: padding and remains of an older file are damage. */
static bool unpack_all(const unsigned char *packed, size_t length, Unpacked *out)
{
    appliance::Owned<libdeflate_decompressor, libdeflate_free_decompressor> tool(libdeflate_alloc_decompressor());
    if (!tool || length == 0 || !grow(out, length, likely_length(packed, length)))
        return false;
    while (length > 0) {
        size_t taken = unpack_member(tool.get(), packed, length, out);
        if (taken == 0)
            return false;
        packed += taken;
        length -= taken;
    }
    return true;
}

int cvgunzip(const char *source, const char *target)
{
    Block  packed;
    size_t length = 0;
    if (appliance::no_path(target) || !appliance::read_whole(source, text_limit, &packed, &length))
        return -1;
    Unpacked out;
    if (!unpack_all(packed.get(), length, &out))
        return -1;
    return store(target, out.text.get(), out.used);
}
