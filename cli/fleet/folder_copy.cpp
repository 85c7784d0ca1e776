/* From disk to disk. */
#include "fleet/folder_copy.h"

#include "fleet/disk_archive.h"
#include "system/failure.h"
#include "system/refused_calls.h"

#include <cerrno>
#include <cstring>

namespace command {

/* The library of archives goes on without attributes and lists of rights that it could not read. What somebody may not
 * read is another thing. */
static void require_all_of(const std::string &folder)
{
    int refused = first_refused_call();
    if (refused != 0 && refused != EACCES && refused != EPERM)
        throw Failure(Status::failed,
                      folder + ": cannot copy all of it: " + strerror(refused) + ". " + next_step(refused), refused);
}

void copy_folder(const std::string &from, const std::string &to)
{
    CallsWatched so_that_causes_are_known;
    copy_all_members(open_folder(from), open_disk(), true,
                     [&](const std::string &path) { return to + path.substr(from.size()); });
    require_all_of(from);
}

} // namespace command
