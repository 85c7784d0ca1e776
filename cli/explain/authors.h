/* Those who change a configuration, each once, so that others may name them by a number. */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

struct migr_author;

namespace command {

/* Who made a change: see migr_author (driver/change.h). */
struct Author {
    int32_t     release = 0;
    std::string mechanism;
    std::string name;
    uint32_t    line = 0; /* of a rule in the update file */

    auto operator<=>(const Author &) const = default;
};

/* For the way from process to process (system/codec.h). */
inline auto fields_of(Author &author)
{
    return std::tie(author.release, author.mechanism, author.name, author.line);
}

class Authors {
  public:
    /* The author's place in the list, at whose end a new one comes. */
    uint32_t number_of(const migr_author &told);

    const std::vector<Author> &list() const
    {
        return list_;
    }
    std::vector<Author> take_list()
    {
        return std::move(list_);
    }

  private:
    bool is_last(const migr_author &told) const;

    std::vector<Author>        list_;
    std::map<Author, uint32_t> numbers_;
    uint32_t                   last_ = 0; /* who was asked for last: most do several things in a row */
    const char                *last_name_ = nullptr;
};

} // namespace command
