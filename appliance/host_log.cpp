/* The host's log, which here is standard error. It adds nothing to what it is given, and keeps nothing. */
#include "platform/platform.h"

#include <cstdarg>
#include <cstdio>

void message(const char *format, ...)
{
    if (!format)
        return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}
