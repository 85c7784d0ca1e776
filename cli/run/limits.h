/* The filter of the calls that every child which reads configurations may make, as the kernel takes it.
 * tools/list_limits writes it. */
#pragma once

#include <linux/filter.h>

namespace command {

extern const sock_filter    limits_of_every_child[];
extern const unsigned short length_of_limits;

} // namespace command
