/*
 * What is known of a fleet, for questions about all of it: which appliances there are, which are done, and what was
 * found in how many. Kept in a database on disk that nobody else sees and that goes with its record, so that ten
 * thousand appliances take no more memory than ten.
 */
#pragma once

#include "fleet/result.h"
#include "image/database.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace command {

/* Something that several appliances have. */
struct Group {
    std::string cause;
    std::string kind;           /* of a cause of drops */
    uint64_t    appliances = 0; /* that have it */
    uint64_t    count = 0;      /* how often it is in all of them; or how many lines */
    std::string first;          /* the first of them by name */
    std::string example;        /* what was said of that one */
};

struct LostLines {
    std::string entry;
    uint64_t    dropped = 0;
    uint64_t    lines = 0;
};

struct ListedResult {
    std::string entry;
    EntryEnd    end = EntryEnd::failed;
    std::string output;
    uint64_t    lines = 0, dropped = 0;
    std::string why; /* the first reason against it, or empty */
};

class FleetIndex {
  public:
    FleetIndex(); /* Throws Failure. */

    /* Takes the place of an earlier result of the same appliance. */
    void add(const EntryResult &result);

    /* An appliance that there is. */
    void expect(const std::string &entry);

    /* Whether its result stands, for that identity: it has one, and another try would give the same. */
    bool is_done(const std::string &entry, const Identity &identity) const;

    /* Whether it has any result. */
    bool has_result(const std::string &entry) const;

    /* By name, in which order they are numbered from 1. */
    void for_each_expected(const std::function<void(const std::string &entry)> &look) const;

    /* Results that come from here on are answers to what is expected. */
    void wait_for_answers();

    /* Of that number, unless it has an answer; otherwise empty. */
    std::string unanswered(size_t number) const;

    /* All of them, with their numbers. */
    void for_each_unanswered(const std::function<void(const std::string &entry, size_t number)> &look) const;
    void for_each_result(const std::function<void(const ListedResult &result)> &look) const;

    uint64_t               expected() const;
    uint64_t               count(EntryEnd end) const;
    std::vector<Group>     findings(bool reasons) const; /* the most frequent first */
    std::vector<Group>     causes() const;               /* the most lines first */
    std::vector<LostLines> worst(unsigned most) const;   /* those that lost most */

    /* Many changes in one go, which is much faster. */
    void begin();
    void commit();

  private:
    Connection connection_;
};

} // namespace command
