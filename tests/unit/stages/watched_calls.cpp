/* The wrapped calls that reach out of a tree: taken down, stood in for, or watched for a secret in memory that is
 * given back. */
#include "watched_calls.h"

#include <malloc.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace watched {

std::vector<std::string>    encrypted_texts;
std::function<void(char *)> encrypt;
std::vector<MountCall>      mounts;
time_t                      now;

static char   wanted[128];
static size_t wanted_size;
static size_t freed;
static size_t wiped;

void look_for(const std::string &secret)
{
    wanted_size = secret.copy(wanted, sizeof wanted);
    freed = 0;
    wiped = 0;
}

size_t found_in_freed_memory()
{
    return freed;
}

size_t found_in_wiped_memory()
{
    return wiped;
}

static bool holds_wanted(const void *block, size_t size)
{
    return wanted_size > 0 && memmem(block, size, wanted, wanted_size);
}

bool block_holds(const char *block, const std::string &secret)
{
    return memmem(block, malloc_usable_size(const_cast<char *>(block)), secret.data(), secret.size()) != nullptr;
}

static std::string shown(const char *text)
{
    return text ? text : "(null)";
}

extern "C" {

void   __real_free(void *block);
void   __real_OPENSSL_cleanse(void *buffer, size_t size);
void   __real_key_encrypt(char *text);
time_t __real_time(time_t *result);

void __wrap_free(void *block)
{
    freed += block && holds_wanted(block, malloc_usable_size(block));
    __real_free(block);
}

void __wrap_OPENSSL_cleanse(void *buffer, size_t size)
{
    wiped += holds_wanted(buffer, size);
    __real_OPENSSL_cleanse(buffer, size);
}

void __wrap_key_encrypt(char *text)
{
    encrypted_texts.push_back(text);
    if (encrypt)
        encrypt(text);
    else
        __real_key_encrypt(text);
}

int __wrap_mount(const char *source, const char *target, const char *type, unsigned long flags, const void *extra)
{
    mounts.push_back({shown(source), shown(target), shown(type), flags, extra == nullptr});
    errno = EPERM;
    return -1;
}

time_t __wrap_time(time_t *result)
{
    time_t time = now ? now : __real_time(nullptr);
    if (result)
        *result = time;
    return time;
}

} // extern "C"

} // namespace watched
