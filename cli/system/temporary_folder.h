/* A folder of our own that goes, with all that is in it, when its record does. */
#pragma once

#include <filesystem>
#include <string>

namespace command {

class TemporaryFolder {
  public:
    /* "migr-PURPOSE-..." in the folder for temporary files. Throws Failure. */
    explicit TemporaryFolder(const std::string &purpose);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    /* Makes a folder in it, for its owner alone, and gives its path. Throws PathError. */
    std::string make(const char *name) const;

  private:
    std::filesystem::path path_;
};

} // namespace command
