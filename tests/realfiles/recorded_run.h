// One run of a graph from connection to the end of every stream, with everything that reached the sinks.
//
//   RecordedRun run = Record(MakeMemoryStore(bytes));
//   ASSERT_EQ(run.connect, S_OK);
//   run.pins[0].samples[0].crc32 ...
//
// Record checks, as part of the running test, what holds for every file and every damage: after the graph is closed the
// filter has its input pin only, every stream ended exactly once, and no object of the component is left.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/byte_store.h"
#include "host/component.h"
#include "host/graph.h"
#include "host/sample_listener.h"
#include "realfiles/expected_samples.h"

namespace vantor::test {

struct RecordedSegment {
  std::int64_t start = 0;
  std::int64_t stop = 0;
  double rate = 0;

  bool operator==(const RecordedSegment&) const = default;
};

struct RecordedPin {
  std::string name;
  std::vector<std::uint8_t> formatBlock;
  std::vector<RecordedSegment> segments;
  std::vector<ExpectedSample> samples;
  int ends = 0;
  bool sampleOutsideStream = false;  // before a segment, or after the end

  bool operator==(const RecordedPin&) const = default;
};

struct RecordedRun {
  HRESULT connect = E_UNEXPECTED;
  std::int64_t duration = 0;
  std::vector<RecordedPin> pins;
  std::vector<LONG> events;
  std::uint64_t reads = 0;  // answered by the source
};

// The component beside the test program; the test fails without one.
const Component& TestedComponent();

// The listener that fills a RecordedPin. The record must outlive it.
std::shared_ptr<SampleListener> MakeRecorder(RecordedPin& record);

// Connects a sink to every pin of a connected graph; the records are made, named and filled in `pins`.
HRESULT ConnectRecorders(Graph& graph, std::vector<RecordedPin>& pins);

RecordedRun Record(std::shared_ptr<ByteStore> bytes);

std::vector<unsigned char> ReadMedia(const std::string& name);

}  // namespace vantor::test
