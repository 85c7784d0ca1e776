/* write_text MEGABYTES: a configuration of that size, always the same, to standard output. */
#include "generate.h"
#include "need.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv)
{
    bench::need(argc == 2, "write_text MEGABYTES");
    std::string text = bench::header_lines() + bench::configuration(static_cast<size_t>(atoi(argv[1])) * 1000000);
    bench::need(fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0, "writing");
}
