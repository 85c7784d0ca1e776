/* The host's header, under the name by which it is installed. */
#include "driver/migr.h"
