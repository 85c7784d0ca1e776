/*
 * The folder of a fleet's results, and what lies where in it:
 *
 *   appliances/NAME         the upgraded folder, archive or file; of a file from before 5.10 a folder with two
 *   ledgers/NAME.json.gz    what a report's page is made of (docs/json.md)
 *   answers/NAME.json       what `migr upgrade --json` says, and what was told on the way
 *   reports/NAME.html       the page, where it was asked for
 *   fleet.jsonl             a line for each appliance that is done; the last one of a name counts
 *   .fleet/                 work that is going on
 */
#pragma once

#include "fleet/result.h"
#include "system/file_descriptor.h"

#include <functional>
#include <string>

namespace command {

class ResultsFolder {
  public:
    /* Makes what is missing of it. Throws Failure. */
    explicit ResultsFolder(const std::string &path);

    const std::string &path() const
    {
        return path_;
    }

    /* The folder for work that is going on. */
    std::string work() const;
    std::string lines() const; /* fleet.jsonl */

    /* Puts a file or folder that was made in work() into its place, given below the folder; what stood there goes. */
    void put(const std::string &made_at, const std::string &place) const;
    void remove(const std::string &place) const;

    /* Everything that was put is on disk; then the line is. Several processes may do so. */
    void add_line(const EntryResult &result) const;

    /* Takes the results of another such folder into this one, but for those that `is_here` knows, and gives how many
     * appliances that were. The other folder must be on the same disk. */
    size_t take_in(const std::string &other, const std::function<bool(const EntryResult &result)> &is_here) const;

    /* Throws Failure when another process works on the whole fleet, and keeps at it. Children that inherit the
     * descriptor keep the lock. */
    Fd lock() const;

  private:
    void take_in_entry(const std::string &other, const EntryResult &result) const;

    std::string path_;
};

/* Calls `look` with each whole line of the file, and its number; there need be no file. A line that a killed process
 * left half written is none. Throws PathError. */
void for_each_line(const std::string &path, const std::function<void(const std::string &line, size_t number)> &look);

/* The result that is in a line of such a file. Throws Failure that names the file and the line. */
EntryResult result_in_line(const std::string &path, const std::string &line, size_t number);

} // namespace command
