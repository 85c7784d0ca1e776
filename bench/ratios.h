/* A console report that ends with how long some benchmarks took compared with others. */
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

/* The processor time of all benchmarks in `these`, over that of all in `those`, for each argument that was run. */
struct Ratio {
    std::string              title;
    std::vector<std::string> these;
    std::vector<std::string> those;
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    explicit RatioReporter(std::vector<Ratio> ratios);

    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

  private:
    /* Processor seconds an iteration of all of them, or a negative number when one did not run. */
    double seconds(const std::vector<std::string> &names, const std::string &argument) const;
    void   print(const Ratio &ratio, const std::string &argument) const;

    std::vector<Ratio>            ratios_;
    std::map<std::string, double> seconds_;
    std::vector<std::string>      arguments_;
};

} // namespace bench
