// The filter's IMediaSeeking: what its methods do, whichever object they are called on. The filter and every output pin
// forward to one of these (forwarded_seeking.h), so that seeking through a pin seeks all tracks.
#pragma once

#include "baseclasses/sync.h"
#include "filter/positions.h"
#include "platform/com.h"

namespace vantor {

// Where a seek goes, or has gone: 100 ns.
struct SeekRange {
  std::int64_t current = 0;
  std::int64_t stop = 0;
};

// What moves the pins.
class Repositioner {
 public:
  // Whether the calling thread may seek: a worker of the filter's own may not, since a seek waits for it.
  virtual bool MaySeek() const = 0;
  // Whether the calling thread is within another control call, one of whose neighbours calls back.
  virtual bool IsInControlCall() const = 0;
  // Moves all pins and sets the positions, in `range` those it settled on. VFW_E_TIMEOUT when a pin or the search could
  // not follow; nothing is moved while the search of an earlier seek is still late, unless to the start.
  virtual HRESULT Reposition(SeekRange& range) = 0;

 protected:
  ~Repositioner() = default;
};

// Methods and results of IMediaSeeking. Any thread. Times in 100 ns, or in frames while TIME_FORMAT_FRAME is in use.
class Seeking {
 public:
  // Both outlive this.
  Seeking(Positions& positions, Repositioner& repositioner) : positions_(positions), repositioner_(repositioner) {}
  Seeking(const Seeking&) = delete;
  Seeking& operator=(const Seeking&) = delete;

  HRESULT GetCapabilities(DWORD* capabilities) const;
  HRESULT CheckCapabilities(const DWORD* capabilities) const;
  HRESULT IsFormatSupported(const GUID* format) const;
  HRESULT QueryPreferredFormat(GUID* format) const;
  HRESULT GetTimeFormat(GUID* format) const;
  HRESULT IsUsingTimeFormat(const GUID* format) const;
  HRESULT SetTimeFormat(const GUID* format);
  HRESULT GetDuration(LONGLONG* duration) const;
  HRESULT GetStopPosition(LONGLONG* stop) const;
  HRESULT GetCurrentPosition(LONGLONG* current) const;
  HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                            const GUID* sourceFormat) const;
  // VFW_E_WRONG_STATE, nothing changed, on a worker of the filter's own; VFW_E_TIMEOUT when a pin could not follow.
  HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags);
  HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) const;
  HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) const;
  HRESULT SetRate(double rate);
  HRESULT GetRate(double* rate) const;
  HRESULT GetPreroll(LONGLONG* preroll) const;

 private:
  HRESULT Seek(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags);

  Positions& positions_;
  Repositioner& repositioner_;
  CCritSec seekLock_{LockRank::Seek};  // held for a whole SetPositions
};

}  // namespace vantor
