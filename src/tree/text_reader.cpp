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

/* A part stays in the processor's cache while it is cut up. */
struct text_file {
    int  fd;
    bool ended;
    bool failed;
    char part[size_t{1} << 19];
};

/* Puts as much of the file as there is room for behind what is left of the last part. */
static void read_part(text_reader *reader)
{
    text_file *file = reader->file;
    size_t     left = reader->size - reader->at;
    memmove(file->part, file->part + reader->at, left);
    reader->at = 0;
    reader->size = left;
    while (!file->ended && reader->size < sizeof file->part) {
        ssize_t got = read(file->fd, file->part + reader->size, sizeof file->part - reader->size);
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
    auto *file = static_cast<text_file *>(malloc(sizeof(text_file)));
    if (!file) {
        close(fd);
        return -1;
    }
    file->fd = fd;
    file->ended = file->failed = false;
    reader->file = file;
    reader->text = file->part;
    read_part(reader);
    if (!file->failed)
        return 0;
    close_text(reader);
    return -1;
}

int32_t read_line(text_reader *reader, char *line)
{
    if (reader->file && !reader->file->ended && reader->size - reader->at < longest_line)
        read_part(reader);
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
