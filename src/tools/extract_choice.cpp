#include "tools/extract_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>

#include "platform/file_path.h"
#include "platform/text.h"
#include "tools/check/header_findings.h"
#include "tools/forms/raw_writer.h"
#include "tools/opened_file.h"
#include "tools/output_file.h"
#include "tools/safe_name.h"
#include "tools/track_labels.h"
#include "tools/track_pins.h"

namespace vantor::tools {
namespace {

// The text's first bytes, whole characters only.
std::string Beginning(std::string text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  text.resize(size);
  return text;
}

// "1 (AVC video 1), 2 (AAC audio 1) and 12 more": what fits a line, since a file may have a hundred.
std::string ShortList(const std::vector<std::string>& items) {
  constexpr std::size_t kLongest = 100;
  std::string list;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0 && list.size() + items[i].size() > kLongest) return list + fmt::format(" and {} more", items.size() - i);
    list += (i > 0 ? ", " : "") + items[i];
  }
  return list;
}

constexpr std::size_t kLongestWord = 40;

// What the file says of its tracks, where it can be read apart from the component.
class TracksOfFile {
 public:
  TracksOfFile(Session& session, const Options& options)
      : file_(session.Bytes(), session.FullFileName(), options.complete ? kCompletePolicy : PlaybackPolicy()) {
    if (!file_.IsOpen()) return;
    tracks_ = MatchTracks(file_.Root(), file_.Upstream(), session.OpenedGraph().Pins());
    labels_ = ReadTrackLabels(file_.Root());
  }

  const TrackPin* ByNumber(std::uint64_t number) const {
    return Find([&](const TrackPin& track) { return track.entry->TrackNumber.value == number; });
  }
  const TrackPin* ByPin(int pin) const {
    return Find([&](const TrackPin& track) { return track.pin == pin; });
  }
  // Of each track that has no pin, why.
  Findings Pinless() const {
    Findings pinless;
    for (const TrackPin& track : tracks_.tracks) {
      if (track.pin == 0) AppendTrackFinding(track, std::nullopt, pinless);
    }
    return pinless;
  }
  // "; the file has tracks 1 (pin 1, V_MPEG4/ISO/AVC), 2 (no pin, A_REAL/COOK)": nothing where they are not known.
  std::string List() const {
    std::vector<std::string> items;
    items.reserve(tracks_.tracks.size());
    for (const TrackPin& track : tracks_.tracks) {
      items.push_back(fmt::format("{} ({}, {})", track.entry->TrackNumber.value,
                                  track.pin == 0 ? "no pin" : fmt::format("pin {}", track.pin),
                                  Beginning(CodecText(*track.entry), kLongestWord)));
    }
    return items.empty() ? "" : "; the file has tracks " + ShortList(items);
  }
  // ".ger.Commentary": language and name, as far as the file tells them, for a file's name.
  std::string NameParts(const TrackPin& track) const {
    std::string language = LanguageOf(*track.entry, labels_);
    if (language.find('(') != std::string::npos || language == "und") language.clear();
    std::string parts;
    for (const std::string& part : {SafePart(language), SafePart(WideToUtf8(track.entry->Name))}) {
      if (!part.empty()) parts += "." + part;
    }
    return parts;
  }

 private:
  template <typename Matches>
  const TrackPin* Find(Matches&& matches) const {
    const auto found = std::find_if(tracks_.tracks.begin(), tracks_.tracks.end(), matches);
    return found == tracks_.tracks.end() ? nullptr : &*found;
  }

  OpenedFile file_;
  TrackPins tracks_;
  TrackLabels labels_;
};

std::string ListOf(const std::vector<GraphPin>& pins) {
  std::vector<std::string> items;
  items.reserve(pins.size());
  for (const GraphPin& pin : pins) {
    items.push_back(fmt::format("{} ({})", pin.number, Beginning(WideToUtf8(pin.name), kLongestWord)));
  }
  return ShortList(items);
}

// What is said of a track that has no pin: why, and what there is besides.
std::string NoPinText(const TrackPin& track, const TracksOfFile& tracks) {
  Findings why;
  AppendTrackFinding(track, std::nullopt, why);
  return fmt::format("track {}: {}{}", track.entry->TrackNumber.value, why.empty() ? "no pin" : why.front().text,
                     tracks.List());
}

// The numbers of the pins that are asked for; otherwise what is wrong.
std::string FindPins(const ExtractRequest& request, const std::vector<GraphPin>& pins, const TracksOfFile& tracks,
                     std::vector<int>& numbers) {
  for (const int number : request.pins) {
    if (number < 1 || static_cast<std::size_t>(number) > pins.size()) {
      return fmt::format("there is no pin {}; the file has pins {}", number, ListOf(pins));
    }
    numbers.push_back(number);
  }
  for (const std::uint64_t number : request.tracks) {
    const TrackPin* const track = tracks.ByNumber(number);
    if (track == nullptr) return fmt::format("there is no track {}{}", number, tracks.List());
    if (track->pin == 0) return NoPinText(*track, tracks);
    numbers.push_back(track->pin);
  }
  if (request.all || (numbers.empty() && pins.size() == 1)) {
    for (const GraphPin& pin : pins) numbers.push_back(pin.number);
  }
  if (numbers.empty()) return "--pin, --track or --all has to say which of several pins: " + ListOf(pins);
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return {};
}

// The second file lies beside the first, with an extension of its own.
std::string CompanionOf(const std::string& path, const TrackForm& form) {
  if (form.companion.empty()) return {};
  return platform::FromPath(platform::ToPath(path).replace_extension(form.companion));
}

std::string PathIn(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : platform::FromPath(platform::ToPath(folder) / platform::ToPath(name));
}

// Packets that come as they are in the file, in a state that the codec's form does not have: no player would open that.
void ChooseForm(ChosenPin& chosen, const TrackPin* track, bool isRawAllowed) {
  if (chosen.pin->types.empty()) return;
  const AM_MEDIA_TYPE& type = chosen.pin->types.front();
  Findings encoded;
  if (track != nullptr && track->frames != FrameState::kPlain) AppendTrackFinding(*track, std::string(), encoded);
  if (encoded.empty()) {
    chosen.form = FormOf(type);
  } else {
    chosen.noForm = encoded.front().text;
  }
  if (!chosen.form && isRawAllowed) chosen.form = RawFormOf(type);
}

// Of a long name the source's part is shortened: what tells the pins apart stays.
std::string NameOf(const std::string& stem, const std::string& tail) {
  constexpr std::size_t kLongest = 200;
  return SafeName(Beginning(stem, kLongest - std::min(kLongest, tail.size())) + tail, "stream" + tail);
}

}  // namespace

std::string PinText(const GraphPin& pin) { return fmt::format("pin {} ({})", pin.number, WideToUtf8(pin.name)); }

std::string ChoosePins(Session& session, const Options& options, PinChoice& choice) {
  const ExtractRequest& request = options.extract;
  std::vector<GraphPin>& pins = session.OpenedGraph().Pins();
  const TracksOfFile tracks(session, options);
  if (request.all) choice.pinless = tracks.Pinless();
  if (pins.empty()) return "the filter has no pins for it" + (request.all ? "" : tracks.List());
  std::vector<int> numbers;
  if (std::string wrong = FindPins(request, pins, tracks, numbers); !wrong.empty()) return wrong;
  if (!request.output.empty() && numbers.size() > 1) {
    return fmt::format("-o names one file, and {} pins are chosen; -d names a folder", numbers.size());
  }
  const std::string stem = SafeName(platform::FromPath(platform::ToPath(options.file).stem()), "stream");
  for (const int number : numbers) {
    ChosenPin& added = choice.pins.emplace_back();
    added.pin = &pins[static_cast<std::size_t>(number) - 1];
    const TrackPin* const track = tracks.ByPin(number);
    if (track != nullptr) added.track = track->entry->TrackNumber.value;
    ChooseForm(added, track, request.raw);
    if (!added.form) continue;
    const std::string parts = track == nullptr ? std::string() : tracks.NameParts(*track);
    added.path =
        request.output.empty()
            ? PathIn(request.folder, NameOf(stem, fmt::format(".{}{}.{}", number, parts, added.form->extension)))
            : request.output;
    added.companionPath = CompanionOf(added.path, *added.form);
    if (added.form->changesItsHead && IsStream(added.path)) {
      return fmt::format("{} begins with what is known at its end only, and cannot go into a pipe or a device",
                         added.form->name);
    }
    if (!added.companionPath.empty() && (IsStream(added.path) || added.companionPath == added.path)) {
      return fmt::format("{} has a second file, .{}, which {} leaves no name for", added.form->name,
                         added.form->companion, added.path);
    }
  }
  return {};
}

}  // namespace vantor::tools
