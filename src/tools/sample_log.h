// SampleLog: a listener that keeps a small record of everything one pin delivers.
//
//   auto log = std::make_shared<SampleLog>();
//   graph.ConnectSink(pin, log);
//   ... run and stop the graph ...
//   for (const LogRecord& record : log->Records()) ...
//
// 40 bytes a sample, its payload reduced to a checksum. Read it once the graph has stopped.
#pragma once

#include <cstdint>
#include <vector>

#include "host/sample_listener.h"

namespace vantor::tools {

enum class LogKind : std::uint8_t { kSegment, kSample, kEndOfStream };

struct LogRecord {
  std::int64_t start = 0;  // of the segment or sample, 100 ns
  std::int64_t stop = 0;
  double rate = 0;  // of a segment
  std::uint32_t size = 0;
  std::uint32_t crc32 = 0;
  LogKind kind = LogKind::kSample;
  bool timed = false;  // a sample without times has none to print
  bool sync = false;
  bool discontinuity = false;
  bool preroll = false;
};

class SampleLog final : public SampleListener {
 public:
  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;
  HRESULT OnSample(IMediaSample* sample) noexcept override;
  void OnEndOfStream() noexcept override;

  const std::vector<LogRecord>& Records() const noexcept { return records_; }

 private:
  HRESULT Keep(const LogRecord& record) noexcept;

  std::vector<LogRecord> records_;
};

}  // namespace vantor::tools
