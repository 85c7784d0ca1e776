/*
 * Goes ahead of each source that ./dev mutate compiles: says whether the breakage in hand is at work, and takes down
 * which ones were reached. It calls the kernel by itself, for some programs have open() and the like go elsewhere. No
 * part of a build that anybody ships.
 */
#ifndef MIGR_MUTATION_RUNTIME_H
#define MIGR_MUTATION_RUNTIME_H

#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace migr_mutation {

inline long           active = -1;
inline long           turns;             /* of the active one; a loop that never ends takes many */
inline unsigned char *reached = nullptr; /* a byte for each breakage, in a file that all processes share */
inline long           count;

constexpr long most_turns = 50'000'000;

inline void open_map(const char *path)
{
    struct stat facts = {};
    int         descriptor = (int)syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
    if (descriptor < 0 || syscall(SYS_newfstatat, descriptor, "", &facts, AT_EMPTY_PATH) != 0)
        return;
    void *map = (void *)syscall(SYS_mmap, nullptr, facts.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    syscall(SYS_close, descriptor);
    if (map == MAP_FAILED)
        return;
    count = facts.st_size;
    reached = (unsigned char *)map;
}

/* Ahead of whatever a source sets up at its start. */
__attribute__((constructor(101))) static void begin()
{
    if (const char *text = getenv("MIGR_MUTANT"))
        active = atol(text);
    if (const char *path = reached ? nullptr : getenv("MIGR_MUTANTS_REACHED"))
        open_map(path);
}

inline void reach(long breakage)
{
    if (reached && breakage < count)
        reached[breakage] = 1;
}

inline bool is_active(long breakage)
{
    if (breakage != active)
        return false;
    if (++turns > most_turns)
        syscall(SYS_exit_group, 99);
    return true;
}

inline bool on(long breakage)
{
    reach(breakage);
    return is_active(breakage);
}

/* A condition that the breakages after the first can fix as true or false: reached only by who makes it otherwise. */
inline bool fixed(long made_true, bool value)
{
    reach(value ? made_true + 1 : made_true);
    if (is_active(made_true))
        return true;
    return !is_active(made_true + 1) && value;
}

inline bool truth(long negated, bool value)
{
    return on(negated) ? !value : fixed(negated + 1, value);
}

} // namespace migr_mutation

#endif
