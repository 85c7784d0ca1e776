/* An upgrade of a private copy, for its account and its texts alone. Nothing of what it is about is changed. */
#pragma once

#include "appliance/single_file.h"
#include "appliance/staged_run.h"
#include "explain/account.h"
#include "image/image_files.h"
#include "run/interrupts.h"

#include <map>
#include <string>

namespace command {

using ResultTexts = std::map<std::string, std::string>; /* by file */

struct Accounting {
    StagedRun   run;
    Account     account;
    ResultTexts results; /* if they are wanted */
};

enum class Texts { left, wanted };

/* Of an appliance or a file, with whatever can be upgraded of it. Throws Failure. */
Accounting account_for(const SingleRequest &request, const Image &image, Detail detail, Texts texts,
                       Interrupts &interrupts);

/* The upgraded texts of the account's files. */
ResultTexts results_in(const Root &staging, const Account &account);

} // namespace command
