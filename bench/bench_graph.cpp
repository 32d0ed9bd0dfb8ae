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

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

BenchGraph::BenchGraph(const std::shared_ptr<SyntheticFile>& file) {
  const Component* component = LoadedComponent(error_);
  if (component == nullptr) return;
  if (FAILED(graph_.Create(*component))) {
    error_ = "the component makes no filter";
    return;
  }
  const auto start = Clock::now();
  if (FAILED(graph_.ConnectInput(file, OLESTR("synthetic.mkv")))) error_ = "the file is refused";
  openSeconds_ = SecondsSince(start);
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
