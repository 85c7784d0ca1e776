/* The steps of a pass one by one, in a sandbox (sandbox.h), on one text that lies there as a plain file. */
#pragma once

#include "need.h"

#include <cstddef>
#include <string>

namespace bench {

/* The text that parse() reads. */
extern const char plain_file[];

/* Makes the text that plain file, and gives its size. */
size_t lay_out(const std::string &text);
void   remove_texts();

/* Each needs what the one ahead of it has left. */
void parse();
void walk();
void write();
void release();

} // namespace bench
