/* Folders of the stand-in appliance. Its own functions alone; what the library calls stands in platform.h. */
#pragma once

namespace appliance {

/* Makes a folder and what is missing above it, with mode 0700. True when the folder is there in the end. */
bool make_folders(const char *path);

} // namespace appliance
