// FileSourceFilter: a byte-source filter over a ByteStore, the stream that a splitter is connected behind.
//
//   auto source = ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create());
//   source->Load(OLESTR("movie.mkv"), nullptr);          // or source->SetBytes(store, OLESTR("movie.mkv"))
//   source->OutputPin()->Connect(splitterInput, &source->StreamType());
//   ReadTotals totals = source->Totals();                 // reads answered, bytes given
//
// One output pin, named "Output", with one media type: MEDIATYPE_Stream and the Matroska stream subtype (another one
// can be set). The pin answers IAsyncReader, from several threads at once.
#pragma once

#include <memory>
#include <string>

#include "baseclasses/filter.h"
#include "host/byte_store.h"
#include "host/file_source_pin.h"
#include "platform/com.h"
#include "published/media_guids.h"

namespace vantor {

class FileSourceFilter final : public CBaseFilter, public IFileSourceFilter {
 public:
  // A new filter with one reference, the caller's; null without memory.
  static FileSourceFilter* Create() noexcept;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override;

  // Opens the file with OpenStore's fastest store. A type given replaces the stream type. E_FAIL once a file is open;
  // a failing open gives the system's code for it (HRESULT_FROM_WIN32).
  STDMETHODIMP Load(LPCOLESTR fileName, const AM_MEDIA_TYPE* type) override;
  // The name and type in use; the caller frees them with CoTaskMemFree. E_FAIL before a file is open.
  STDMETHODIMP GetCurFile(LPOLESTR* fileName, AM_MEDIA_TYPE* type) override;

  // Serves these bytes under this name, before the pin is connected.
  void SetBytes(std::shared_ptr<ByteStore> bytes, WideString name);
  // The one stream type offered.
  const AM_MEDIA_TYPE& StreamType() const noexcept { return type_; }
  void SetStreamSubtype(const GUID& subtype) noexcept { type_.subtype = subtype; }

  FileSourcePin* OutputPin() noexcept { return pin_; }
  ReadTotals Totals() const noexcept { return pin_->Totals(); }

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? pin_ : nullptr; }

 private:
  explicit FileSourceFilter(HRESULT* result);
  ~FileSourceFilter() override;

  CCritSec lock_{LockRank::Filter};
  CMediaType type_;
  WideString name_;
  FileSourcePin* const pin_;  // held
};

}  // namespace vantor
