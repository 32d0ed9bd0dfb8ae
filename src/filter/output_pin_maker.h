// Makes the output pins of an opened file: which tracks get one, in which order, under which name.
//
//   OutputPinMaker maker(*root, upstream, fonts, filter, filterLock, list);
//   HRESULT result = maker.MakePins();   // list.Append(pin) for each; fonts are installed for subtitles
//
// For one connection and one call; the caller holds the filter lock.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "filter/output_pins.h"
#include "mediatypes/font_installer.h"
#include "mediatypes/track_media_type.h"
#include "parser/file_root.h"

namespace vantor {

// What becomes of the pins.
class OutputPinList {
 public:
  // Raises running out of memory.
  virtual void Append(PinHold pin) = 0;
  // The frame time, 100 ns, of the first pin that has one; told at most once, before that pin is appended.
  virtual void SetFrameDuration(std::int64_t duration) = 0;

 protected:
  ~OutputPinList() = default;
};

class OutputPinMaker {
 public:
  // All of them outlive the maker and, but for `upstream` and `pins`, every pin. `upstream` is the pin that the input
  // is connected to, asked for the file's name where a track needs a description file.
  OutputPinMaker(CMkvFileRoot& root, IPin* upstream, CFontInstaller& fonts, CVXMkvDmx& filter, CCritSec& filterLock,
                 OutputPinList& pins);

  // Where playing begins.
  const FirstCluster& Start() const { return firstCluster_; }

  // The numbers of the tracks that have got a pin.
  const std::vector<std::uint64_t>& PlayedTracks() const { return playedTracks_; }

  // Called once. S_OK, or the first failure of a builder or of a pin, with the pins made so far appended.
  HRESULT MakePins();

 private:
  enum PinKind : std::uint32_t { kVideoPin = 1, kAudioPin = 2, kSubtitlePin = 4 };

  // Makes the pins of one pass, over the tracks for which `takes` says so.
  template <typename Takes>
  HRESULT MakePinsFor(PinKind kind, Takes takes);
  HRESULT MakePin(PinKind kind, const MkvTrackEntry& track, const TrackMediaType& type);
  WideString NextPinName(PinKind kind, const WideString& codecLabel);
  void RecordFrameDuration(const CMediaType& type);

  CMkvFileRoot& root_;
  CFontInstaller& fonts_;
  CVXMkvDmx& filter_;
  CCritSec& filterLock_;
  OutputPinList& pins_;

  const FirstCluster firstCluster_;
  CMkvFileClone probedFile_;  // where the first frames of tracks are looked for
  AvcConfigSources avcConfigSources_;
  std::map<PinKind, std::uint32_t> numbers_;  // the last number given
  std::vector<std::uint64_t> playedTracks_;
  std::uint32_t kinds_ = 0;  // the kinds that have a pin
  bool hasFrameDuration_ = false;
};

}  // namespace vantor
