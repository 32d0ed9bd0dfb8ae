// Typed element values. Each holder reads at the cursor of the element's byte source and leaves it behind what it
// consumed; `present` tells whether a value was read (or a default was set by the owner).
//
//   CMkvUInt duration;
//   if (SUCCEEDED(duration.Read(element))) Use(duration.value);
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/com.h"

namespace vantor {

class CMkvFile;
class MkvElement;

template <typename T, typename D>
class CMkvVar {
 public:
  CMkvVar() = default;
  // A holder with a default: present from the start.
  explicit CMkvVar(T initial) : value(initial), present(true) {}
  CMkvVar(const CMkvVar&) = default;
  CMkvVar& operator=(const CMkvVar&) = default;

  // Reads the value. S_OK, E_FAIL for malformed data or the end of the source, or the reader's own result.
  virtual HRESULT Read(const MkvElement& element) = 0;

  T value{};
  bool present = false;

 protected:
  ~CMkvVar() = default;
};

// Exactly one byte, whatever the element's size.
class CMkvByte final : public CMkvVar<std::uint8_t, CMkvByte> {
 public:
  using CMkvVar::CMkvVar;
  HRESULT Read(const MkvElement& element) override;
};

// Exactly two bytes, big-endian, whatever the element's size.
class CMkvShort final : public CMkvVar<std::int16_t, CMkvShort> {
 public:
  using CMkvVar::CMkvVar;
  HRESULT Read(const MkvElement& element) override;
};

// An element identifier, 1 to 4 bytes, marker bits kept.
class CMkvID final : public CMkvVar<std::uint32_t, CMkvID> {
 public:
  using CMkvVar::CMkvVar;
  HRESULT Read(const MkvElement& element) override;
};

// An element size, 1 to 8 bytes, marker removed. All value bits set mean the rest of the source.
class CMkvLength : public CMkvVar<std::uint64_t, CMkvLength> {
 public:
  using CMkvVar::CMkvVar;
  CMkvLength(const CMkvLength&) = default;
  CMkvLength& operator=(const CMkvLength&) = default;
  CMkvLength() = default;
  HRESULT Read(const MkvElement& element) override;

  bool isSigned = false;
  bool isUnknown = false;  // all value bits were set
};

// The same with the bias of a signed value taken off: the deltas of EBML lacing. `value` holds the two's complement.
class CMkvSignedLength final : public CMkvLength {
 public:
  CMkvSignedLength() { isSigned = true; }
};

// The whole payload, big-endian, unsigned; of more than 8 bytes the last 8 remain.
class CMkvUInt final : public CMkvVar<std::uint64_t, CMkvUInt> {
 public:
  using CMkvVar::CMkvVar;
  HRESULT Read(const MkvElement& element) override;
};

// The whole payload, big-endian, sign-extended; more than 8 bytes fail.
class CMkvInt final : public CMkvVar<std::int64_t, CMkvInt> {
 public:
  using CMkvVar::CMkvVar;
  HRESULT Read(const MkvElement& element) override;
};

// An IEEE single or double by the payload's size; any other size fails.
class CMkvFloat final : public CMkvVar<double, CMkvFloat> {
 public:
  using CMkvVar::CMkvVar;
  HRESULT Read(const MkvElement& element) override;
};

using Bytes = std::vector<std::uint8_t>;

// Payload readers. Each is bounded by what the source still holds: a payload that runs past the end, is larger than
// kLargestPayload, or for which the source has no room left, fails and leaves the destination unchanged.
inline constexpr std::uint64_t kLargestPayload = std::uint64_t{64} << 20;
[[nodiscard]] HRESULT ReadAsciiString(const MkvElement& element, std::string& text);  // up to the first zero byte
[[nodiscard]] HRESULT ReadUtf8String(const MkvElement& element,
                                     WideString& text);  // up to the first zero byte, as UTF-16
[[nodiscard]] HRESULT ReadBytes(const MkvElement& element, Bytes& bytes);

}  // namespace vantor
