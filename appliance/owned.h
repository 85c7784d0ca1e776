/* What a C library has made, owned by one pointer and freed by that library's own function. */
#pragma once

#include <memory>

namespace appliance {

template <auto free_it> struct Freed {
    template <typename Thing> void operator()(Thing *thing) const
    {
        free_it(thing);
    }
};

template <typename Thing, auto free_it> using Owned = std::unique_ptr<Thing, Freed<free_it>>;

} // namespace appliance
