/* Faults of a rule, each with the place in the rule's text that it is about. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace command {

struct Fault {
    size_t      at; /* offset in the rule's text */
    std::string text;
};

class FaultList {
  public:
    /* `whole` is the rule's text, and outlives the list. */
    explicit FaultList(std::string_view whole) : whole_(whole) {}

    /* `where` is a part of the whole, and may be empty. */
    void add(std::string_view where, const std::string &text)
    {
        faults_.push_back({static_cast<size_t>(where.data() - whole_.data()), text});
    }

    const std::vector<Fault> &all() const
    {
        return faults_;
    }

  private:
    std::string_view   whole_;
    std::vector<Fault> faults_;
};

} // namespace command
