/* The filters' way into the kernel. Landlock would do as much for files, which the change of root does already, and in
 * the kernels of today nothing about processes. */
#include "run/system_calls.h"

#include "run/limits.h"
#include "system/failure.h"

#include <cerrno>
#include <linux/seccomp.h>
#include <memory>
#include <seccomp.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace command {

namespace {

/* libseccomp gives errors as negative numbers. */
void check(int result)
{
    if (result < 0)
        throw PathError{"limit", "the system calls of a process", -result};
}

/* Which abort() signals. */
void hold_to_own_signals()
{
    static constexpr uint32_t                        as_the_kernel_gave_it = 1;
    std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(seccomp_init(SCMP_ACT_ALLOW), seccomp_release);
    check(filter ? 0 : -ENOMEM);
    scmp_arg_cmp another = SCMP_A0(SCMP_CMP_NE, static_cast<scmp_datum_t>(getpid()));
    check(seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(tgkill), 1, another));
    check(seccomp_attr_set(filter.get(), SCMP_FLTATR_API_SYSRAWRC, as_the_kernel_gave_it));
    check(seccomp_load(filter.get()));
}

void hold_to_limits_of_every_child()
{
    sock_fprog program = {length_of_limits, const_cast<sock_filter *>(limits_of_every_child)};
    check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 ? 0 : -errno);
    check(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 ? 0 : -errno);
}

} // namespace

void hold_to_listed_calls()
{
    try {
        hold_to_own_signals();
        hold_to_limits_of_every_child();
    } catch (const PathError &error) {
        bool is_unknown = error.error == EINVAL || error.error == ENOSYS;
        if (!is_unknown)
            throw;
    }
}

} // namespace command
