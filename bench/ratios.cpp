/*
 * Ratios are made from what was measured once all is done; the fastest of several repetitions stands for a benchmark.
 * One that did not run leaves out the ratios that need it.
 */
#include "ratios.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace bench {

RatioReporter::RatioReporter(std::vector<Ratio> ratios)
    : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular), ratios_(std::move(ratios))
{
}

void RatioReporter::ReportRuns(const std::vector<Run> &runs)
{
    for (const Run &run : runs) {
        if (run.error_occurred || run.run_type != Run::RT_Iteration || run.iterations == 0)
            continue;
        std::string name = run.run_name.function_name;
        std::string argument = run.run_name.args;
        double      seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
        auto        known = seconds_.emplace(name + "/" + argument, seconds).first;
        known->second = std::min(known->second, seconds); /* the best of several repetitions */
        if (std::find(arguments_.begin(), arguments_.end(), argument) == arguments_.end())
            arguments_.push_back(argument);
    }
    ConsoleReporter::ReportRuns(runs);
}

double RatioReporter::seconds(const std::vector<std::string> &names, const std::string &argument) const
{
    double all = 0;
    for (const std::string &name : names) {
        auto found = seconds_.find(name + "/" + argument);
        if (found == seconds_.end())
            return -1;
        all += found->second;
    }
    return all;
}

void RatioReporter::print(const Ratio &ratio, const std::string &argument) const
{
    double these = seconds(ratio.these, argument);
    double those = seconds(ratio.those, argument);
    if (these >= 0 && those > 0)
        printf("%-50s %5s: %6.2f\n", ratio.title.c_str(), argument.c_str(), these / those);
}

void RatioReporter::Finalize()
{
    printf("\n");
    for (const Ratio &ratio : ratios_)
        for (const std::string &argument : arguments_)
            print(ratio, argument);
}

} // namespace bench
