// RealGraph: the component in the platform's own filter graph, behind the platform's file reader.
//
//   RealGraph graph;
//   ASSERT_EQ(graph.Open(media.Path()), S_OK);          // reader and demultiplexer, connected
//   const auto renderer = graph.AddRenderer(1);         // behind its first output pin
//   graph.PlayToEnd();                                  // runs until EC_COMPLETE, and stops
//
// RealGraphTest ends every test with no object of the component or of the test's own filters alive.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "graph/renderer.h"
#include "host/component.h"
#include "platform/com.h"
#include "platform/com_ptr.h"
#include "platform/text.h"
#include "support/mkv_builder.h"
#include "support/temporary_folder.h"

namespace vantor::test {

// A file of its own in the temporary folder. It must be deletable when the test is through with it: nobody has it open.
class MediaCopy {
 public:
  // A copy of a file of the test media; the name is another one when given.
  explicit MediaCopy(const std::string& mediaName, const std::string& name = {});
  MediaCopy(const Raw& bytes, const std::string& name);
  ~MediaCopy();
  MediaCopy(const MediaCopy&) = delete;
  MediaCopy& operator=(const MediaCopy&) = delete;

  const WCHAR* Path() const { return path_.c_str(); }
  std::filesystem::path Beside(const std::string& name) const { return folder_ / name; }

 private:
  const TemporaryFolder folder_;
  const std::filesystem::path path_;
};

class RealGraph {
 public:
  // With the demultiplexer of the component, which is the tested one where none is named.
  RealGraph();
  RealGraph(const Component& component, const CLSID& classId);
  ~RealGraph() { Close(); }
  RealGraph(const RealGraph&) = delete;
  RealGraph& operator=(const RealGraph&) = delete;

  // Adds the platform's file reader and the demultiplexer and connects them; the result is the connection's.
  HRESULT Open(const WCHAR* path);
  // The parts of it.
  HRESULT AddReader(const WCHAR* path);
  HRESULT ConnectInput();

  // A renderer behind the pin with that number; 1 is the first output pin.
  ComPtr<Renderer> AddRenderer(int pin, std::shared_ptr<SampleListener> listener = nullptr);
  // The same, but not connected.
  ComPtr<Renderer> AddLooseRenderer(std::shared_ptr<SampleListener> listener = nullptr);
  void AddRenderers();

  void Run();
  void Pause();
  void Stop();
  // Waits for an event with that code and gives its first parameter. The codes of events before it go to `before`.
  LONG_PTR WaitForEvent(long code, std::vector<long>* before = nullptr);
  // The events that are waiting, by code, in their order.
  std::vector<long> Events();
  void PlayToEnd();

  // Lets go of everything.
  void Close();
  // Leaves the platform's graph as it is, but no longer holds what belongs to it.
  void Forget();

  IGraphBuilder* operator->() const { return graph_.Get(); }
  IGraphBuilder* Get() const { return graph_.Get(); }
  IBaseFilter* Demultiplexer() const { return demultiplexer_.Get(); }
  IBaseFilter* Reader() const { return reader_.Get(); }
  // Of the demultiplexer; 0 is the input pin. Null beyond the last.
  ComPtr<IPin> Pin(int number) const;
  int PinCount() const;
  ComPtr<IMediaControl> Control() const;
  ComPtr<IMediaEventEx> EventSource() const;
  ComPtr<IMediaSeeking> Seeking() const;
  std::vector<ComPtr<Renderer>>& Renderers() { return renderers_; }

 private:
  ComPtr<IGraphBuilder> graph_;
  ComPtr<IBaseFilter> demultiplexer_;
  ComPtr<IBaseFilter> reader_;
  std::vector<ComPtr<Renderer>> renderers_;
};

// The count of references that others hold on the object.
ULONG References(IUnknown* object);
ComPtr<IPin> FirstPin(IBaseFilter* filter);
std::vector<ComPtr<IPin>> PinsOf(IBaseFilter* filter);
std::string NameOf(IPin* pin);
ComPtr<IPin> PeerOf(IPin* pin);

class RealGraphTest : public testing::Test {
 protected:
  void TearDown() override;
};

}  // namespace vantor::test
