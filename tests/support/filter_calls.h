// Every call that a neighbour may make on a filter, its pins and its IMediaSeeking, through COM alone.
//
//   sink->onReceive = [&](IMediaSample*) {
//     AskEverything(peer);                                       // from inside Receive, whatever goes on meanwhile
//     for (const HRESULT result : ControlEverything(peer, own, true)) EXPECT_EQ(result, VFW_E_WRONG_STATE);
//     return S_OK;
//   };
//
// The streaming calls of a pin (NewSegment, EndOfStream, BeginFlush, EndFlush) are left out: they belong to the pin's
// upstream neighbour.
#pragma once

#include <vector>

#include "platform/com.h"
#include "platform/com_ptr.h"

namespace vantor::test {

// The filter that a pin belongs to; null when it cannot tell.
ComPtr<IBaseFilter> FilterOf(IPin* pin);
std::vector<ComPtr<IPin>> AllPinsOf(IBaseFilter* filter);
// The filter's pins by direction, in their order; null beyond the last. The first is number 1.
ComPtr<IPin> InputOf(IBaseFilter* filter);
ComPtr<IPin> OutputOf(IBaseFilter* filter, int number);
ComPtr<IPin> NeighbourOf(IPin* pin);

// The reading calls: of the pin's filter, of all its pins, of every IMediaSeeking. Nothing is changed by them; a filter
// that is in a graph joins it once more, and gets its clock once more.
void AskEverything(IPin* pin);
// The single rows of it.
void AskFilter(IBaseFilter* filter);
void AskPin(IPin* pin);
void AskSeeking(IMediaSeeking* seeking);

// The calls that change something: Pause, Run, SetPositions through the filter and through the pin, Connect,
// ReceiveConnection, Disconnect of every pin, Stop when `stops`. `own` is a pin of the caller's, offered as a peer.
std::vector<HRESULT> ControlEverything(IPin* pin, IPin* own, bool stops);

HRESULT StopFilterOf(IPin* pin);
// Stop, then the filter's end of the input's connection, or of this pin's. The other end is the neighbour's own, who
// may be in a call to this filter.
std::vector<HRESULT> StopAndDisconnectInputOf(IPin* pin);
std::vector<HRESULT> StopAndDisconnect(IPin* pin);

// An absolute seek to that time, in 100 ns; the stop position stays. `settled` gets the time that the call gave back.
HRESULT SeekTo(IBaseFilter* filter, LONGLONG time, LONGLONG* settled = nullptr);

}  // namespace vantor::test
