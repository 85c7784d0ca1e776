/* The library stays loaded until the process ends. */
#include "fleet/archive_library.h"

#include "system/failure.h"

#include <cerrno>
#include <dlfcn.h>
#include <string>

namespace command {

/* Its interface since 3.0, of 2011. */
static constexpr char name_of_library[] = "libarchive.so.13";

static void *library;

static void *require(void *found)
{
    if (!found)
        throw Failure(Status::unusable,
                      std::string("Archives cannot be read or written: ") + dlerror() +
                          ". That takes libarchive (on Debian: apt install libarchive13).",
                      ELIBACC);
    return found;
}

void load_archive_library()
{
    if (!library)
        library = require(dlopen(name_of_library, RTLD_NOW | RTLD_LOCAL));
}

void *archive_function(const char *name)
{
    load_archive_library();
    return require(dlsym(library, name));
}

} // namespace command
