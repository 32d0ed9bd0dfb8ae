// Host: the demultiplexer in a program of your own. It loads a component, gives it the bytes of a ByteSource and hands
// what it delivers to SampleListeners.
//
//   std::string error;
//   const std::unique_ptr<Host> host = Host::Load(kMkvDmx, "", error);
//   if (!host || FAILED(host->Open(source, "movie.mkv"))) return false;
//   for (std::size_t stream = 0; stream < host->StreamCount(); ++stream) host->Connect(stream, listener);
//   host->Run();
//   host->Wait();       // every connected stream has ended
//   host->Stop();
//
// Samples come as fast as the listeners take them, unpaced, on threads of the component: the graph has no clock.
//
// One thread owns a Host; Wait, Cancel, ReadFailed and EventCount may be called from any. No member throws. Everything
// taken from a Host (pins, interfaces, samples) is released before the Host goes.
//
// What is stable, for as long as the library's file ends in .so.1: this class, ByteSource and SampleListener, as
// compiled; more members may come behind the others, none goes or moves. The interfaces and identifiers in com.h,
// component.h, media_guids.h, subtype_codes.h and format_blocks.h are published ones, and never change. Whatever else a
// header declares, and what the component is like inside, may change with every version.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/sample_listener.h"
#include "host/wait_result.h"
#include "hosting/byte_source.h"
#include "platform/com.h"
#include "published/component.h"

#define VANTOR_MKV_API __attribute__((visibility("default")))

namespace vantor {

class HostInside;  // what a Host is made of

class VANTOR_MKV_API Host {
 public:
  // Loads the component of that identity, kMkvDmx or kMkvDmxComplete: from the path, or without one that which is
  // installed with this library. Null, with one line in words in error, when it cannot be had.
  static std::unique_ptr<Host> Load(const ComponentIdentity& identity, const std::string& path,
                                    std::string& error) noexcept;
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // The component reads the headers here, on this thread, and has its streams afterwards. The name is the file's, as
  // the component is told it; it looks beside a file for side files. Once for each Host.
  HRESULT Open(std::shared_ptr<ByteSource> source, const std::string& name) noexcept;
  // The same with the bytes of a file.
  HRESULT OpenFile(const std::string& path) noexcept;
  // The same with the bytes of an IAsyncReader of yours, to which the host adds a reference. Length is asked once;
  // reads come by SyncRead, within that length, from several threads at once; BeginFlush and EndFlush are called as
  // those of a ByteSource. The other members never are.
  HRESULT OpenReader(IAsyncReader* reader, const std::string& name) noexcept;

  // How many streams there are; they are numbered from 0. What the next members return stays the Host's; a number that
  // there is not gives null.
  std::size_t StreamCount() const noexcept;
  const char* StreamName(std::size_t stream) const noexcept;  // in UTF-8
  // How many media types the stream offers.
  std::size_t TypeCount(std::size_t stream) const noexcept;
  // One of them; the first is the one that Connect takes.
  const AM_MEDIA_TYPE* Type(std::size_t stream, std::size_t number = 0) const noexcept;

  // Puts a sink behind the stream. A stream without one is not delivered.
  HRESULT Connect(std::size_t stream, std::shared_ptr<SampleListener> listener) noexcept;

  // Streams begin to deliver, without running.
  HRESULT Pause() noexcept;
  // Streams deliver, to their ends where nobody stops them.
  HRESULT Run() noexcept;
  // Returns when the component's threads have ended; everything that was delivered has then reached the listeners.
  HRESULT Stop() noexcept;
  // Waits until every connected stream has ended, also for an error, Cancel is called, or the time is over.
  WaitResult Wait(std::optional<std::chrono::milliseconds> limit = std::nullopt) noexcept;
  // Ends a Wait, now or the next one. Safe from any thread; not from a signal handler.
  void Cancel() noexcept;
  // Whether a read has failed, other than in a flush. The streams then end early, like those of a file that was cut
  // off, and need not end with an error.
  bool ReadFailed() const noexcept;
  // How often the component has announced an event: EC_ERRORABORT, an error that ended a stream, or
  // EC_STREAM_ERROR_STILLPLAYING, a frame that was lost. From any thread.
  std::uint64_t EventCount(long code) const noexcept;

  // The filter. The component's own interfaces are for what is not here: null when there is none, and no reference is
  // added.
  IBaseFilter* Filter() const noexcept;
  // A stream's pin.
  IPin* Pin(std::size_t stream) const noexcept;
  // Seeking, by the first stream.
  IMediaSeeking* Seeking() const noexcept;

  // The name of the codec that a subtype stands for, for people; null when it has none.
  static const char* CodecName(const GUID& subtype) noexcept;
  // The name of a result, which the thread's next look-up overwrites.
  static const char* ResultName(HRESULT result) noexcept;

 private:
  explicit Host(std::unique_ptr<HostInside> inside) noexcept;
  std::unique_ptr<HostInside> inside_;
};

}  // namespace vantor
