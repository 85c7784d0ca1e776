/* Work inside an appliance's root folder that gives a value. Only sources include this. */
#pragma once

#include "appliance/root.h"
#include "system/codec.h"

#include <type_traits>

namespace command {

/* Runs `work` as Root::run does, and gives what it gives: nothing, or anything that codec.h can carry. */
template <typename Work> auto inside(const Root &root, const Work &work, Interrupts *interrupts = nullptr)
{
    using Value = std::invoke_result_t<Work>;
    if constexpr (std::is_void_v<Value>)
        root.run([&] { return work(), std::string(); }, interrupts);
    else
        return decoded<Value>(root.run([&] { return encoded(work()); }, interrupts));
}

} // namespace command
