/* A page as a file that an operator has named. */
#pragma once

#include "output/json.h"
#include "run/interrupts.h"

#include <string>

namespace command {

/* Throws Failure when something is there that is no page, and would be lost; or when there is no folder for it. */
void require_page_path(const std::string &path);

/* The page of a ledger, for its owner alone. Throws PathError and Failure. */
void write_page(const std::string &path, Json::Members ledger, Interrupts &interrupts);

} // namespace command
