// The input pin: accepts a byte source, owns the opened file while it is connected.
#pragma once

#include <memory>

#include "baseclasses/input_pin.h"
#include "parser/file_root.h"

namespace vantor {

class CVXMkvDmx;

class CVXMkvDmxInputPin final : public CBaseInputPin {
 public:
  // The filter owns the pin and outlives it; `lock` is the filter lock.
  CVXMkvDmxInputPin(CVXMkvDmx* filter, CCritSec* lock, HRESULT* result);
  ~CVXMkvDmxInputPin() override;

  // S_OK for a stream of a Matroska subtype or of none; S_FALSE for anything else.
  HRESULT CheckMediaType(const CMediaType* type) override;
  // VFW_E_TIMEOUT, nothing changed, while a worker does not answer.
  HRESULT BreakConnect() override;
  // Opens the file over the peer's IAsyncReader, completes its cues and builds the output pins. Gives the peer's, the
  // parser's or the dispatch's failure unchanged.
  HRESULT CompleteConnect(IPin* receivePin) override;
  // The pin proposes no type of its own: E_UNEXPECTED.
  HRESULT GetMediaType(int position, CMediaType* type) override;
  // Nothing to commit: the reader is pulled.
  HRESULT Active() override { return S_OK; }

  // The opened file; null while not connected.
  CMkvFileRoot* Root() { return root_.get(); }

 private:
  std::unique_ptr<CMkvFileRoot> root_;
  CVXMkvDmx* const filter_;
};

}  // namespace vantor
