/*
 * A part of a file is larger than any line, so a line is always whole in memory when it is cut off. What a text says is
 * nobody's business here.
 */
#include "tree/text_reader.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

static constexpr size_t longest_line = MIGR_LINE_SIZE - 1;

/* Header lines are in the first part, and so is most texts' end. A further part stays in the processor's cache while it
 * is cut up. */
static constexpr size_t first_room = size_t{1} << 16;
static constexpr size_t further_room = size_t{1} << 19;
static_assert(first_room > longest_line);

struct text_file {
    int    fd;
    bool   ended;
    bool   failed;
    size_t room; /* for the part, behind this record */
};

/* Room for a part of that size; what the last one holds stays. 0, or -1 without memory. */
static int32_t make_room(text_reader *reader, size_t room)
{
    auto *file = static_cast<text_file *>(realloc(reader->file, sizeof(text_file) + room));
    if (!file)
        return -1;
    file->room = room;
    reader->file = file;
    reader->text = reinterpret_cast<char *>(file + 1);
    return 0;
}

/* Puts as much of the file as there is room for behind what is left of the last part. */
static void read_part(text_reader *reader)
{
    text_file *file = reader->file;
    size_t     left = reader->size - reader->at;
    memmove(reader->text, reader->text + reader->at, left);
    reader->at = 0;
    reader->size = left;
    while (!file->ended && reader->size < file->room) {
        ssize_t got = read(file->fd, reader->text + reader->size, file->room - reader->size);
        file->failed = got < 0;
        file->ended = got <= 0;
        reader->size += file->ended ? 0 : static_cast<size_t>(got);
    }
}

int32_t open_text(text_reader *reader, const char *path)
{
    *reader = {};
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    if (make_room(reader, first_room) != 0) {
        close(fd);
        return -1;
    }
    reader->file->fd = fd;
    reader->file->ended = reader->file->failed = false;
    read_part(reader);
    if (!reader->file->failed)
        return 0;
    close_text(reader);
    return -1;
}

static void read_further_part(text_reader *reader)
{
    if (reader->file->room == further_room || make_room(reader, further_room) == 0)
        read_part(reader);
    else
        reader->file->ended = reader->file->failed = true;
}

int32_t read_line(text_reader *reader, char *line)
{
    if (reader->file && !reader->file->ended && reader->size - reader->at < longest_line)
        read_further_part(reader);
    size_t left = reader->size - reader->at;
    if (left == 0)
        return 0;
    size_t      most = left < longest_line ? left : longest_line;
    const char *start = reader->text + reader->at;
    const void *newline = memchr(start, '\n', most);
    size_t      length = newline ? static_cast<size_t>(static_cast<const char *>(newline) - start) + 1 : most;
    memcpy(line, start, length);
    line[length] = '\0';
    reader->line = reader->newlines + 1;
    if (newline)
        reader->newlines++;
    reader->at += length;
    return 1;
}

uint32_t line_number(const text_reader *reader)
{
    return reader->line;
}

int32_t text_is_cut(const text_reader *reader)
{
    return reader->file && reader->file->failed ? 1 : 0;
}

void close_text(text_reader *reader)
{
    if (reader->file)
        close(reader->file->fd);
    free(reader->file ? static_cast<void *>(reader->file) : reader->text);
    *reader = {};
}
