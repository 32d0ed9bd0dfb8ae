// A graph around the component over a synthetic file, a counting sink behind every pin, ready to run.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "bench/synthetic_file.h"
#include "host/graph.h"

namespace vantor::bench {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start);

class BenchGraph {
 public:
  // Connects everything. On failure Error() says what went wrong and nothing else may be called.
  explicit BenchGraph(const std::shared_ptr<SyntheticFile>& file);

  const std::string& Error() const { return error_; }
  Graph& operator*() { return graph_; }
  Graph* operator->() { return &graph_; }

  // Seconds that opening the file and making the output pins took.
  double OpenSeconds() const { return openSeconds_; }
  // Samples that reached the sinks so far.
  std::uint64_t Samples();

  // Makes every sink keep its thread inside Receive at the first sample of each run, ...
  void HoldFirstSamples();
  // ... and waits until all of them are there.
  void WaitForFirstSamples();

 private:
  std::string error_;
  double openSeconds_ = 0;
  Graph graph_;
};

}  // namespace vantor::bench
