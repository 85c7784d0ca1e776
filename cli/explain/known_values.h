/*
 * Values that nobody has set: those of the predefined configuration and the texts of the default pages. Of all others
 * it is not known who has set them.
 */
#pragma once

#include "explain/account.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace command {

class KnownValues {
  public:
    /* The texts of the image's system.conf.predefine and the bytes of its signature.db. A database that cannot be read
     * has no pages. */
    KnownValues(std::string_view predefined, std::string_view database);

    /* Whose value a `set` of an old file of that release had. */
    Hand hand_of(int32_t release, const AccountEntry &entry) const;

  private:
    struct Page {
        std::string code;
        std::string text;
    };

    void take_predefined(std::string_view predefined);
    void take_pages(std::string_view database);
    Hand hand_in_page(const AccountEntry &entry, std::string_view value) const;

    std::map<std::vector<std::string>, std::string> values_; /* by path */
    std::map<std::string, Page, std::less<>>        pages_;  /* by name */
};

} // namespace command
