/* Base64 decoding for stored secrets, whose text is padded with NULs and may be cut into lines. */
#include "platform/platform.h"

/* 0 to 63, or -1 for what is no base64 letter: blanks, line ends, the padding and anything strange. */
static int letter_value(char letter)
{
    if (letter >= 'A' && letter <= 'Z')
        return letter - 'A';
    if (letter >= 'a' && letter <= 'z')
        return letter - 'a' + 26;
    if (letter >= '0' && letter <= '9')
        return letter - '0' + 52;
    if (letter == '+')
        return 62;
    return letter == '/' ? 63 : -1;
}

int b64_decode(const char *text, char *out, int limit)
{
    if (!text || !out || limit < 0)
        return 0;

    int      length = 0;
    int      waiting = 0; /* bits of `bits` that have not gone out */
    unsigned bits = 0;
    for (; *text && length < limit; text++) {
        int value = letter_value(*text);
        if (value < 0)
            continue;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xffff;
        waiting += 6;
        if (waiting < 8)
            continue;
        waiting -= 8;
        out[length++] = static_cast<char>(bits >> waiting & 0xff);
    }
    out[length] = '\0';
    return length;
}
