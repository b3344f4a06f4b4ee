// A console reporter that also keeps each benchmark's processor seconds per iteration (the
// machine is shared, so wall time carries other jobs) and, once all have run, hands them to a
// summary function that prints the comparisons a benchmark's targets name.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zyn::bench {

using Seconds = std::map<std::string, double>;

class CpuTimeReporter : public benchmark::ConsoleReporter {
 public:
  explicit CpuTimeReporter(std::function<void(const Seconds &)> summary)
      : ConsoleReporter(OO_None), summary_(std::move(summary)) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs)
      if (r.iterations > 0) seconds_[r.benchmark_name()] = r.cpu_accumulated_time / double(r.iterations);
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    summary_(seconds_);
  }

 private:
  std::function<void(const Seconds &)> summary_;
  Seconds seconds_;
};

}  // namespace zyn::bench
