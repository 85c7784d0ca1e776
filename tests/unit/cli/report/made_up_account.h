/* An account as no upgrade would give it: an entry of each fate, of several hands, and of the signature lists. */
#pragma once

#include "explain/account.h"

namespace support {

/* In which the rules among its authors stand, with their comments. */
inline constexpr char made_up_update_file[] = "[6.00]\n"
                                              "# protection: Nobody may do that.\n"
                                              "<lab>,<desk>\n"
                                              "\n"
                                              "# logging: It is logged elsewhere.\n"
                                              "<lab>,<lamp>\n";

/* Its authors. */
enum : uint32_t { by_stage, by_protection, by_logging, by_writer, by_signatures };

command::Account made_up_account();

} // namespace support
