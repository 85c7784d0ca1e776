/* Memory in large pieces. What is kept in it is its owner's business. */
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace command {

/* Has the system give large pages, as far as whole ones lie there, to memory of which nothing has been touched yet and
 * most is going to be: one fault then stands for hundreds. Promises nothing. */
void ask_for_large_pages(const void *start, size_t size);

template <typename Value> struct LargePages : std::allocator<Value> {
    template <typename Other> struct rebind {
        using other = LargePages<Other>;
    };

    Value *allocate(size_t count)
    {
        Value *start = std::allocator<Value>::allocate(count);
        ask_for_large_pages(start, count * sizeof(Value));
        return start;
    }
};

/* For what has about as many elements as a configuration has lines. */
template <typename Value> using LargeVector = std::vector<Value, LargePages<Value>>;

} // namespace command
