/* The host's header, under the name by which it is installed. What it says stands in driver/migr.h. */
#include "driver/migr.h"
