#include "support/control_cell.h"

namespace vantor::test {

namespace {

const char* NameOf(Hold hold) {
  switch (hold) {
    case Hold::kNothing:
      return "HoldsNothing";
    case Hold::kOneSample:
      return "HoldsASample";
    case Hold::kTheCall:
      return "HoldsTheCall";
    case Hold::kTheLastSample:
      return "KeepsTheLast";
    default:
      return "KeepsAll";
  }
}

const char* NameOf(Callback callback) {
  switch (callback) {
    case Callback::kReceive:
      return "Receive";
    case Callback::kNewSegment:
      return "NewSegment";
    case Callback::kEndOfStream:
      return "EndOfStream";
    case Callback::kBeginFlush:
      return "BeginFlush";
    default:
      return "EndFlush";
  }
}

const char* NameOf(Action action) {
  switch (action) {
    case Action::kNone:
      return "AtRestIn";
    case Action::kAsks:
      return "AsksFrom";
    case Action::kControls:
      return "ControlsFrom";
    case Action::kStops:
      return "StopsFrom";
    case Action::kDisconnectsInput:
      return "DisconnectsInputFrom";
    default:
      return "DisconnectsPinFrom";
  }
}

const char* NameOf(Stubbornness source) {
  switch (source) {
    case Stubbornness::kNone:
      return "IsWell";
    case Stubbornness::kFailsHalfway:
      return "FailsHalfway";
    case Stubbornness::kBlocksUntilFlushed:
      return "BlocksUntilFlushed";
    default:
      return "BlocksUntilLetGo";
  }
}

const char* CallName(ControlCall call) {
  switch (call) {
    case ControlCall::kStop:
      return "Stop";
    case ControlCall::kPause:
      return "Pause";
    case ControlCall::kRun:
      return "Run";
    case ControlCall::kSeek:
      return "SetPositions";
    case ControlCall::kDisconnectInput:
      return "disconnecting the input";
    case ControlCall::kDisconnectOutput:
      return "disconnecting the output";
    default:
      return "Release";
  }
}

}  // namespace

std::string NameOfSink(Hold hold, Callback where, Action action) {
  return std::string(NameOf(hold)) + NameOf(action) + NameOf(where);
}

std::string NameOf(ControlCall call) { return CallName(call); }

std::string NameOf(const ControlCell& cell) {
  std::string name = "sink " + NameOfSink(cell.hold, cell.where, cell.action) + "; source " + NameOf(cell.source) +
                     "; " + CallName(cell.call);
  if (cell.other) name += std::string(" beside ") + CallName(*cell.other);
  return name;
}

}  // namespace vantor::test
