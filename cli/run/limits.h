/* The filter of the calls that every child which reads configurations may make, as the kernel takes it but for one
 * value, which is the child's own. tools/list_limits writes it. */
#pragma once

#include <cstddef>
#include <linux/filter.h>

namespace command {

extern const sock_filter limits_of_every_child[];
extern const size_t      length_of_limits;
extern const size_t      place_of_own_number; /* of the step whose value is the child's process number */

} // namespace command
