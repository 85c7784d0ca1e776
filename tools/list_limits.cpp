/* Writes, as C++ for the command, the filter that holds its children to the calls of cli/run/listed_calls.h, by
 * libseccomp. To put it together takes longer than all else at the start of a child, and libseccomp does not get over
 * memory that is refused. A child puts its own number in, which is all that it may signal. */
#include "run/listed_calls.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <linux/filter.h>
#include <seccomp.h>
#include <sstream>
#include <string>

namespace {

/* libseccomp gives errors as negative numbers. */
void check(int result)
{
    if (result >= 0)
        return;
    fprintf(stderr, "list_limits: %s\n", strerror(-result));
    exit(1);
}

/* A call that an older libseccomp has no name for has no rule: the others hold all the same. */
void add_rules(scmp_filter_ctx filter, uint32_t action, const char *calls)
{
    std::istringstream words(calls);
    for (std::string call; words >> call;)
        if (int number = seccomp_syscall_resolve_name(call.c_str()); number != __NR_SCMP_ERROR)
            check(seccomp_rule_add(filter, action, number, 0));
}

/* Only with that value as an argument. */
void allow_with(scmp_filter_ctx filter, int call, const scmp_arg_cmp &argument)
{
    check(seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 1, argument));
}

/* Stands for a child's own number; no process has one beyond 2^22. */
constexpr uint32_t own_number = 0x6f776e21;

void add_all_rules(scmp_filter_ctx filter)
{
    static constexpr uint32_t searched_by_halves = 2;
    add_rules(filter, SCMP_ACT_ALLOW, command::allowed_calls);
    add_rules(filter, SCMP_ACT_KILL_PROCESS, command::deadly_calls);
    for (unsigned long control : command::allowed_controls)
        allow_with(filter, SCMP_SYS(ioctl), SCMP_A1(SCMP_CMP_EQ, control));
    for (int question : command::allowed_questions)
        allow_with(filter, SCMP_SYS(prctl), SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(question)));
    allow_with(filter, SCMP_SYS(tgkill), SCMP_A0(SCMP_CMP_EQ, own_number)); /* which abort() signals */
    check(seccomp_attr_set(filter, SCMP_FLTATR_CTL_OPTIMIZE, searched_by_halves));
}

} // namespace

int main()
{
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(ENOSYS));
    FILE           *program = tmpfile();
    if (!filter || !program)
        check(-ENOMEM);
    add_all_rules(filter);
    check(seccomp_export_bpf(filter, fileno(program)));
    rewind(program);
    printf("/* Made by tools/list_limits. */\n#include \"run/limits.h\"\n\n"
           "const sock_filter command::limits_of_every_child[] = {\n");
    unsigned length = 0, places = 0, place = 0;
    for (sock_filter step; fread(&step, sizeof step, 1, program) == 1; length++) {
        printf("    {0x%x, %u, %u, 0x%x},\n", step.code, step.jt, step.jf, step.k);
        places += step.k == own_number;
        place = step.k == own_number ? length : place;
    }
    printf("};\n\nconst size_t command::length_of_limits = %u;\nconst size_t command::place_of_own_number = %u;\n",
           length, place);
    seccomp_release(filter);
    return places == 1 ? 0 : 1;
}
