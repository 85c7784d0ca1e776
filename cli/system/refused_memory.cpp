/*
 * The program's own malloc, calloc and realloc: those of the C library, or of what is preloaded ahead of it, and a look
 * at what they give. What they give is given back to free() as ever.
 */
#include "system/refused_memory.h"

#include <atomic>
#include <cstddef>
#include <dlfcn.h>
#include <new>

namespace command {

static std::atomic<bool> is_refused;
static void (*end_of_process)();

bool memory_was_refused()
{
    return is_refused;
}

void forget_refused_memory()
{
    is_refused = false;
}

void require_no_refused_memory()
{
    if (memory_was_refused())
        throw std::bad_alloc();
}

std::string with_likely_cause(const std::string &text)
{
    static constexpr char cause[] = " Memory was refused (Cannot allocate memory), which is the likely cause.";
    return memory_was_refused() ? text + cause : text;
}

void end_when_refused_memory(void (*end)())
{
    end_of_process = end;
}

} // namespace command

#ifdef __SANITIZE_ADDRESS__
#define IS_SANITIZED 1
#elif defined(__has_feature)
#define IS_SANITIZED __has_feature(address_sanitizer)
#endif

#if !IS_SANITIZED

namespace {

/* dlsym asks for no memory where it finds what it looks for. */
template <typename Function> void find_next(Function *&next, const char *name)
{
    if (!next)
        next = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/* Who asks for nothing may get nothing. */
void *looked_at(void *block, bool asked)
{
    if (block || !asked)
        return block;
    command::is_refused = true;
    if (command::end_of_process)
        command::end_of_process();
    return nullptr;
}

} // namespace

extern "C" {

void *malloc(size_t size)
{
    static decltype(malloc) *next;
    find_next(next, "malloc");
    return looked_at(next(size), size != 0);
}

void *calloc(size_t count, size_t size)
{
    static decltype(calloc) *next;
    find_next(next, "calloc");
    return looked_at(next(count, size), count != 0 && size != 0);
}

void *realloc(void *block, size_t size)
{
    static decltype(realloc) *next;
    find_next(next, "realloc");
    return looked_at(next(block, size), size != 0);
}

} // extern "C"

#endif
