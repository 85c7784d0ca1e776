/* Calls of the library that fail on demand; program.cmake has the list. */
#pragma once

#include <string>

namespace refused {

extern std::string compression_to; /* the compression to this file fails */
extern int         stream;         /* the stream that fdopen is to make as this number, from 1, cannot be had */
extern int         part;           /* the call of read of this number, from 1, fails */
extern int         scan;           /* the scan of a folder of this number, from 1, fails */

} // namespace refused
