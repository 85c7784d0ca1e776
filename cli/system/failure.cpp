/* Texts of failures: a table of what usually helps against an errno, and one form for all of them. */
#include "system/failure.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace command {

std::string text_of(const std::exception &error)
{
    return dynamic_cast<const std::bad_alloc *>(&error) ? "there is not enough memory" : error.what();
}

std::string next_step(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return "Run migr as root, or as the user to whom the appliance's folder belongs.";
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return "Make room on that disk and run migr again.";
    case EROFS:
        return "Mount that disk for writing and run migr again.";
    case ENAMETOOLONG:
        return "Move that file out of the appliance's folder.";
    case EIO:
        return "Look after the disk before anything else.";
    default:
        return "Put that right and run migr again.";
    }
}

Failure failure_of(const PathError &error, const std::string &shown_path)
{
    std::string why = error.error != 0 ? ": " + std::string(strerror(error.error)) : "";
    std::string advice = error.advice.empty() ? next_step(error.error) : error.advice;
    return {Status::unusable, shown_path + ": cannot " + error.doing + " it" + why + ". " + advice, error.error};
}

} // namespace command
