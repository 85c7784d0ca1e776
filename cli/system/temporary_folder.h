/* A folder of our own that goes, with all that is in it, when its record does, or with the next one that is made there.
 */
#pragma once

#include "system/file_descriptor.h"

#include <filesystem>
#include <string>

namespace command {

/* Removes what killed processes left in that folder of what the class below makes there. */
void sweep_temporary_folders(const std::filesystem::path &where);

class TemporaryFolder {
  public:
    /* In the folder `where`, or in the usual one for temporary files if that is empty, under a name that nothing else
     * has. What killed processes left there under such names goes first. Throws Failure. */
    explicit TemporaryFolder(const std::string &where);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    /* Makes a folder in it, for its owner alone, and gives its path. Throws PathError. */
    std::string make(const char *name) const;

  private:
    std::filesystem::path path_;
    Fd                    lock_; /* held as long as the folder is wanted, by this process and its children */
};

} // namespace command
