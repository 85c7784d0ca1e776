/* A console report that ends with how long some benchmarks took compared with others, and with what was aimed at. */
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

/* The processor time of all benchmarks in `these`, over that of all in `those`: for each argument that was run, or,
 * where the names say their own ("Walk/10"), once. */
struct Ratio {
    std::string              title;
    std::vector<std::string> these;
    std::vector<std::string> those;
    double                   goal = 0; /* at most this; 0 for none */
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    explicit RatioReporter(std::vector<Ratio> ratios);

    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

    /* Whether every ratio that was measured came up to its goal. */
    bool goals_met() const
    {
        return goals_met_;
    }

  private:
    /* Processor seconds an iteration of all of them, or a negative number when one did not run. */
    double seconds(const std::vector<std::string> &names, const std::string &argument) const;
    void   print(const Ratio &ratio, const std::string &argument);

    std::vector<Ratio>            ratios_;
    std::map<std::string, double> seconds_;
    std::vector<std::string>      arguments_;
    bool                          goals_met_ = true;
};

} // namespace bench
