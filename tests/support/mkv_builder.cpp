#include "support/mkv_builder.h"

#include <cstring>
#include <utility>

namespace vantor::test {

namespace {

void Append(Raw& to, const Raw& more) { to.insert(to.end(), more.begin(), more.end()); }

std::uint64_t ValueMask(int width) { return (std::uint64_t{1} << (7 * width)) - 1; }

std::vector<Raw> With(std::vector<Raw> children, const std::vector<Raw>& more) {
  children.insert(children.end(), more.begin(), more.end());
  return children;
}

Raw LaceHead(const std::vector<Raw>& frames) { return {static_cast<std::uint8_t>(frames.size() - 1)}; }

}  // namespace

Raw Join(const std::vector<Raw>& parts) {
  Raw all;
  for (const Raw& part : parts) Append(all, part);
  return all;
}

Raw Fill(std::size_t size, std::uint8_t value) { return Raw(size, value); }

Raw Ramp(std::size_t size) {
  Raw bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
  return bytes;
}

Raw Text(std::string_view text) { return Raw(text.begin(), text.end()); }

Raw BigEndian(std::uint64_t value, int width) {
  Raw bytes(static_cast<std::size_t>(width));
  for (int i = width - 1; i >= 0; --i, value >>= 8) {
    bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value);
  }
  return bytes;
}

Raw IdBytes(std::uint32_t id) {
  int width = 1;
  while (width < 4 && (id >> (8 * width)) != 0) ++width;
  return BigEndian(id, width);
}

Raw Vint(std::uint64_t value, int width) {
  // All value bits set would mean "unknown", so the shortest form leaves that one out.
  if (width == 0) {
    width = 1;
    while (width < 8 && value >= ValueMask(width)) ++width;
  }
  return BigEndian(value | (std::uint64_t{1} << (7 * width)), width);
}

Raw SignedVint(std::int64_t value, int width) {
  const auto bias = [](int w) { return static_cast<std::int64_t>(ValueMask(w) >> 1); };
  if (width == 0) {
    width = 1;
    while (width < 8 && (value < -bias(width) || value > bias(width))) ++width;
  }
  return BigEndian(static_cast<std::uint64_t>(value + bias(width)) | (std::uint64_t{1} << (7 * width)), width);
}

Raw UnknownVint(int width) { return BigEndian(ValueMask(width) | (std::uint64_t{1} << (7 * width)), width); }

Raw Ebml(std::uint32_t id, const Raw& payload, int sizeWidth) {
  return EbmlWithSize(id, payload.size(), payload, sizeWidth);
}

Raw EbmlWithSize(std::uint32_t id, std::uint64_t claimed, const Raw& payload, int sizeWidth) {
  return Join({IdBytes(id), Vint(claimed, sizeWidth), payload});
}

Raw UInt(std::uint32_t id, std::uint64_t value, int width) {
  if (width == 0) {
    width = 1;
    while (width < 8 && (value >> (8 * width)) != 0) ++width;
  }
  return Ebml(id, BigEndian(value, width));
}

Raw SInt(std::uint32_t id, std::int64_t value, int width) {
  return Ebml(id, BigEndian(static_cast<std::uint64_t>(value), width));
}

Raw Float4(std::uint32_t id, float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return Ebml(id, BigEndian(bits, 4));
}

Raw Float8(std::uint32_t id, double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return Ebml(id, BigEndian(bits, 8));
}

Raw Str(std::uint32_t id, std::string_view text) { return Ebml(id, Text(text)); }
Raw Bin(std::uint32_t id, const Raw& payload) { return Ebml(id, payload); }

Raw Master(std::uint32_t id, const std::vector<Raw>& children, int sizeWidth) {
  return Ebml(id, Join(children), sizeWidth);
}

Raw UnknownSize(std::uint32_t id, const std::vector<Raw>& children, int sizeWidth) {
  return Join({IdBytes(id), UnknownVint(sizeWidth), Join(children)});
}

Raw Void(std::size_t total) {
  int width = 1;
  while (total - 1 - static_cast<std::size_t>(width) >= ValueMask(width)) ++width;
  return Ebml(0xEC, Fill(total - 1 - static_cast<std::size_t>(width)), width);
}

Raw EbmlHeader(std::string_view docType, std::uint64_t readVersion) {
  return Master(0x1A45DFA3, {UInt(0x4286, 1), UInt(0x42F7, 1), UInt(0x42F2, 4), UInt(0x42F3, 8), Str(0x4282, docType),
                             UInt(0x4287, 4), UInt(0x4285, readVersion)});
}

std::uint64_t Positions::operator[](const std::string& name) const {
  const auto found = positions_.find(name);
  return found == positions_.end() ? 0 : found->second;
}

Part::Part(Raw bytes) : Part(std::string(), std::move(bytes)) {}
Part::Part(std::string name, Raw bytes)
    : name_(std::move(name)), make_([bytes = std::move(bytes)](const Positions&) { return bytes; }) {}
Part::Part(std::string name, std::function<Raw(const Positions&)> make)
    : name_(std::move(name)), make_(std::move(make)) {}

Raw Layout(const std::vector<Part>& parts) {
  Positions positions;
  return Layout(parts, positions);
}

Raw Layout(const std::vector<Part>& parts, Positions& positions) {
  std::uint64_t next = 0;
  for (const Part& part : parts) {
    if (!part.Name().empty()) positions.Set(part.Name(), next);
    next += part.Make(Positions()).size();
  }
  Raw payload;
  for (const Part& part : parts) Append(payload, part.Make(positions));
  return payload;
}

Raw Segment(const std::vector<Part>& parts, int sizeWidth) { return Ebml(0x18538067, Layout(parts), sizeWidth); }

Raw UnknownSizeSegment(const std::vector<Part>& parts, int sizeWidth) {
  return UnknownSize(0x18538067, {Layout(parts)}, sizeWidth);
}

Raw MkvFile(const std::vector<Part>& parts) { return Join({EbmlHeader(), Segment(parts)}); }

Raw SeekEntry(std::uint32_t id, std::uint64_t position) {
  return Master(0x4DBB, {Bin(0x53AB, IdBytes(id)), UInt(0x53AC, position, 8)});
}

Raw SeekHead(const std::vector<Raw>& entries) { return Master(0x114D9B74, entries); }

Raw Info(std::uint64_t timecodeScale, double duration, const std::vector<Raw>& more) {
  std::vector<Raw> children{UInt(0x2AD7B1, timecodeScale)};
  if (duration >= 0) children.push_back(Float8(0x4489, duration));
  return Master(0x1549A966, With(std::move(children), more));
}

Raw Track(std::uint64_t number, std::uint64_t type, std::string_view codecId, const std::vector<Raw>& more) {
  return Master(0xAE, With({UInt(0xD7, number), UInt(0x73C5, number), UInt(0x83, type), Str(0x86, codecId)}, more));
}

Raw Video(std::uint64_t width, std::uint64_t height, const std::vector<Raw>& more) {
  return Master(0xE0, With({UInt(0xB0, width), UInt(0xBA, height)}, more));
}

Raw Audio(double samplingFrequency, std::uint64_t channels, const std::vector<Raw>& more) {
  return Master(0xE1, With({Float8(0xB5, samplingFrequency), UInt(0x9F, channels)}, more));
}

Raw CodecPrivate(const Raw& payload) { return Bin(0x63A2, payload); }
Raw Tracks(const std::vector<Raw>& entries) { return Master(0x1654AE6B, entries); }

Raw CuePoint(std::uint64_t time, std::uint64_t track, std::uint64_t position) {
  return Master(0xBB, {UInt(0xB3, time), Master(0xB7, {UInt(0xF7, track), UInt(0xF1, position, 8)})});
}

Raw Cues(const std::vector<Raw>& points) { return Master(0x1C53BB6B, points); }

Raw Attachment(std::string_view fileName, std::string_view mimeType, const Raw& data, const std::vector<Raw>& more) {
  return Master(0x61A7, With({Str(0x466E, fileName), Str(0x4660, mimeType), UInt(0x46AE, 1), Bin(0x465C, data)}, more));
}

Raw Attachments(const std::vector<Raw>& files) { return Master(0x1941A469, files); }

Raw Cluster(std::uint64_t timecode, const std::vector<Raw>& blocks, int sizeWidth) {
  return Master(0x1F43B675, With({UInt(0xE7, timecode)}, blocks), sizeWidth);
}

Raw BlockPayload(std::uint64_t track, int relative, int flags, const Raw& payload) {
  return Join({Vint(track), BigEndian(static_cast<std::uint16_t>(relative), 2), Raw{static_cast<std::uint8_t>(flags)},
               payload});
}

Raw SimpleBlock(std::uint64_t track, int relative, int flags, const Raw& payload) {
  return Ebml(0xA3, BlockPayload(track, relative, flags, payload));
}

Raw Block(std::uint64_t track, int relative, int flags, const Raw& payload) {
  return Ebml(0xA1, BlockPayload(track, relative, flags, payload));
}

Raw BlockGroup(const std::vector<Raw>& children) { return Master(0xA0, children); }
Raw BlockDuration(std::uint64_t ticks) { return UInt(0x9B, ticks); }
Raw ReferenceBlock(std::int64_t ticks) { return SInt(0xFB, ticks, 2); }

Raw XiphLace(const std::vector<Raw>& frames) {
  Raw lace = LaceHead(frames);
  for (std::size_t i = 0; i + 1 < frames.size(); ++i) {
    Append(lace, Fill(frames[i].size() / 255, 255));
    lace.push_back(static_cast<std::uint8_t>(frames[i].size() % 255));
  }
  Append(lace, Join(frames));
  return lace;
}

Raw FixedLace(const std::vector<Raw>& frames) { return Join({LaceHead(frames), Join(frames)}); }

Raw EbmlLace(const std::vector<Raw>& frames) {
  Raw lace = LaceHead(frames);
  for (std::size_t i = 0; i + 1 < frames.size(); ++i) {
    const auto size = static_cast<std::int64_t>(frames[i].size());
    Append(lace, i == 0 ? Vint(frames[i].size()) : SignedVint(size - static_cast<std::int64_t>(frames[i - 1].size())));
  }
  Append(lace, Join(frames));
  return lace;
}

}  // namespace vantor::test
