#include "tools/chapter_formats.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

#include "tools/json_text.h"

namespace vantor::tools {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Neither form can hold control characters, and not every byte of a file's text is text.
std::string WithoutControls(std::string_view text) {
  const std::string valid = ValidUtf8(text);
  std::string kept;
  for (std::size_t i = 0; i < valid.size(); ++i) {
    const auto c = static_cast<unsigned char>(valid[i]);
    const bool isSecondSet = c == 0xC2 && i + 1 < valid.size() && static_cast<unsigned char>(valid[i + 1]) < 0xA0;
    const bool isNoCharacter = valid.compare(i, 3, "\xEF\xBF\xBE") == 0 || valid.compare(i, 3, "\xEF\xBF\xBF") == 0;
    if (isSecondSet || isNoCharacter || (c < 0x20 && c != '\t' && c != '\n') || c == 0x7F) {
      kept += kReplacement;
      i += isSecondSet ? 1 : isNoCharacter ? 2 : 0;
    } else {
      kept += valid[i];
    }
  }
  return kept;
}

std::string XmlText(std::string_view text) {
  std::string escaped;
  for (const char c : WithoutControls(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// "00:01:30.500000000"
std::string XmlTime(std::uint64_t nanoseconds) {
  const std::uint64_t seconds = nanoseconds / 1000000000;
  return fmt::format("{:02}:{:02}:{:02}.{:09}", seconds / 3600, seconds / 60 % 60, seconds % 60,
                     nanoseconds % 1000000000);
}

class XmlWriter {
 public:
  std::string Take() { return fmt::to_string(out_); }

  void Write(const Editions& editions) {
    Line(R"(<?xml version="1.0" encoding="UTF-8"?>)");
    Line(R"(<!-- <!DOCTYPE Chapters SYSTEM "matroskachapters.dtd"> -->)");
    Open("Chapters");
    for (const Edition& edition : editions) WriteEdition(edition);
    Close("Chapters");
  }

 private:
  void WriteEdition(const Edition& edition) {
    Open("EditionEntry");
    Uid("EditionUID", edition.uid);
    Number("EditionFlagHidden", edition.hidden.value);
    Number("EditionFlagDefault", edition.isDefault.value);
    if (edition.ordered.value != 0) Number("EditionFlagOrdered", edition.ordered.value);
    for (const ChapterName& name : edition.names) {
      Open("EditionDisplay");
      Text("EditionString", name.text);
      for (const std::string& language : name.bcp47) Text("EditionLanguageIETF", language);
      Close("EditionDisplay");
    }
    for (const Chapter& chapter : edition.chapters) WriteChapter(chapter);
    Close("EditionEntry");
  }

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the reader let it become
  void WriteChapter(const Chapter& chapter) {
    Open("ChapterAtom");
    Uid("ChapterUID", chapter.uid);
    if (!chapter.stringUid.empty()) Text("ChapterStringUID", chapter.stringUid);
    Text("ChapterTimeStart", XmlTime(chapter.start.value));
    if (chapter.end.present) Text("ChapterTimeEnd", XmlTime(chapter.end.value));
    Number("ChapterFlagHidden", chapter.hidden.value);
    Number("ChapterFlagEnabled", chapter.enabled.value);
    WriteSegment(chapter);
    if (chapter.physicalKind.present) Number("ChapterPhysicalEquiv", chapter.physicalKind.value);
    if (!chapter.tracks.empty()) {
      Open("ChapterTrack");
      for (const std::uint64_t track : chapter.tracks) Number("ChapterTrackNumber", track);
      Close("ChapterTrack");
    }
    for (const ChapterName& name : chapter.names) WriteName(name);
    for (const Chapter& nested : chapter.nested) WriteChapter(nested);
    Close("ChapterAtom");
  }

  void WriteSegment(const Chapter& chapter) {
    if (chapter.segmentUid.empty()) return;
    Buffer hex;
    AppendHex(hex, chapter.segmentUid.data(), chapter.segmentUid.size());
    Line(fmt::format(R"(<ChapterSegmentUID format="hex">{}</ChapterSegmentUID>)", fmt::to_string(hex)));
    if (chapter.segmentEdition.present) Number("ChapterSegmentEditionUID", chapter.segmentEdition.value);
  }

  void WriteName(const ChapterName& name) {
    Open("ChapterDisplay");
    Text("ChapterString", name.text);
    for (const std::string& language : name.languages) Text("ChapterLanguage", language);
    for (const std::string& language : name.bcp47) Text("ChapLanguageIETF", language);
    for (const std::string& country : name.countries) Text("ChapterCountry", country);
    Close("ChapterDisplay");
  }

  // 0 identifies nothing.
  void Uid(const char* element, const CMkvUInt& uid) {
    if (uid.value != 0) Number(element, uid.value);
  }
  void Number(const char* element, std::uint64_t number) { Text(element, std::to_string(number)); }
  void Text(const char* element, std::string_view text) {
    Line(fmt::format("<{}>{}</{}>", element, XmlText(text), element));
  }
  void Open(const char* element) {
    Line(fmt::format("<{}>", element));
    ++depth_;
  }
  void Close(const char* element) {
    --depth_;
    Line(fmt::format("</{}>", element));
  }
  void Line(std::string_view text) { fmt::format_to(std::back_inserter(out_), "{:{}}{}\n", "", 2 * depth_, text); }

  Buffer out_;
  std::size_t depth_ = 0;
};

// The characters that begin, part and end lines have a backslash before them, line ends among them.
std::string MetadataText(std::string_view text) {
  std::string escaped;
  for (const char c : WithoutControls(text)) {
    if (std::string_view("=;#\\\n").find(c) != std::string_view::npos) escaped += '\\';
    escaped += c;
  }
  return escaped;
}

const Edition* PlayedEdition(const Editions& editions) {
  const auto marked =
      std::ranges::find_if(editions, [](const Edition& edition) { return edition.isDefault.value != 0; });
  if (marked != editions.end()) return &*marked;
  return editions.empty() ? nullptr : &editions.front();
}

}  // namespace

std::string ChaptersXml(const Editions& editions) {
  XmlWriter writer;
  writer.Write(editions);
  return writer.Take();
}

MetadataChapters ChaptersMetadata(const Editions& editions, std::uint64_t duration) {
  std::vector<const Chapter*> shown;
  if (const Edition* const edition = PlayedEdition(editions)) {
    for (const Chapter& chapter : edition->chapters) {
      if (chapter.hidden.value == 0 && chapter.enabled.value != 0) shown.push_back(&chapter);
    }
  }
  std::ranges::stable_sort(shown, {}, [](const Chapter* chapter) { return chapter->start.value; });
  // What reads this counts in signed numbers.
  constexpr std::uint64_t kLast = INT64_MAX;
  Buffer out;
  out.append(std::string_view(";FFMETADATA1\n"));
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const Chapter& chapter = *shown[i];
    const std::uint64_t start = std::min(chapter.start.value, kLast);
    const std::uint64_t next = i + 1 < shown.size() ? shown[i + 1]->start.value : duration;
    const std::uint64_t end = std::clamp(chapter.end.present ? chapter.end.value : next, start, kLast);
    fmt::format_to(std::back_inserter(out), "[CHAPTER]\nTIMEBASE=1/1000000000\nSTART={}\nEND={}\n", start, end);
    if (!chapter.names.empty()) {
      fmt::format_to(std::back_inserter(out), "title={}\n", MetadataText(chapter.names.front().text));
    }
  }
  return {fmt::to_string(out), CountChapters(editions) - shown.size()};
}

}  // namespace vantor::tools
