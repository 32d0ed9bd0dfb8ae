// A graph around the component over a synthetic file, a counting sink behind every pin, ready to run.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include "bench/synthetic_file.h"
#include "host/graph.h"

namespace vantor::bench {

using Clock = std::chrono::steady_clock;

// Time by the wall, and time spent by all threads together, which a busy machine does not disturb.
struct Spent {
  double seconds = 0;
  double processorSeconds = 0;

  Spent& operator+=(const Spent& more);
};

// Runs from its construction on.
class Stopwatch {
 public:
  Spent Stop() const;

 private:
  std::clock_t processorStart_ = std::clock();
  Clock::time_point start_ = Clock::now();
};

class BenchGraph {
 public:
  // Connects everything. On failure Error() says what went wrong and nothing else may be called.
  explicit BenchGraph(const std::shared_ptr<SyntheticFile>& file);

  const std::string& Error() const { return error_; }
  Graph& operator*() { return graph_; }
  Graph* operator->() { return &graph_; }

  // What opening the file and making the output pins took.
  const Spent& Opening() const { return opening_; }
  // Samples that reached the sinks so far.
  std::uint64_t Samples();

  // Makes every sink keep its thread inside Receive at the first sample of each run, ...
  void HoldFirstSamples();
  // ... and waits until all of them are there.
  void WaitForFirstSamples();

 private:
  std::string error_;
  Spent opening_;
  Graph graph_;
};

}  // namespace vantor::bench
