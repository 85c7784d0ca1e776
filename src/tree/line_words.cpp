/* The words of a line. Each reader leaves a terminated text, whatever it is given, and says where it stopped. */
#include "tree/line_words.h"

#include <cstring>

namespace {

constexpr size_t longest_name = MIGR_NAME_SIZE - 1;

/* Where the words of a text begin; null when it has none, and `output` is empty then. */
char *first_of_words(char *text, char *output)
{
    output[0] = '\0';
    if (text)
        text = skip_white(text);
    return text && *text ? text : nullptr;
}

/* Copies a name that is no longer than a name may be, and gives the position behind it. */
char *take_name(char *text, size_t length, char *output)
{
    memcpy(output, text, length);
    output[length] = '\0';
    return text + length;
}

char *join_name(char *text, size_t length, char *output)
{
    join_words(text, text + length, output, length + 1);
    return text + length;
}

} // namespace

char *skip_white(const char *text)
{
    while (is_white(*text))
        text++;
    return const_cast<char *>(text);
}

void copy_cut(char *output, size_t room, const char *text, size_t length)
{
    if (length > room - 1)
        length = room - 1;
    memcpy(output, text, length);
    output[length] = '\0';
}

void join_words(const char *text, const char *end, char *output, size_t room)
{
    size_t length = 0;
    bool   gap = false;
    for (; text < end && length < room - 1; text++) {
        if (is_white(*text)) {
            gap = true;
            continue;
        }
        if (gap)
            output[length++] = ',';
        gap = false;
        if (length < room - 1)
            output[length++] = *text;
    }
    output[length] = '\0';
}

char *get_first_word(char *text, char *output)
{
    text = first_of_words(text, output);
    if (!text)
        return nullptr;
    size_t length = 0;
    while (length < longest_name && text[length] != '\0' && !is_white(text[length]))
        length++;
    return take_name(text, length, output);
}

char *get_path_name(char *text, char *output)
{
    text = first_of_words(text, output);
    return text ? join_name(text, strnlen(text, longest_name), output) : nullptr;
}

char *get_path_name_2(char *text, char *output)
{
    text = first_of_words(text, output);
    return text ? join_name(text, strlen(text), output) : nullptr;
}

char *get_second_name(char *text, char *output)
{
    text = first_of_words(text, output);
    if (!text)
        return nullptr;
    size_t length = 0;
    size_t quotes = 0;
    while (length < longest_name && text[length] != '\0' && (quotes == 1 || !is_white(text[length])))
        if (text[length++] == '"')
            quotes++;
    return take_name(text, length, output);
}

void get_raw_name(char *text)
{
    size_t length = strlen(text);
    if (length < 2 || text[0] != '"' || text[length - 1] != '"')
        return;
    memmove(text, text + 1, length - 2);
    text[length - 2] = '\0';
}
