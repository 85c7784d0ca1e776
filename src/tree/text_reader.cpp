/*
 * A file is read in one piece, since all of it is wanted and a line at a time costs more than the parsing. What cannot
 * be read to its end counts as not there.
 */
#include "tree/text_reader.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/* Reads on until the end of the file; the size that fstat gave is only a first guess. */
static int32_t read_all(text_reader *reader, int fd, size_t room)
{
    reader->text = static_cast<char *>(malloc(room));
    while (reader->text) {
        ssize_t got = read(fd, reader->text + reader->size, room - reader->size);
        if (got <= 0)
            return got == 0 ? 0 : -1;
        reader->size += static_cast<size_t>(got);
        if (reader->size < room)
            continue;
        room *= 2;
        char *grown = static_cast<char *>(realloc(reader->text, room));
        if (!grown)
            return -1;
        reader->text = grown;
    }
    return -1;
}

int32_t open_text(text_reader *reader, const char *path)
{
    *reader = {};
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    struct stat st = {};
    size_t      guess = fstat(fd, &st) == 0 && st.st_size > 0 ? static_cast<size_t>(st.st_size) : 0;
    int32_t     result = read_all(reader, fd, guess + 4096);
    close(fd);
    if (result != 0)
        close_text(reader);
    return result;
}

int32_t read_line(text_reader *reader, char *line)
{
    size_t left = reader->size - reader->at;
    if (left == 0)
        return 0;
    size_t      most = left < MIGR_LINE_SIZE - 1 ? left : MIGR_LINE_SIZE - 1;
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

/* The block of the heap stays; whole pages inside it lose their content and take no memory any more. */
void forget_read_text(text_reader *reader)
{
    static constexpr size_t    much = size_t{1} << 20;
    static constexpr uintptr_t page = 4096; /* where they are larger the system refuses */
    if (reader->at - reader->gone < much)
        return;
    uintptr_t start = (reinterpret_cast<uintptr_t>(reader->text) + reader->gone + page - 1) / page * page;
    uintptr_t end = (reinterpret_cast<uintptr_t>(reader->text) + reader->at) / page * page;
    madvise(reinterpret_cast<void *>(start), end - start, MADV_DONTNEED);
    reader->gone = reader->at;
}

void close_text(text_reader *reader)
{
    free(reader->text);
    *reader = {};
}
