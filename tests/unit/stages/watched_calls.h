/* Calls of the library that the tests stand between; program.cmake has the list. */
#pragma once

#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace watched {

/* Calls of key_encrypt: the texts that came, and what stands in for the platform's, if anything does. */
extern std::vector<std::string>    encrypted_texts;
extern std::function<void(char *)> encrypt;

/* Calls of mount; a null text is shown as "(null)". All of them fail. */
struct MountCall {
    std::string   source;
    std::string   target;
    std::string   type;
    unsigned long flags;
    bool          without_data;

    bool operator==(const MountCall &) const = default;
};
extern std::vector<MountCall> mounts;

/* What time() gives; 0: the real time. */
extern time_t now;

/* From now on counts the blocks of memory that still hold `secret` when they are freed, and the buffers that hold it
 * when they are wiped; an empty text stops it. */
void   look_for(const std::string &secret);
size_t found_in_freed_memory();
size_t found_in_wiped_memory();

/* Whether the whole block of a heap text, not just the text, holds `secret`. */
bool block_holds(const char *block, const std::string &secret);

} // namespace watched
