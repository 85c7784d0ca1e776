/*
 * Why the signature lists were changed, as the image's database has it. It asks the database what the library has asked
 * it, and more; it changes nothing.
 */
#pragma once

#include "image/database.h"

#include <optional>
#include <string>
#include <string_view>

namespace command {

class SignatureReasons {
  public:
    /* The bytes of the image's signature.db, which are read for as long as this lives. */
    explicit SignatureReasons(std::string_view database) : connection_(open_bytes(database)) {}

    /* Why the list of that key ("main_class_list") lost the identifier; empty when the key is that of no such list, or
     * the database cannot be asked. */
    std::string of_loss(std::string_view list, const std::string &id) const;

  private:
    /* Nothing when the database cannot answer. */
    std::optional<bool> has(const char *question, const std::string &id) const;

    Connection connection_;
};

/* Why a list has gained a main class. */
inline constexpr char reason_of_new_class[] = "new in the image's database; it joins switched off";

} // namespace command
