/* One configuration file carried forward in a throw-away appliance. */
#pragma once

#include "appliance/single_file.h"
#include "system/failure.h"

#include <string>

namespace command {

struct ConvertRequest {
    SingleRequest input;
    std::string   output; /* path; empty or "-": standard output. A folder for a file from before 5.10 */
    std::string   image;  /* folder of the image's files; empty: the packaged one */
};

/* Does it all; messages go to standard error. Throws Failure. */
Status convert(const ConvertRequest &request);

} // namespace command
