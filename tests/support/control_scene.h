// Plays one cell of the matrix of control calls: a filter between a source that turns stubborn and a sink that
// misbehaves, and the calls that have to end all the same.
//
//   ControlScene scene(cell, graph, makeFilter);
//   const std::vector<std::string> complaints = scene.Play();   // empty: all is well
//
// The scene plays two rounds. Each lets the misbehaving sink, a good one beside it and the source play until they have
// come as far as they will, makes the calls, lets everybody go, stops the filter and plays the whole file once more,
// which must arrive complete. In the first round the source turns stubborn at the other track, so that one worker meets
// the sink and another the source; in the second one worker meets both.
//
// Speaks to the filter through COM alone, and starts and stops through the graph where that can. A scene that hangs
// stays where it is: Stage tells where.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com.h"
#include "platform/com_ptr.h"
#include "support/control_cell.h"
#include "support/fake_source.h"
#include "support/misbehaving_sink.h"
#include "support/stubborn_reader.h"

namespace vantor::test {

class ControlScene {
 public:
  using MakeFilter = std::function<ComPtr<IBaseFilter>()>;

  ControlScene(const ControlCell& cell, ComPtr<IFilterGraph> graph, MakeFilter makeFilter);
  ~ControlScene() = default;
  ControlScene(const ControlScene&) = delete;
  ControlScene& operator=(const ControlScene&) = delete;

  // What went wrong, in words; no more than a few.
  std::vector<std::string> Play();
  // What it is at, for a watchdog. Any thread.
  std::string Stage() const;

 private:
  void PlayRound(std::size_t stubbornTrack);
  void Misbehave(std::size_t stubbornTrack);
  HRESULT Start();
  bool IsQuiet(std::size_t stubbornTrack) const;
  bool IsSinkAtRest() const;
  void MakeCalls();
  void CheckFlushes();
  bool LeaveGraph();
  void Make(ControlCall call, ComPtr<IBaseFilter> filter);
  void MakeStateCall(ControlCall call, IBaseFilter* filter);
  void Seek(IBaseFilter* filter);
  void Disconnect(ControlCall call, IBaseFilter* filter);
  void Act(Callback where, IPin* peer);
  void LetGo();
  void WaitForReader(ULONG references) const;
  void StopAll();
  void PlayRight();
  bool Connect();
  void ForgetAll();
  void Close();

  void Enter(const std::string& stage);
  void Complain(const std::string& text);
  // Complains unless the result is one of those. A call may run out of time where not everybody yields.
  void Expect(const std::string& call, HRESULT result, std::initializer_list<HRESULT> allowed);
  void ExpectState(IBaseFilter* filter, FILTER_STATE expected);
  bool MayTimeOut() const;
  bool IsAlone() const { return !cell_.other; }

  const ControlCell cell_;
  const ComPtr<IFilterGraph> graph_;
  const MakeFilter makeFilter_;
  ComPtr<IMediaControl> control_;  // null where the graph has none
  ComPtr<StubbornReader> reader_;
  ComPtr<FakeSource> source_;
  std::array<ComPtr<MisbehavingSink>, 2> sinks_;  // the first misbehaves
  ComPtr<IBaseFilter> filter_;

  mutable std::mutex lock_;
  std::string round_;
  std::string stage_;
  std::vector<std::string> complaints_;
};

}  // namespace vantor::test
