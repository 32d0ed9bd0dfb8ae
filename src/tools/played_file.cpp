#include "tools/played_file.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace vantor::tools {

PlayFailure PlayAndCompare(Graph& graph, const std::shared_ptr<ByteStore>& bytes, CMkvFileRoot& root,
                           const TrackPins& tracks, PlayedPackets& played) {
  std::vector<std::pair<std::uint64_t, std::shared_ptr<PacketCheck>>> checks;
  const HRESULT connected = graph.ConnectSinks([&](const GraphPin& pin) -> std::shared_ptr<SampleListener> {
    const auto track = std::find_if(tracks.tracks.begin(), tracks.tracks.end(),
                                    [&](const TrackPin& candidate) { return candidate.pin == pin.number; });
    if (track == tracks.tracks.end()) return nullptr;
    checks.emplace_back(track->entry->TrackNumber.value, std::make_shared<PacketCheck>(root, bytes, *track));
    return checks.back().second;
  });
  if (FAILED(connected)) return {"an output pin refuses to connect", connected};
  const HRESULT running = graph.Run();
  if (FAILED(running)) return {"the filter does not run", running};
  graph.Wait();
  graph.Stop();
  for (const auto& [number, check] : checks) {
    if (check->HasFailed()) throw std::bad_alloc();
    const PacketTotals totals = check->Finish();
    // Of pins with one number it is enough that one delivers a packet.
    const auto [entry, isNew] = played.emplace(number, totals);
    if (!isNew && totals.lost < entry->second.lost) entry->second = totals;
  }
  return {};
}

HRESULT AnnouncedError(const Graph& graph) {
  for (const auto& [event, count] : graph.Events()) {
    if (event.code == EC_ERRORABORT) return static_cast<HRESULT>(event.param1);
  }
  return S_OK;
}

}  // namespace vantor::tools
