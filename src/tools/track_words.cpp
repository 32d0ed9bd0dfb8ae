#include "tools/track_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

#include "mediatypes/codec_id.h"

namespace vantor::tools {
namespace {

// What a display size counts.
enum DisplayUnit : std::uint8_t { kPixels, kCentimetres, kInches, kAspect };

// "shown 1024x576"; empty where pixels are shown as they are.
std::string ShownText(const MkvVideoSettings& video) {
  const std::uint64_t width = video.DisplayWidth.present ? video.DisplayWidth.value : video.PixelWidth.value;
  const std::uint64_t height = video.DisplayHeight.present ? video.DisplayHeight.value : video.PixelHeight.value;
  if (width == 0 || height == 0) return {};
  switch (video.DisplayUnit.value) {
    case kPixels:
      if (width == video.PixelWidth.value && height == video.PixelHeight.value) return {};
      return fmt::format("shown {}x{}", width, height);
    case kCentimetres:
      return fmt::format("shown {}x{} cm", width, height);
    case kInches:
      return fmt::format("shown {}x{} in", width, height);
    case kAspect:
      return fmt::format("shown {}:{}", width, height);
    default:
      return {};
  }
}

void AppendVideo(const MkvTrackEntry& track, std::optional<double> measured, std::vector<std::string>& parts) {
  const MkvVideoSettings& video = track.video;
  if (video.PixelWidth.value != 0 || video.PixelHeight.value != 0) {
    parts.push_back(fmt::format("{}x{}", video.PixelWidth.value, video.PixelHeight.value));
  }
  if (const std::string shown = ShownText(video); !shown.empty()) parts.push_back(shown);
  if (const double rate = FrameRateOf(track); rate > 0) {
    parts.push_back(FrameRateText(rate, 3));
  } else if (measured) {
    parts.push_back(FrameRateText(*measured, 2) + " (measured)");
  }
}

// What other codecs decode to is the decoder's choice, whatever the header says.
bool HasSampleBits(const MkvTrackEntry& track) {
  const std::string_view codec = CodecIdText(track.CodecID);
  constexpr std::string_view kPcm = "A_PCM/";
  constexpr std::string_view kLossless[] = {"A_FLAC", "A_TTA1", "A_WAVPACK4", "A_ALAC"};
  return codec.starts_with(kPcm) || std::ranges::find(kLossless, codec) != std::end(kLossless);
}

void AppendAudio(const MkvTrackEntry& track, std::vector<std::string>& parts) {
  const MkvAudioSettings& audio = track.audio;
  parts.push_back(fmt::format("{} Hz", audio.SamplingFrequency.value));
  const double output = audio.OutputSamplingFrequency.value;
  if (output > 0 && output != audio.SamplingFrequency.value) parts.push_back(fmt::format("played at {} Hz", output));
  parts.push_back(fmt::format("{} channel{}", audio.Channels.value, audio.Channels.value == 1 ? "" : "s"));
  if (audio.BitDepth.value != 0 && HasSampleBits(track)) parts.push_back(fmt::format("{} bits", audio.BitDepth.value));
}

}  // namespace

double FrameRateOf(const MkvTrackEntry& track) {
  const bool isKnown = track.TrackType.value == MkvTrackEntry::kTypeVideo && track.DefaultDuration.value != 0;
  return isKnown ? 1e9 / static_cast<double>(track.DefaultDuration.value) : 0;
}

std::string TrackDetails(const MkvTrackEntry& track, std::optional<double> measured) {
  std::vector<std::string> parts;
  if (track.TrackType.value == MkvTrackEntry::kTypeVideo) AppendVideo(track, measured, parts);
  if (track.TrackType.value == MkvTrackEntry::kTypeAudio) AppendAudio(track, parts);
  return fmt::format("{}", fmt::join(parts, ", "));
}

std::string FrameRateText(double framesASecond, int digits) {
  std::string text = fmt::format("{:.{}f}", framesASecond, digits);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text + " fps";
}

}  // namespace vantor::tools
