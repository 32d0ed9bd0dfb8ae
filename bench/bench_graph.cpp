#include "bench/bench_graph.h"

namespace vantor::bench {

namespace {

// Loaded once; every graph is gone before the program ends.
const Component* LoadedComponent(std::string& error) {
  static std::string reason;
  static const std::unique_ptr<Component> component = Component::LoadBesideProgram(reason);
  error = reason;
  return component.get();
}

}  // namespace

Spent& Spent::operator+=(const Spent& more) {
  seconds += more.seconds;
  processorSeconds += more.processorSeconds;
  return *this;
}

Spent Stopwatch::Stop() const {
  const std::clock_t processor = std::clock() - processorStart_;
  const std::chrono::duration<double> wall = Clock::now() - start_;
  return {wall.count(), static_cast<double>(processor) / CLOCKS_PER_SEC};
}

BenchGraph::BenchGraph(const std::shared_ptr<SyntheticFile>& file) {
  const Component* component = LoadedComponent(error_);
  if (component == nullptr) return;
  if (FAILED(graph_.Create(*component))) {
    error_ = "the component makes no filter";
    return;
  }
  const Stopwatch stopwatch;
  if (FAILED(graph_.ConnectInput(file, OLESTR("synthetic.mkv")))) error_ = "the file is refused";
  opening_ = stopwatch.Stop();
  if (!error_.empty()) return;
  if (FAILED(graph_.ConnectSinks([](GraphPin&) { return std::make_shared<SampleListener>(); }))) {
    error_ = "a sink cannot be connected";
  }
}

std::uint64_t BenchGraph::Samples() {
  std::uint64_t samples = 0;
  for (const GraphPin& pin : graph_.Pins()) samples += pin.sink->Counts().samples;
  return samples;
}

void BenchGraph::HoldFirstSamples() {
  for (const GraphPin& pin : graph_.Pins()) pin.sink->Gate().Hold();
}

void BenchGraph::WaitForFirstSamples() {
  for (const GraphPin& pin : graph_.Pins()) pin.sink->Gate().WaitUntilHeld(1);
}

}  // namespace vantor::bench
