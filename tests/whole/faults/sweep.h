/*
 * A sweep: the whole upgrade of an appliance, once for each call that the library makes, and that call fails.
 *
 * Whatever fails, the run ends by itself and loses no memory, and each stored file is afterwards as it was, or as the
 * undisturbed run leaves it, or at a text that the appliance names, or, where its compression failed, gone with its
 * plain text in /var/log. A new appliance is a record of what it has and what may become of it.
 */
#pragma once

#include "faults.h"
#include "support/appliance_root.h"

#include <functional>
#include <string>
#include <vector>

namespace sweep {

struct Appliance {
    std::function<void(const support::ApplianceRoot &)> lay_out;

    /* Every stored file that a run may write, also those that a run makes. */
    std::vector<std::string> stored;

    /* The texts between the old one and the upgraded one that a file may stop at, by path and for all files. */
    std::function<bool(const std::string &path, const std::string &text)> may_stop_at;

    /* Files and folders besides the stored ones that a run may change, as prefixes of paths without the first "/". */
    std::vector<std::string> touched;
};

/* Runs the sweep and reports what is wrong as failures of the current test. Of more than `most` calls every so-manieth
 * fails, so that `most` do. How many calls the undisturbed run makes. */
size_t run(const Appliance &appliance, faults::Kind kind, faults::Span span, size_t most);

} // namespace sweep
