// Playing a file once and holding what its pins deliver against the packets that are in it.
//
//   PlayedPackets played;
//   const PlayFailure failure = PlayAndCompare(graph, store, root, tracks, played);
//   if (failure.what == nullptr) Use(played.at(1).lost);
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "host/byte_store.h"
#include "host/graph.h"
#include "tools/check/packet_check.h"
#include "tools/track_pins.h"

namespace vantor::tools {

// Of each track number that has a pin: what became of its packets when the file was played.
using PlayedPackets = std::map<std::uint64_t, PacketTotals>;

// Why it could not be played; nothing where it was.
struct PlayFailure {
  const char* what = nullptr;
  HRESULT result = S_OK;
};

// The graph's input is connected, and its tracks are matched. It is played to its end and stopped. Raises running out
// of memory.
PlayFailure PlayAndCompare(Graph& graph, const std::shared_ptr<ByteStore>& bytes, CMkvFileRoot& root,
                           const TrackPins& tracks, PlayedPackets& played);

// The result that the filter ended a stream with; S_OK where it announced none.
HRESULT AnnouncedError(const Graph& graph);

}  // namespace vantor::tools
