/*
 * phases MEGABYTES ROUNDS: how long a pass takes to parse, walk, write and release, the least of so many rounds, each
 * as seconds of processor time on a line. Built once more with the library as it would be if nobody could watch it.
 */
#include "generate.h"
#include "sandbox.h"
#include "steps.h"

#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

struct Phase {
    const char *name;
    void (*step)();
    double least = 1e9;
};

double processor_time()
{
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void measure(Phase *phase)
{
    double start = processor_time();
    phase->step();
    phase->least = std::min(phase->least, processor_time() - start);
}

} // namespace

int main(int argc, char **argv)
{
    bench::need(argc == 3, "phases MEGABYTES ROUNDS");
    auto size = static_cast<size_t>(atoi(argv[1])) * 1000000;
    mallopt(M_TRIM_THRESHOLD, INT_MAX); /* only a first round pays for what the system does to hand out memory */
    mallopt(M_MMAP_THRESHOLD, INT_MAX);
    bench::enter_sandbox();
    bench::lay_out(bench::header_lines() + bench::configuration(size));
    bench::parse();
    bench::release();
    Phase phases[] = {
        {"parse", bench::parse}, {"walk", bench::walk}, {"write", bench::write}, {"release", bench::release}};
    for (int rounds = atoi(argv[2]); rounds > 0; rounds--)
        for (Phase &phase : phases)
            measure(&phase);
    bench::leave_sandbox();
    for (const Phase &phase : phases)
        printf("%s %.6f\n", phase.name, phase.least);
}
