/* The library stays loaded until the process ends. */
#include "fleet/archive_library.h"

#include "system/failure.h"

#include <dlfcn.h>
#include <string>

namespace command {

/* Its interface since 3.0, of 2011. */
static constexpr char name_of_library[] = "libarchive.so.13";

void *archive_function(const char *name)
{
    static void *const library = dlopen(name_of_library, RTLD_NOW | RTLD_LOCAL);
    void              *begins = library ? dlsym(library, name) : nullptr;
    if (!begins)
        throw Failure(Status::unusable, std::string("Archives cannot be read or written: ") + dlerror() +
                                            ". Install libarchive (on Debian: apt install libarchive13).");
    return begins;
}

} // namespace command
