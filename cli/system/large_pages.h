/* Memory in large pieces. What is kept in it is its owner's business. */
#pragma once

#include <cstddef>

namespace command {

/* Has the system give large pages, as far as whole ones lie there, to memory of which nothing has been touched yet and
 * most is going to be: one fault then stands for hundreds. Promises nothing. */
void ask_for_large_pages(const void *start, size_t size);

} // namespace command
