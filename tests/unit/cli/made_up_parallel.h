/* A program that is found where GNU parallel is looked for, and does what a test says: no job is run by it that the
 * test's own lines do not run. */
#pragma once

#include "support/appliance_root.h"

#include <string>
#include <vector>

namespace support {

class MadeUpParallel {
  public:
    /* `body`: lines for a shell. In them $log, $jobs and $sent are what stands behind --joblog and --arg-file, and the
     * folder it was started in; $here is folder(). The log has its first line by then. */
    explicit MadeUpParallel(const std::string &body = "");
    ~MadeUpParallel();
    MadeUpParallel(const MadeUpParallel &) = delete;
    MadeUpParallel &operator=(const MadeUpParallel &) = delete;

    void does(const std::string &body) const;

    /* Where files can be put for it. */
    std::string folder() const
    {
        return root_.path().string();
    }
    const ApplianceRoot &root() const
    {
        return root_;
    }
    /* What it was called with last, and how often it was called. */
    std::vector<std::string> arguments() const;
    size_t                   calls() const;

  private:
    ApplianceRoot root_;
    std::string   path_before_;
};

} // namespace support
