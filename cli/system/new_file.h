/*
 * A file that takes its place in one step. It is written beside its place, under a name of its own; publish() syncs it
 * and renames it over what stood there. Until then what stood there stays, whole, and a NewFile that ends unpublished
 * leaves nothing behind. Only a killed process leaves the file beside: the next one finds it by beside().
 */
#pragma once

#include "system/file_descriptor.h"

#include <string>
#include <string_view>

namespace command {

/*
 * The path beside `path` under which it is written: ".migr-new-" and a sum of its last part, in the same folder. Always
 * the same for a path, different for each file of a folder, and never too long for a disk.
 */
std::string beside(const std::string &path);

class NewFile {
  public:
    /*
     * Makes the file, empty, at `made_at`, for its owner alone. What stands there goes first: it is what a killed run
     * left. With the default name two processes that write the same file would take each other's, so it is for folders
     * in which one of them works at a time; others choose a name of their own. Throws PathError, naming `path`.
     */
    explicit NewFile(std::string path);
    NewFile(std::string path, std::string made_at);
    ~NewFile(); /* removes it unless it has been published */
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    /* Open for writing: for what write() does not do, such as its mode, its owner, or a copy. */
    int fd() const
    {
        return fd_.get();
    }

    /* Throws PathError, naming the file's place. */
    void write(std::string_view bytes);

    /* All of it is on disk, still beside. publish() does it. Throws PathError. */
    void sync();

    /* Puts it into its place. The rename itself is on disk after sync_folder(). Throws PathError. */
    void publish();

  private:
    std::string path_;
    std::string made_at_;
    Fd          fd_;
    bool        published_ = false;
};

} // namespace command
