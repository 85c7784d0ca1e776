/*
 * A private copy of what an upgrade reads and changes, in which the library runs.
 *
 * It holds the appliance's places under their own paths, readable by its owner only, and goes with its record. Nothing
 * in it is synced: whatever comes of it is written anew by the commit.
 */
#pragma once

#include "appliance/places.h"
#include "appliance/root.h"
#include "run/interrupts.h"
#include "system/temporary_folder.h"

#include <memory>
#include <string>

namespace command {

/* An empty folder to work in, below an appliance's own folder or in another one; it goes with its record. */
class StagingFolder {
  public:
    explicit StagingFolder(const Root &appliance);                       /* in /var/lib/migr of the appliance */
    StagingFolder(const std::string &work, const std::string &shown_as); /* in `work`; empty: the usual one for
                                                                            temporary files */
    ~StagingFolder();
    StagingFolder(const StagingFolder &) = delete;
    StagingFolder &operator=(const StagingFolder &) = delete;

    const Root &root() const
    {
        return *root_;
    }

  private:
    const Root                      *appliance_ = nullptr;
    std::string                      inside_; /* its path in the appliance */
    std::unique_ptr<TemporaryFolder> temporary_;
    std::unique_ptr<Root>            root_;
};

/* An empty one, for an appliance that was none. */
std::unique_ptr<StagingFolder> throw_away_appliance();

/*
 * Copies what lies in those places of an appliance to a staging folder, and gives what that was, files with their
 * sums. Devices, pipes and sockets are not copied. Throws Failure; `interrupts` ends it.
 */
Entries stage(const Root &appliance, const std::vector<Place> &places, const StagingFolder &to, Interrupts &interrupts);

} // namespace command
