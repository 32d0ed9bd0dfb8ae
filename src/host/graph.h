// Graph: a whole graph around one splitter filter: byte source in front, a sink behind every output pin.
//
//   Graph graph;
//   HRESULT hr = graph.Create(component);                       // or graph.Adopt(filter)
//   hr = graph.ConnectInput(store, OLESTR("movie.mkv"));        // the splitter reads the file's headers here
//   for (GraphPin& pin : graph.Pins()) graph.ConnectSink(pin, std::make_shared<MyListener>());
//   graph.Run();
//   graph.Wait();                                               // every connected pin has ended its stream
//   graph.Stop();
//   graph.Close();                                              // also done by the destructor
//
// The splitter is seen through its published interfaces only, so that any filter with one stream input will do. The
// graph runs unpaced: no clock, sinks that take samples as they come, on the splitter's own threads.
//
// One thread owns a Graph. Wait, Cancel, Events and Totals may be called from any thread.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "baseclasses/media_type.h"
#include "host/byte_store.h"
#include "host/component.h"
#include "host/end_watch.h"
#include "host/file_source_filter.h"
#include "host/graph_manager.h"
#include "host/sample_listener.h"
#include "host/sink_filter.h"
#include "platform/com.h"
#include "platform/com_ptr.h"

namespace vantor {

// One output pin of the splitter and the sink behind it.
struct GraphPin {
  int number = 0;  // 1 for the first; the input pin is 0
  WideString name;
  ComPtr<IPin> pin;
  std::vector<CMediaType> types;  // as EnumMediaTypes lists them
  ComPtr<SinkFilter> sink;        // null until ConnectSink succeeded
  ALLOCATOR_PROPERTIES allocator = {};
};

class Graph {
 public:
  Graph();
  ~Graph();
  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;

  // Makes the splitter and joins it to the graph under its registered name, or joins the one given. Once per graph.
  HRESULT Create(const Component& component, const GUID& classId = kClsidMkvDmx);
  HRESULT Adopt(IBaseFilter* splitter);

  // Connects the splitter's first input pin behind a source of these bytes and lists its output pins. The name is what
  // the source gives as its file's. The result is the input connection's own, or that of a listing that failed.
  HRESULT ConnectInput(std::shared_ptr<ByteStore> bytes, WideString name);

  // Connects a sink to the pin, with the pin's first media type.
  HRESULT ConnectSink(GraphPin& pin, std::shared_ptr<SampleListener> listener);
  // The same for every pin; stops at the first failure. The callable is given each GraphPin& in turn.
  template <typename MakeListener>
  HRESULT ConnectSinks(MakeListener&& makeListener) {
    for (GraphPin& pin : pins_) {
      const HRESULT hr = ConnectSink(pin, makeListener(pin));
      if (FAILED(hr)) {
        return hr;
      }
    }
    return S_OK;
  }

  // Pause and Run go from the sinks upstream; a failure stops the graph again. Stop returns when the splitter's threads
  // have ended; all that was delivered has then reached the listeners.
  HRESULT Pause();
  HRESULT Run();
  HRESULT Stop();

  // Waits until every connected pin has ended its stream, Cancel is called, or the time is over. A splitter that cannot
  // be trusted to end its streams after announcing EC_ERRORABORT is waited for until that error only.
  WaitResult Wait(std::optional<std::chrono::milliseconds> limit = std::nullopt, bool untilError = false) {
    return ends_.Wait(limit, untilError);
  }
  // Ends a Wait, now or the next one. Safe from any thread; not from a signal handler.
  void Cancel() { ends_.Cancel(); }

  // Stops, disconnects and lets go of every filter, so that the component can be unloaded.
  void Close() noexcept;

  IBaseFilter* Splitter() const noexcept { return splitter_.Get(); }
  // IMediaSeeking of the first output pin where there is one, else of the splitter; null when there is none.
  ComPtr<IMediaSeeking> Seeking() const;
  std::vector<GraphPin>& Pins() noexcept { return pins_; }
  std::vector<CountedEvent> Events() const { return manager_->Events(); }
  // All pins of the splitter, whatever their direction.
  int PinCount() const;
  // Reads answered and bytes given by the source so far.
  ReadTotals Totals() const { return source_ ? source_->Totals() : ReadTotals{}; }

 private:
  HRESULT ListPins();
  // Applies the call to the filters from the sinks upstream. Every filter is called; the first failure is the result.
  template <typename Call>
  HRESULT OnFilters(Call&& call);

  EndWatch ends_;
  ComPtr<GraphManager> manager_;
  ComPtr<FileSourceFilter> source_;
  ComPtr<IBaseFilter> splitter_;
  ComPtr<IPin> input_;
  std::vector<GraphPin> pins_;
  bool stopped_ = true;
};

}  // namespace vantor
