/* Sample appliances with the image's files, ready for an upgrade. */
#pragma once

#include "support/appliance_root.h"

#include <string>
#include <vector>

namespace ledger_test {

/* The folders of samples/ that are appliances. */
std::vector<std::string> all_samples();

/* The image's files go into the root as well. */
void lay_out_sample(const std::string &sample, const support::ApplianceRoot &root);
void lay_out_image(const support::ApplianceRoot &root);

/* The plain configuration files of a sample, whole. */
std::vector<std::string> configurations_of(const std::string &sample);

} // namespace ledger_test
