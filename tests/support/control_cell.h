// A cell of the matrix of control calls, in words: how the sink and the source misbehave, and which calls have to end.
//
//   const ControlCell cell{Hold::kTheCall, Callback::kReceive, Action::kStops, Stubbornness::kNone,
//   ControlCall::kSeek}; NameOf(cell);  // "sink HoldsTheCallStopsFromReceive; source IsWell; SetPositions"
#pragma once

#include <optional>
#include <string>

#include "support/misbehaving_sink.h"
#include "support/stubborn_reader.h"

namespace vantor::test {

// What a sink calls from inside a callback. A disconnection goes with a Stop before it.
enum class Action { kNone, kAsks, kControls, kStops, kDisconnectsInput, kDisconnectsPin };
// A disconnection goes with a Stop before it; that of a filter that streams is refused, which is seen to.
enum class ControlCall { kStop, kPause, kRun, kSeek, kDisconnectInput, kDisconnectOutput, kRelease };

struct ControlCell {
  Hold hold = Hold::kNothing;
  Callback where = Callback::kReceive;
  Action action = Action::kNone;
  Stubbornness source = Stubbornness::kNone;
  ControlCall call = ControlCall::kStop;
  std::optional<ControlCall> other;  // at the same time, on a second thread
};

std::string NameOf(ControlCall call);
std::string NameOf(const ControlCell& cell);
// "HoldsTheCallStopsFromReceive"
std::string NameOfSink(Hold hold, Callback where, Action action);

}  // namespace vantor::test
