// FaultedPlayer: a file in memory, played step by step in the platform's graph, so that a test can bring a fault about
// in any of the steps and look at what comes of it.
//
//   FaultedPlayer player(TestedComponent(), bytes);
//   player.Reader().FailRead(20);
//   if (SUCCEEDED(player.Connect()) && SUCCEEDED(player.ConnectPins())) player.Play();
//   ExpectPartOf(whole, player.Pins(), std::equal_to<>(), 0);
//
// A step that a fault makes fail leaves the graph stopped, so that the step may be tried again.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "graph/real_graph.h"
#include "realfiles/recorded_run.h"
#include "support/fake_source.h"
#include "support/memory_reader.h"

namespace vantor::test {

class FaultedPlayer {
 public:
  FaultedPlayer(const Component& component, Raw bytes);
  ~FaultedPlayer();
  FaultedPlayer(const FaultedPlayer&) = delete;
  FaultedPlayer& operator=(const FaultedPlayer&) = delete;

  // Called before and after what the component is asked in a step, the test's own questions left out.
  std::function<void()> begin = [] {};
  std::function<void()> end = [] {};

  // How many of the pins are played: with one, what is read is always read in the same order.
  std::size_t mostPins = SIZE_MAX;

  // Connects the input; a failure leaves the demultiplexer without output pins.
  HRESULT Connect();
  // Takes the renderers out of the graph and the connection apart.
  void Disconnect();
  // Puts a renderer behind each pin that has none. The result is that of the first that failed.
  HRESULT ConnectPins();
  HRESULT Seek(LONGLONG position);
  // To the start, from wherever the workers stand: a seek that leaves the positions as they are moves nothing.
  HRESULT Rewind();
  LONGLONG Duration();
  // Plays to the end and stops; the result is that of the start, S_FALSE without pins. What was recorded and noted
  // before is forgotten.
  HRESULT Play();

  MemoryReader& Reader() { return *reader_; }
  const std::vector<RecordedPin>& Pins() const { return pins_; }
  // In the last Play: an event that says that samples are missing.
  bool ToldOfLoss() const;

 private:
  HRESULT PlayPaused();

  RealGraph graph_;
  const ComPtr<MemoryReader> reader_;
  ComPtr<FakeSource> source_;
  std::vector<RecordedPin> pins_;
  std::vector<bool> isConnected_;  // by pin
  std::vector<long> events_;
};

// Of the media file, without a fault.
struct FaultlessPlay {
  std::vector<RecordedPin> pins;
  std::vector<RecordedPin> fromTheMiddle;
  std::uint64_t reads = 0;  // from the connection to the end of the first play
};
FaultlessPlay PlayWithoutFault(const Component& component, const Raw& bytes, std::size_t mostPins = SIZE_MAX);

// Each pin has samples of one pin of the whole in their order, but for so many strangers, and its stream is begun and
// ended once. Pins may be missing.
using SameSample = std::function<bool(const ExpectedSample& whole, const ExpectedSample& seen)>;
void ExpectPartOf(const std::vector<RecordedPin>& whole, const std::vector<RecordedPin>& part, const SameSample& isSame,
                  int strangers);
void ExpectWhole(const std::vector<RecordedPin>& whole, const std::vector<RecordedPin>& seen);

// The numbers of the faults that are tried where `count` may be: every one of the first, then in growing steps.
std::vector<std::uint64_t> NumbersToTry(std::uint64_t count, std::uint64_t every);

}  // namespace vantor::test
