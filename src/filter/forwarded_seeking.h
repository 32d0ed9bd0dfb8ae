// IMediaSeeking for the objects of the filter that offer it: every method goes to the filter's Seeking.
//
//   class MyObject : public CUnknown, public ForwardedSeeking {
//    public:
//     DECLARE_IUNKNOWN
//     MyObject(LPUNKNOWN outer, Seeking& seeking) : CUnknown(OLESTR("object"), outer), ForwardedSeeking(seeking) {}
//   };
#pragma once

#include "filter/seeking.h"
#include "platform/com.h"

namespace vantor {

class ForwardedSeeking : public IMediaSeeking {
 public:
  HRESULT STDMETHODCALLTYPE GetCapabilities(DWORD* capabilities) final {
    return seeking_.GetCapabilities(capabilities);
  }
  HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) final {
    return seeking_.CheckCapabilities(capabilities);
  }
  HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) final { return seeking_.IsFormatSupported(format); }
  HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) final { return seeking_.QueryPreferredFormat(format); }
  HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) final { return seeking_.GetTimeFormat(format); }
  HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) final { return seeking_.IsUsingTimeFormat(format); }
  HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) final { return seeking_.SetTimeFormat(format); }
  HRESULT STDMETHODCALLTYPE GetDuration(LONGLONG* duration) final { return seeking_.GetDuration(duration); }
  HRESULT STDMETHODCALLTYPE GetStopPosition(LONGLONG* stop) final { return seeking_.GetStopPosition(stop); }
  HRESULT STDMETHODCALLTYPE GetCurrentPosition(LONGLONG* current) final { return seeking_.GetCurrentPosition(current); }
  HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                              const GUID* sourceFormat) final {
    return seeking_.ConvertTimeFormat(target, targetFormat, source, sourceFormat);
  }
  HRESULT STDMETHODCALLTYPE SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) final {
    return seeking_.SetPositions(current, currentFlags, stop, stopFlags);
  }
  HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) final {
    return seeking_.GetPositions(current, stop);
  }
  HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) final {
    return seeking_.GetAvailable(earliest, latest);
  }
  HRESULT STDMETHODCALLTYPE SetRate(double rate) final { return seeking_.SetRate(rate); }
  HRESULT STDMETHODCALLTYPE GetRate(double* rate) final { return seeking_.GetRate(rate); }
  HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) final { return seeking_.GetPreroll(preroll); }

 protected:
  // The object lives on at least as long as what it forwards to is called: pins keep their filter alive.
  explicit ForwardedSeeking(Seeking& seeking) : seeking_(seeking) {}
  ~ForwardedSeeking() = default;

 private:
  Seeking& seeking_;
};

}  // namespace vantor
