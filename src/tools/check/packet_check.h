// PacketCheck: a listener that holds what a pin delivers against the packets in the file.
//
//   auto check = std::make_shared<PacketCheck>(root, store, track);
//   graph.ConnectSink(pin, check);
//   ... run and stop the graph ...
//   if (check->Finish().lost > 0) ...
//
// It keeps a limited number of packets that are still to come, so that its memory does not grow with the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "host/byte_store.h"
#include "host/sample_listener.h"
#include "tools/check/packet_reader.h"
#include "tools/track_pins.h"

namespace vantor::tools {

struct PacketTotals {
  std::uint64_t packets = 0;    // in the file
  std::uint64_t lost = 0;       // not delivered with their payload
  std::uint64_t firstLost = 0;  // where the first one's Block begins
  bool isComplete = true;       // false: not all of the file's packets were found
};

class PacketCheck final : public SampleListener {
 public:
  // The root outlives it.
  PacketCheck(CMkvFileRoot& root, std::shared_ptr<ByteStore> bytes, const TrackPin& track);

  HRESULT OnSample(IMediaSample* sample) noexcept override;

  // When the graph has stopped: what has not come by now is lost.
  PacketTotals Finish();
  // Memory ran out on the way.
  bool HasFailed() const { return hasFailed_; }

 private:
  void Take(const std::uint8_t* data, std::size_t size, std::int64_t start);
  bool Find(const std::uint8_t* data, std::size_t size, std::int64_t start);
  bool DropEarlier(std::int64_t start);
  bool MayBe(const Packet& packet, std::int64_t start) const;
  bool IsAhead(std::size_t index);
  bool IsSame(const Packet& packet, const std::uint8_t* data, std::size_t size);
  std::size_t TakeStartCodes(const std::uint8_t* data, std::size_t part, bool isLast);
  void DropFirst(bool isLost);

  PacketReader reader_;
  const std::shared_ptr<ByteStore> bytes_;
  const std::vector<std::uint8_t> prefix_;  // the header that was stripped off each frame
  const bool convertsStartCodes_;
  const bool addsFrameHeaders_;
  std::deque<Packet> ahead_;
  // Times of samples that were, and were not, those that their blocks tell.
  std::uint64_t rightTimes_ = 0;
  std::uint64_t otherTimes_ = 0;
  bool hasAll_ = false;  // of the packets: the last ones are ahead
  std::uint64_t work_;   // what may still be spent on looking ahead
  std::vector<std::uint8_t> piece_;
  PacketTotals totals_;
  bool hasFailed_ = false;
};

}  // namespace vantor::tools
