/* An author's texts are copied when he is new. */
#include "explain/authors.h"

#include "driver/change.h"

namespace command {

bool Authors::is_last(const migr_author &told) const
{
    if (list_.empty() || told.name != last_name_)
        return false;
    const Author &last = list_[last_];
    return told.release == last.release && told.line == last.line && last.name == told.name &&
           last.mechanism == told.mechanism;
}

uint32_t Authors::number_of(const migr_author &told)
{
    if (is_last(told))
        return last_;
    Author author = {told.release, told.mechanism, told.name, told.line};
    auto [at, is_new] = numbers_.try_emplace(author, static_cast<uint32_t>(list_.size()));
    if (is_new)
        list_.push_back(author);
    last_name_ = told.name;
    last_ = at->second;
    return last_;
}

} // namespace command
