// What writes the samples of one pin as a file that players and decoders open, and what it needs of that file.
//
//   std::optional<TrackForm> form = FormOf(type);
//   std::unique_ptr<TrackWriter> writer = form->make(output, nullptr);
//   writer->Write({.payload = payload, .start = 0, .stop = 400'000, .sync = true});
//   writer->Finish();
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/com.h"

namespace vantor::tools {

// A sample as the pin delivered it. Times in 100 ns from the file's start.
struct TrackSample {
  std::span<const std::uint8_t> payload;
  std::optional<std::int64_t> start = std::nullopt;
  std::optional<std::int64_t> stop = std::nullopt;
  bool sync = false;
  bool discontinuity = false;
  bool preroll = false;
};

// What a file tells of a sound's end, and no sample does.
struct SoundEnd {
  std::int64_t padding = 0;             // how much of the last sample is not to be heard, nanoseconds
  std::optional<std::int64_t> fileEnd;  // where the file says that it ends itself; 100 ns
};

// A file that is being written. A failure is kept; what follows it is not written.
class OutputBytes {
 public:
  virtual ~OutputBytes() = default;
  virtual void Append(std::span<const std::uint8_t> bytes) = 0;
  // Of what has been appended before: sizes that a header can only know at the end.
  virtual void Replace(std::uint64_t offset, std::span<const std::uint8_t> bytes) = 0;
  virtual std::uint64_t Size() const = 0;
};

// Gets the samples of one pin in the order of delivery. Called by one thread at a time.
class TrackWriter {
 public:
  virtual ~TrackWriter() = default;
  virtual void Write(const TrackSample& sample) = 0;
  // Behind the last sample, of forms with `asksForEnd`.
  virtual void TellEnd(const SoundEnd& /*end*/) {}
  // Behind the last sample, also when there was none.
  virtual void Finish() = 0;
};

// How the samples of a media type become a file.
struct TrackForm {
  std::string name;       // for people: "Ogg Opus"
  std::string extension;  // without its dot: "opus"
  std::string companion;  // of a second file, as VobSub has one; empty when there is none
  // Both files outlive the writer. The second is null when the form has none.
  std::function<std::unique_ptr<TrackWriter>(OutputBytes& out, OutputBytes* companion)> make;
  bool asksForEnd = false;  // it can say that sound ends within its last packet, to the sound
  // Its beginning tells what is known at the end only: it cannot go into a pipe or a device.
  bool changesItsHead = false;
};

// The form of a pin's media type, or nothing when it has none here (or its format block does not hold what it takes):
// the families by themselves, and the first of them that has one.
std::optional<TrackForm> VideoFormOf(const AM_MEDIA_TYPE& type);
std::optional<TrackForm> PlainAudioFormOf(const AM_MEDIA_TYPE& type);     // AAC, AC-3, DTS, MPEG audio, PCM
std::optional<TrackForm> PackagedAudioFormOf(const AM_MEDIA_TYPE& type);  // Vorbis, Opus, FLAC, TTA, WavPack
std::optional<TrackForm> SubtitleFormOf(const AM_MEDIA_TYPE& type);
std::optional<TrackForm> FormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
