// Builds EBML and Matroska bytes, so that a test shows the file it means. Every function returns bytes; a file is
// their concatenation.
//
//   const Raw file = Join({
//       EbmlHeader(),
//       Segment({
//           {"seek", [](const Positions& at) { return SeekHead({SeekEntry(0x1C53BB6B, at["cues"])}); }},
//           Info(1000000, 40.0),
//           Tracks({Track(1, 1, "V_VP8", {Video(320, 240)})}),
//           {"first", Cluster(0, {SimpleBlock(1, 0, kKey, {0xAA, 0xBB}),
//                                 SimpleBlock(1, 20, kXiph, XiphLace({Fill(300, 1), Fill(2, 2)}))})},
//           {"cues", [](const Positions& at) { return Cues({CuePoint(0, 1, at["first"])}); }},
//       }),
//   });
//
// Damage is made by hand: EbmlWithSize lies about a size, UnknownSize leaves it open, and a Raw{...} may stand where
// any element does.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantor::test {

using Raw = std::vector<std::uint8_t>;

// ---- Bytes ----

Raw Join(const std::vector<Raw>& parts);
// `size` bytes of one value.
Raw Fill(std::size_t size, std::uint8_t value = 0);
// `size` bytes that tell their place: 0, 1, 2, ... 250, 0, 1, ...
Raw Ramp(std::size_t size);
Raw Text(std::string_view text);
// The value in `width` bytes, big-endian.
Raw BigEndian(std::uint64_t value, int width);

// ---- EBML ----

// An identifier's bytes: 1 to 4 as its value has.
Raw IdBytes(std::uint32_t id);
// An element size, a lace size or a track number. Width 0 takes the shortest that holds the value.
Raw Vint(std::uint64_t value, int width = 0);
// A lace size difference.
Raw SignedVint(std::int64_t value, int width = 0);
// The size that means "unknown", in that many bytes.
Raw UnknownVint(int width = 1);

// An element: identifier, size, payload. Size width 0 takes the shortest.
Raw Ebml(std::uint32_t id, const Raw& payload, int sizeWidth = 0);
// An element whose size claims something else than the payload's.
Raw EbmlWithSize(std::uint32_t id, std::uint64_t claimed, const Raw& payload, int sizeWidth = 0);

Raw UInt(std::uint32_t id, std::uint64_t value, int width = 0);  // width 0: the shortest, at least 1
Raw SInt(std::uint32_t id, std::int64_t value, int width = 8);
Raw Float4(std::uint32_t id, float value);
Raw Float8(std::uint32_t id, double value);
Raw Str(std::uint32_t id, std::string_view text);  // no terminator
Raw Bin(std::uint32_t id, const Raw& payload);
Raw Master(std::uint32_t id, const std::vector<Raw>& children, int sizeWidth = 0);
Raw UnknownSize(std::uint32_t id, const std::vector<Raw>& children, int sizeWidth = 1);
// A Void element that takes that many bytes in all, at least 2.
Raw Void(std::size_t total);

// ---- Matroska ----

Raw EbmlHeader(std::string_view docType = "matroska", std::uint64_t readVersion = 2);

// Where the named parts of a Segment start, counted from its payload's first byte: what seek entries and cues hold.
class Positions {
 public:
  // 0 for a name that no part has.
  std::uint64_t operator[](const std::string& name) const;
  void Set(const std::string& name, std::uint64_t position) { positions_[name] = position; }

 private:
  std::map<std::string, std::uint64_t> positions_;
};

// A child of a Segment: bytes, bytes with a name, or a function that makes the bytes once all positions are known. Such
// a function must give the same number of bytes whatever the positions are; SeekEntry and CuePoint do.
class Part {
 public:
  Part(Raw bytes);  // NOLINT(google-explicit-constructor): Segment({Info(), ...}) is the point
  Part(std::string name, Raw bytes);
  Part(std::string name, std::function<Raw(const Positions&)> make);
  template <std::invocable<const Positions&> Make>
  Part(Make make) : Part(std::string(), std::function<Raw(const Positions&)>(std::move(make))) {}  // NOLINT: as above

  const std::string& Name() const { return name_; }
  Raw Make(const Positions& positions) const { return make_(positions); }

 private:
  std::string name_;
  std::function<Raw(const Positions&)> make_;
};

// The parts' bytes one after the other, positions filled in: a Segment's payload.
Raw Layout(const std::vector<Part>& parts);
// The same with where each named part came to lie.
Raw Layout(const std::vector<Part>& parts, Positions& positions);
Raw Segment(const std::vector<Part>& parts, int sizeWidth = 8);
Raw UnknownSizeSegment(const std::vector<Part>& parts, int sizeWidth = 8);

// EbmlHeader and a Segment of the parts.
Raw MkvFile(const std::vector<Part>& parts);

Raw SeekEntry(std::uint32_t id, std::uint64_t position);  // both in their full width
Raw SeekHead(const std::vector<Raw>& entries);

// A duration below 0 is left out.
Raw Info(std::uint64_t timecodeScale = 1000000, double duration = -1, const std::vector<Raw>& more = {});

Raw Track(std::uint64_t number, std::uint64_t type, std::string_view codecId, const std::vector<Raw>& more = {});
Raw Video(std::uint64_t width, std::uint64_t height, const std::vector<Raw>& more = {});
Raw Audio(double samplingFrequency, std::uint64_t channels, const std::vector<Raw>& more = {});
Raw CodecPrivate(const Raw& payload);
Raw Tracks(const std::vector<Raw>& entries);

// The position is that of the Cluster, from the Segment's data start.
Raw CuePoint(std::uint64_t time, std::uint64_t track, std::uint64_t position);
Raw Cues(const std::vector<Raw>& points);

Raw Attachment(std::string_view fileName, std::string_view mimeType, const Raw& data,
               const std::vector<Raw>& more = {});
Raw Attachments(const std::vector<Raw>& files);

Raw Cluster(std::uint64_t timecode, const std::vector<Raw>& blocks, int sizeWidth = 0);

// Flag bits of a block.
inline constexpr std::uint8_t kKey = 0x80;
inline constexpr std::uint8_t kXiph = 0x02;
inline constexpr std::uint8_t kFixed = 0x04;
inline constexpr std::uint8_t kEbml = 0x06;

// Track, time relative to the Cluster's, flags, then the payload as given: a frame or a lace.
Raw BlockPayload(std::uint64_t track, int relative, int flags, const Raw& payload);
Raw SimpleBlock(std::uint64_t track, int relative, int flags, const Raw& payload);
Raw Block(std::uint64_t track, int relative, int flags, const Raw& payload);
Raw BlockGroup(const std::vector<Raw>& children);
Raw BlockDuration(std::uint64_t ticks);
Raw ReferenceBlock(std::int64_t ticks);

// The payload of a laced block: the lace's head, then the frames. The flags must name the same lacing.
Raw XiphLace(const std::vector<Raw>& frames);
Raw FixedLace(const std::vector<Raw>& frames);
Raw EbmlLace(const std::vector<Raw>& frames);

}  // namespace vantor::test
