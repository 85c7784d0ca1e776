/* Reading and writing of whole files, for what the stand-in appliance keeps on disk. */
#pragma once

#include "owned.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdlib>

namespace appliance {

using Block = Owned<unsigned char, free>; /* from malloc, so that want of memory is seen */

/* Has the system give large pages, as far as whole ones lie there, to memory that is going to be filled: one fault then
 * stands for hundreds. */
void ask_for_large_pages(void *start, size_t size);

/* With large pages; empty when there is not as much memory. */
Block new_block(size_t size);

/* The longest text that is packed or unpacked: a small file must not unpack to all the memory there is. Not a constant
 * of the compiler's, so that a test needs no text of that length. */
extern const size_t text_limit;

/* A descriptor that closes itself. */
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor();
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const
    {
        return fd_;
    }
    bool good() const
    {
        return fd_ >= 0;
    }

  private:
    int fd_;
};

/* True for null and "": no path at all. */
bool no_path(const char *path);

/* Opens a regular file for reading and gives its status; -1 for anything else, and a pipe does not make it wait.
 * `folder` is what a relative name is relative to, AT_FDCWD or a descriptor; `flags` may add O_NOFOLLOW. */
int open_regular(int folder, const char *name, int flags, struct stat *status);

/* All of a regular file, or false when it cannot be read or is longer than `limit`. */
bool read_whole(const char *path, size_t limit, Block *bytes, size_t *size);

/*
 * A file that is written beside its target and then takes the target's place: the target is new in full, or as it was.
 * The file beside it has a name with a leading dot, which nobody takes for a configuration file, and goes away unless
 * it was put in place.
 */
class ReplacedFile {
  public:
    /* `target` is relative to `folder` (AT_FDCWD or a descriptor that outlives this object). */
    ReplacedFile(int folder, const char *target);
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile &) = delete;
    ReplacedFile &operator=(const ReplacedFile &) = delete;

    /* Makes the file with mode 0600, or a symbolic link. Each method gives false on failure. */
    bool make();
    bool make_link(const char *leads_to);
    bool write(const void *bytes, size_t length);
    bool put_in_place(mode_t mode); /* files: on disk before the name changes, unless the host works on a copy */
    bool put_link_in_place();

  private:
    template <typename Maker> bool make_beside(const Maker &maker);
    bool                           rename_over();
    void                           sync_folder() const;

    int         folder_;
    const char *target_;
    int         fd_ = -1;
    char       *beside_ = nullptr; /* the file's name until it is in place; null while there is none */
};

} // namespace appliance
