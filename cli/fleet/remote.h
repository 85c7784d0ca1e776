/*
 * A fleet's jobs on other machines, by ssh: an appliance goes there as a file, its results come back as one, and
 * nothing of it stays there. Which machine does what is for GNU parallel to say.
 */
#pragma once

#include "fleet/entry_upgrade.h"
#include "fleet/results_folder.h"

#include <functional>
#include <string>
#include <vector>

namespace command {

/* What `migr fleet identity` prints, by which two machines are told to do the same. */
std::string identity_line(const Identity &identity);

/*
 * Asks each machine of a file, as GNU parallel's --sshloginfile has it, for its identity, with that image, and gives
 * those that answer. Those that do not are told of. Throws Failure when one has another version or another image, or
 * when none answers.
 */
std::vector<std::string> hosts_that_answer(const std::string &file, const std::string &image, const Identity &identity,
                                           Interrupts &interrupts);

/* On the other machine: upgrades what was sent, and leaves what is to be returned. `job` says how; its path and results
 * are those of the two files. */
EntryResult upgrade_sent(EntryJob job, const std::string &sent, const std::string &returned, Interrupts &interrupts);

/* The files that are on their way, in the folder of results. */
class Shipments {
  public:
    explicit Shipments(const ResultsFolder &results);

    std::string folder() const;

    /* Makes what is to be sent of an appliance, and gives its name there. */
    std::string send(size_t number, const std::string &path) const;

    /* Takes all results that have come back into their places, but for those that `is_here` knows. */
    void take_in(const std::function<bool(const EntryResult &result)> &is_here) const;

    /* What was sent and not answered goes. */
    void clear() const;

  private:
    const ResultsFolder &results_;
};

} // namespace command
