/*
 * What people are told of the cause of a change: what it is about, and why it is done. It knows the library's code and
 * one update file's rules, no configuration.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace command {

struct CauseText {
    std::string kind;     /* protection, credentials, network, logging, appearance, housekeeping; or rule */
    std::string sentence; /* why; empty where nobody has said it */
};

class Causes {
  public:
    /* `update_file` is the text of the image's update file, for the comments of its rules. */
    explicit Causes(std::string_view update_file);

    /* What an author of changes is: mechanism and name as it has them, and the rule's line in the update file, 0 for
     * what is no rule. */
    CauseText of(std::string_view mechanism, std::string_view name, uint32_t line) const;

  private:
    std::map<uint32_t, CauseText>                 rules_; /* by line */
    std::map<std::string, CauseText, std::less<>> code_;  /* by name */
};

} // namespace command
