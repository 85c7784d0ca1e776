/*
 * Bounded text helpers. Case is that of ASCII, whatever the locale, and no text needs a NUL ahead of the length that
 * is given with it.
 */
#include "platform/platform.h"

#include <cstring>

static unsigned char folded(char letter)
{
    unsigned char byte = static_cast<unsigned char>(letter);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

static bool same_but_for_case(const char *one, const char *other, size_t length)
{
    for (size_t at = 0; at < length; at++) {
        if (folded(one[at]) != folded(other[at]))
            return false;
    }
    return true;
}

char *v_memcasestr(const char *text, size_t length, const char *needle, size_t needle_length)
{
    if (!text || !needle || needle_length > length)
        return nullptr;
    for (size_t at = 0; at <= length - needle_length; at++) {
        if (same_but_for_case(text + at, needle, needle_length))
            return const_cast<char *>(text + at);
    }
    return nullptr;
}

char *v_memrstr(const char *text, size_t length, const char *needle, size_t needle_length)
{
    if (!text || !needle || needle_length > length)
        return nullptr;
    for (size_t behind = length - needle_length + 1; behind > 0; behind--) {
        if (memcmp(text + behind - 1, needle, needle_length) == 0)
            return const_cast<char *>(text + behind - 1);
    }
    return nullptr;
}

void v_strncpy(char *target, size_t room, const char *source, size_t length)
{
    if (!target || room == 0)
        return;
    size_t taken = source ? strnlen(source, length < room ? length : room - 1) : 0;
    if (taken)
        memmove(target, source, taken);
    target[taken] = '\0';
}
