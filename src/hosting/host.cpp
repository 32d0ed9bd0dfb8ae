#include "hosting/host.h"

#include <atomic>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "diag/result_names.h"
#include "host/byte_store.h"
#include "host/component.h"
#include "host/graph.h"
#include "platform/com_ptr.h"
#include "platform/file_path.h"
#include "platform/result.h"
#include "platform/text.h"
#include "published/codec_names.h"

namespace vantor {
namespace {

// A host's own bytes, as the graph's byte source takes them.
class SourceStore final : public ByteStore {
 public:
  explicit SourceStore(std::shared_ptr<ByteSource> source) noexcept
      : source_(std::move(source)), length_(source_->Length()) {}
  std::int64_t Length() const noexcept override { return length_; }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    const unsigned before = flushChanges_;
    if (source_->Read(position, buffer, size)) {
      return true;
    }
    // Let go by a flush, now or a moment ago, it has told nothing of the bytes.
    const bool flushed = before % 2 != 0 || before != flushChanges_;
    return flushed ? false : Fail({ReadFault::kSystem, position, 0});
  }
  void BeginFlush() noexcept override {
    ++flushChanges_;
    source_->BeginFlush();
  }
  void EndFlush() noexcept override {
    source_->EndFlush();
    ++flushChanges_;
  }

 private:
  std::atomic<unsigned> flushChanges_{0};  // odd during a flush
  const std::shared_ptr<ByteSource> source_;
  const std::int64_t length_;
};

// An IAsyncReader as such bytes.
class ReaderSource final : public ByteSource {
 public:
  ReaderSource(IAsyncReader* reader, std::int64_t length) noexcept : reader_(reader), length_(length) {}
  std::int64_t Length() noexcept override { return length_; }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    // What was asked of the graph's byte source fitted, too. S_FALSE is a read cut short.
    return reader_->SyncRead(position, static_cast<LONG>(size), static_cast<BYTE*>(buffer)) == S_OK;
  }
  void BeginFlush() noexcept override { reader_->BeginFlush(); }
  void EndFlush() noexcept override { reader_->EndFlush(); }

 private:
  const ComPtr<IAsyncReader> reader_;
  const std::int64_t length_;
};

}  // namespace

class HostInside {
 public:
  explicit HostInside(std::unique_ptr<Component> loaded) : component(std::move(loaded)) {}

  HRESULT Open(std::shared_ptr<ByteStore> bytes, const std::string& name) {
    if (opened) {
      return VFW_E_WRONG_STATE;
    }
    opened = true;
    store = bytes;
    const HRESULT hr = graph.ConnectInput(std::move(bytes), Utf8ToWide(name));
    if (FAILED(hr)) {
      return hr;
    }
    for (const GraphPin& pin : graph.Pins()) {
      names.push_back(WideToUtf8(pin.name));
    }
    seeking = graph.Seeking();
    return hr;
  }

  GraphPin* Stream(std::size_t number) { return number < names.size() ? &graph.Pins()[number] : nullptr; }

  // In the order in which they are let go, from the last: the component when nothing of it is alive.
  std::unique_ptr<Component> component;
  std::shared_ptr<ByteStore> store;
  Graph graph;
  ComPtr<IMediaSeeking> seeking;
  std::vector<std::string> names;
  bool opened = false;
};

std::unique_ptr<Host> Host::Load(const ComponentIdentity& identity, const std::string& path,
                                 std::string& error) noexcept {
  std::unique_ptr<Host> host;
  const HRESULT hr = Guarded([&]() -> HRESULT {
    std::unique_ptr<Component> component =
        path.empty() ? Component::LoadBesideProgram(error, identity) : Component::Load(path, error);
    if (!component) {
      return S_OK;  // the error is told
    }
    auto inside = std::make_unique<HostInside>(std::move(component));
    const HRESULT created = inside->graph.Create(*inside->component, identity.classId);
    if (SUCCEEDED(created)) host.reset(new Host(std::move(inside)));
    return created;
  });
  if (FAILED(hr)) {
    Guarded([&] {
      error = std::string("the component makes no filter: ") + LookupResultName(hr);
      return S_OK;
    });
  }
  return host;
}

Host::Host(std::unique_ptr<HostInside> inside) noexcept : inside_(std::move(inside)) {}

Host::~Host() = default;

HRESULT Host::Open(std::shared_ptr<ByteSource> source, const std::string& name) noexcept {
  if (!source) {
    return E_POINTER;
  }
  return Guarded([&] { return inside_->Open(std::make_shared<SourceStore>(std::move(source)), name); });
}

HRESULT Host::OpenFile(const std::string& path) noexcept {
  return Guarded([&]() -> HRESULT {
    FileError error = FileError::kNone;
    std::shared_ptr<ByteStore> bytes = OpenStore(path, StoreKind::kFastest, error);
    if (!bytes) {
      return ResultOf(error);
    }
    // Side files are looked for beside the whole path.
    std::error_code ignored;
    const std::filesystem::path whole = std::filesystem::absolute(platform::ToPath(path), ignored);
    return inside_->Open(std::move(bytes), ignored ? path : platform::FromPath(whole));
  });
}

HRESULT Host::OpenReader(IAsyncReader* reader, const std::string& name) noexcept {
  if (reader == nullptr) {
    return E_POINTER;
  }
  return Guarded([&]() -> HRESULT {
    LONGLONG total = 0;
    LONGLONG available = 0;
    const HRESULT hr = reader->Length(&total, &available);
    return FAILED(hr) ? hr : Open(std::make_shared<ReaderSource>(reader, total), name);
  });
}

std::size_t Host::StreamCount() const noexcept { return inside_->names.size(); }

const char* Host::StreamName(std::size_t stream) const noexcept {
  return stream < inside_->names.size() ? inside_->names[stream].c_str() : nullptr;
}

std::size_t Host::TypeCount(std::size_t stream) const noexcept {
  const GraphPin* const pin = inside_->Stream(stream);
  return pin != nullptr ? pin->types.size() : 0;
}

const AM_MEDIA_TYPE* Host::Type(std::size_t stream, std::size_t number) const noexcept {
  return number < TypeCount(stream) ? &inside_->Stream(stream)->types[number] : nullptr;
}

HRESULT Host::Connect(std::size_t stream, std::shared_ptr<SampleListener> listener) noexcept {
  GraphPin* const pin = inside_->Stream(stream);
  return pin == nullptr ? E_INVALIDARG : Guarded([&] { return inside_->graph.ConnectSink(*pin, std::move(listener)); });
}

HRESULT Host::Pause() noexcept {
  return Guarded([&] { return inside_->graph.Pause(); });
}

HRESULT Host::Run() noexcept {
  return Guarded([&] { return inside_->graph.Run(); });
}

HRESULT Host::Stop() noexcept {
  return Guarded([&] { return inside_->graph.Stop(); });
}

WaitResult Host::Wait(std::optional<std::chrono::milliseconds> limit) noexcept { return inside_->graph.Wait(limit); }

void Host::Cancel() noexcept { inside_->graph.Cancel(); }

bool Host::ReadFailed() const noexcept { return inside_->store && inside_->store->FirstFailure(); }

std::uint64_t Host::EventCount(long code) const noexcept {
  std::uint64_t count = 0;
  Guarded([&] {
    for (const CountedEvent& counted : inside_->graph.Events()) {
      if (counted.event.code == code) count += counted.count;
    }
    return S_OK;
  });
  return count;
}

IBaseFilter* Host::Filter() const noexcept { return inside_->graph.Splitter(); }

IPin* Host::Pin(std::size_t stream) const noexcept {
  const GraphPin* const pin = inside_->Stream(stream);
  return pin != nullptr ? pin->pin.Get() : nullptr;
}

IMediaSeeking* Host::Seeking() const noexcept { return inside_->seeking.Get(); }

const char* Host::CodecName(const GUID& subtype) noexcept { return CodecNameOf(subtype); }

const char* Host::ResultName(HRESULT result) noexcept { return LookupResultName(result); }

}  // namespace vantor
