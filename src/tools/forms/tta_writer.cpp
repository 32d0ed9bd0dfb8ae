// True Audio: a header with the whole length, a table of the frames' sizes, the frames. Both are known at the end only,
// and the table's length with them: so the frames wait in a temporary file, and four bytes for each in memory. All
// frames but the last are of one length; the last one's follows from its own bits. Silence at its end leaves that open
// by up to seven sounds: then a header among the private data tells it, or the file's duration where that fits, or
// times that count sounds (those of whole milliseconds do not). Otherwise all that may be sounds are taken for such, so
// that none is lost.
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tools/forms/form_bytes.h"
#include "tools/forms/packaged_audio.h"
#include "tools/forms/tta_frame.h"
#include "tools/little_endian.h"
#include "tools/sample_span.h"
#include "tools/spill_file.h"

namespace vantor::tools {
namespace {

constexpr std::uint64_t kMostTtaSounds = std::numeric_limits<std::uint32_t>::max();

struct TtaStream {
  std::uint16_t channels = 0;
  std::uint16_t bits = 0;
  std::uint32_t rate = 0;
  std::uint64_t sounds = 0;  // of the whole, where a header tells it

  // 256/245 of a second.
  std::uint32_t FrameLength() const { return static_cast<std::uint32_t>(std::uint64_t{rate} * 256 / 245); }
  bool IsPlayable() const {
    return channels != 0 && channels <= 64 && bits >= 8 && bits <= 32 && rate >= 1000 && rate <= 10'000'000;
  }
};

// What some files keep of the header as private data goes before what the track says. Sound that is encrypted or of
// another kind than whole numbers gives a stream without channels.
TtaStream StreamOf(const SoundFormat& format) {
  constexpr std::string_view kWord = "TTA1";
  constexpr std::uint64_t kWholeNumbers = 1;
  const std::span<const std::uint8_t> stored = format.codecData;
  if (stored.size() < 18 || !std::equal(kWord.begin(), kWord.end(), stored.begin())) {
    return {format.channels, format.bits, format.rate, 0};
  }
  if (LittleEndian(stored.subspan(4, 2)) != kWholeNumbers) return {};
  return {static_cast<std::uint16_t>(LittleEndian(stored.subspan(6, 2))),
          static_cast<std::uint16_t>(LittleEndian(stored.subspan(8, 2))),
          static_cast<std::uint32_t>(LittleEndian(stored.subspan(10, 4))), LittleEndian(stored.subspan(14, 4))};
}

// Its own CRC follows every part of a file.
void AppendWithChecksum(OutputBytes& out, FormBytes& part) {
  part.Little(4, crc32(0, part.Bytes().data(), static_cast<uInt>(part.Bytes().size())));
  out.Append(part.Bytes());
}

class TtaWriter final : public TrackWriter {
 public:
  TtaWriter(OutputBytes& out, const TtaStream& stream) : out_(out), stream_(stream) {}

  void Write(const TrackSample& sample) override {
    const bool hasRoom = (sizes_.size() + 1) * std::uint64_t{stream_.FrameLength()} <= kMostTtaSounds;
    if (sample.payload.empty() || !hasRoom) return;
    CompareTimes(sample);
    if (frames_.Append(sample.payload.data(), sample.payload.size()) < 0) throw std::runtime_error(frames_.Trouble());
    sizes_.push_back(static_cast<std::uint32_t>(sample.payload.size()));
    last_.assign(sample.payload.begin(), sample.payload.end());
    span_.Add(sample);
  }

  void TellEnd(const SoundEnd& end) override { fileEnd_ = end.fileEnd; }

  void Finish() override {
    FormBytes header;
    header.Text("TTA1").Little(2, 1).Little(2, stream_.channels).Little(2, stream_.bits);
    header.Little(4, stream_.rate).Little(4, Sounds());
    AppendWithChecksum(out_, header);
    FormBytes table;
    for (const std::uint32_t size : sizes_) table.Little(4, size);
    AppendWithChecksum(out_, table);
    CopyFrames();
  }

 private:
  std::uint64_t Sounds() const {
    if (sizes_.empty()) return 0;
    const std::uint64_t before = (sizes_.size() - 1) * std::uint64_t{stream_.FrameLength()};
    const TtaFrameLength last = CountTtaFrame(last_, stream_.channels, stream_.FrameLength());
    // A damaged frame stays one: without any sound it would not be counted.
    const std::uint64_t least = before + std::max<std::uint32_t>(last.least, 1);
    const std::uint64_t most = std::max(before + last.most, least);
    if (stream_.sounds >= least && stream_.sounds <= most) return stream_.sounds;
    if (const std::optional<std::int64_t> byFile = SoundsUntil(fileEnd_); byFile && start_ == 0) {
      const auto sounds = static_cast<std::uint64_t>(*byFile);
      if (sounds + 1 >= least && sounds <= most + 1) return std::clamp(sounds, least, most);
    }
    const std::optional<std::int64_t> byTimes = doTimesCount_ ? span_.At(stream_.rate) : std::nullopt;
    return byTimes ? std::clamp(static_cast<std::uint64_t>(*byTimes), least, most) : most;
  }

  std::optional<std::int64_t> SoundsUntil(std::optional<std::int64_t> time) const {
    SampleSpan span;
    span.Add({.payload = {}, .start = start_, .stop = time});
    return span.At(stream_.rate);
  }

  // Times that count sounds put every frame where the lengths of those before it do.
  void CompareTimes(const TrackSample& sample) {
    if (sizes_.empty()) {
      start_ = sample.start;
      return;
    }
    const std::int64_t sounds = static_cast<std::int64_t>(sizes_.size() * std::uint64_t{stream_.FrameLength()});
    const std::int64_t byTimes = SoundsUntil(sample.start).value_or(-1);
    doTimesCount_ = (doTimesCount_ || sizes_.size() == 1) && byTimes >= sounds - 1 && byTimes <= sounds + 1;
  }

  void CopyFrames() {
    constexpr std::size_t kTtaPiece = std::size_t{64} * 1024;
    std::uint64_t left = 0;
    for (const std::uint32_t size : sizes_) left += size;
    std::vector<std::uint8_t> piece(kTtaPiece);
    for (std::int64_t place = 0; left > 0;) {
      const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(left, piece.size()));
      if (!frames_.Read(place, piece.data(), size)) throw std::runtime_error(frames_.Trouble());
      out_.Append(std::span(piece).first(size));
      place += static_cast<std::int64_t>(size);
      left -= size;
    }
  }

  OutputBytes& out_;
  const TtaStream stream_;
  SpillFile frames_;
  std::vector<std::uint32_t> sizes_;
  std::vector<std::uint8_t> last_;
  SampleSpan span_;
  std::optional<std::int64_t> start_;  // of the first frame
  std::optional<std::int64_t> fileEnd_;
  bool doTimesCount_ = false;  // as far as they could be compared
};

}  // namespace

std::optional<TrackForm> TtaForm(const SoundFormat& format) {
  const TtaStream stream = StreamOf(format);
  if (!stream.IsPlayable()) return std::nullopt;
  return TrackForm{
      .name = "True Audio",
      .extension = "tta",
      .companion = {},
      .make = [stream](OutputBytes& out, OutputBytes*) { return std::make_unique<TtaWriter>(out, stream); },
      .asksForEnd = true};
}

}  // namespace vantor::tools
