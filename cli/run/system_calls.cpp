/* The filter's way into the kernel. Landlock would do as much for files, which the change of root does already, and in
 * the kernels of today nothing about processes. */
#include "run/system_calls.h"

#include "run/limits.h"
#include "system/failure.h"

#include <cerrno>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <vector>

namespace command {

namespace {

/* False where the kernel knows no filters. */
bool take(int result)
{
    if (result == 0)
        return true;
    if (errno == EINVAL || errno == ENOSYS)
        return false;
    throw PathError{"limit", "the system calls of a process", errno};
}

} // namespace

void hold_to_listed_calls()
{
    std::vector<sock_filter> steps(limits_of_every_child, limits_of_every_child + length_of_limits);
    steps[place_of_own_number].k = static_cast<uint32_t>(getpid());
    sock_fprog program = {static_cast<unsigned short>(steps.size()), steps.data()};
    if (take(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)))
        take(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program));
}

} // namespace command
