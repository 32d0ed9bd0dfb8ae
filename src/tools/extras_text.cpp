#include "tools/extras_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "platform/text.h"
#include "tools/cell_width.h"
#include "tools/messages.h"
#include "tools/text_table.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

std::string TimeOf(std::uint64_t nanoseconds) { return TimeText(static_cast<std::int64_t>(nanoseconds / 100)); }

// "Intro", or "Intro [eng] / Vorspann [ger]".
std::string NamesText(const std::vector<ChapterName>& names) {
  if (names.size() == 1) return names.front().text;
  std::vector<std::string> texts;
  texts.reserve(names.size());
  for (const ChapterName& name : names) texts.push_back(fmt::format("{} [{}]", name.text, name.Language()));
  return fmt::format("{}", fmt::join(texts, " / "));
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the reader let it become
void AddChapters(TextTable& table, const std::vector<Chapter>& chapters, std::size_t depth) {
  for (const Chapter& chapter : chapters) {
    const char* const flags = chapter.hidden.value != 0    ? chapter.enabled.value != 0 ? "hidden" : "hidden, disabled"
                              : chapter.enabled.value != 0 ? ""
                                                           : "disabled";
    const std::string language = chapter.names.size() == 1 ? chapter.names.front().Language() : std::string();
    table.Add({TimeOf(chapter.start.value), chapter.end.present ? TimeOf(chapter.end.value) : "", language, flags,
               std::string(2 * depth, ' ') + NamesText(chapter.names)});
    AddChapters(table, chapter.nested, depth + 1);
  }
}

std::string EditionLine(const Edition& edition, std::size_t number) {
  std::vector<std::string> words;
  if (!edition.names.empty()) words.push_back(fmt::format("\"{}\"", Printable(NamesText(edition.names))));
  if (edition.isDefault.value != 0) words.emplace_back("default");
  if (edition.ordered.value != 0) words.emplace_back("ordered");
  if (edition.hidden.value != 0) words.emplace_back("hidden");
  return fmt::format("Edition {}{}{}\n", number, words.empty() ? "" : ": ", fmt::join(words, ", "));
}

// What one tag is about stands in each of its lines.
constexpr std::size_t kMostTargets = 8;
constexpr std::size_t kLongestLevel = 40;

void AppendUids(std::vector<std::string>& words, const char* what, const std::vector<std::uint64_t>& uids) {
  for (std::size_t i = 0; i < uids.size() && words.size() < kMostTargets; ++i) {
    words.push_back(fmt::format("{} {}", what, uids[i]));
  }
}

// "track 2"; a UID that no track has is shown as it is.
std::string TrackText(std::uint64_t uid, const MkvSegment& segment) {
  for (const MkvTrackList& list : segment.tracks) {
    const auto found = std::ranges::find_if(list, [&](const auto& track) { return track->TrackUID.value == uid; });
    if (found != list.end()) return fmt::format("track {}", (*found)->TrackNumber.value);
  }
  return fmt::format("track of UID {}", uid);
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the reader let it become
void AddTags(TextTable& table, const std::string& target, const std::string& level, const std::vector<SimpleTag>& tags,
             std::size_t depth) {
  for (const SimpleTag& tag : tags) {
    const std::string value = tag.binarySize ? fmt::format("({})", SizeText(*tag.binarySize)) : tag.value;
    table.Add({target, level, tag.Language(), std::string(2 * depth, ' ') + tag.name, value});
    AddTags(table, target, level, tag.nested, depth + 1);
  }
}

}  // namespace

std::string TagTarget(const FileTag& tag, const MkvSegment& segment) {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < tag.tracks.size() && i < kMostTargets; ++i) {
    words.push_back(TrackText(tag.tracks[i], segment));
  }
  AppendUids(words, "edition of UID", tag.editions);
  AppendUids(words, "chapter of UID", tag.chapters);
  AppendUids(words, "attachment of UID", tag.attachments);
  const std::size_t count = tag.tracks.size() + tag.editions.size() + tag.chapters.size() + tag.attachments.size();
  if (count > words.size()) words.push_back(fmt::format("{} more", count - words.size()));
  return words.empty() ? "file" : fmt::format("{}", fmt::join(words, ", "));
}

std::string ChaptersText(const Editions& editions, std::size_t width) {
  std::string text;
  for (std::size_t i = 0; i < editions.size(); ++i) {
    const Edition& edition = editions[i];
    const bool isSpecial = !edition.names.empty() || edition.ordered.value != 0 || edition.hidden.value != 0;
    if (editions.size() > 1 || isSpecial) text += fmt::format("{}{}", i > 0 ? "\n" : "", EditionLine(edition, i + 1));
    if (edition.chapters.empty()) continue;
    TextTable table({{"Start", Align::kRight}, {"End", Align::kRight}, {"Language"}, {"Flags"}, {"Chapter"}});
    AddChapters(table, edition.chapters, 0);
    text += table.Text(width);
  }
  return text;
}

std::string TagsText(const FileTags& tags, const MkvSegment& segment, std::size_t width) {
  TextTable table({{"About"}, {"Level", Align::kRight}, {"Language"}, {"Tag"}, {"Value"}});
  for (const FileTag& tag : tags) {
    const std::string level = tag.levelName.empty()
                                  ? std::to_string(tag.level.value)
                                  : fmt::format("{} {}", FitCells(tag.levelName, kLongestLevel), tag.level.value);
    AddTags(table, TagTarget(tag, segment), level, tag.simple, 0);
  }
  return table.IsEmpty() ? std::string() : table.Text(width);
}

std::string AttachmentsText(const MkvAttachmentList& attachments, const std::vector<std::string>& paths,
                            std::size_t width) {
  if (attachments.empty()) return {};
  std::vector<TextTable::Column> columns = {
      {"Attachment", Align::kRight}, {"Media type"}, {"Size", Align::kRight}, {"Name"}, {"Description"}};
  if (!paths.empty()) columns.push_back({"Written to"});
  TextTable table(std::move(columns));
  for (std::size_t i = 0; i < attachments.size(); ++i) {
    const MkvAttachedFile& file = attachments[i];
    std::vector<std::string> cells = {std::to_string(i + 1), file.FileMimeType, SizeText(file.dataSize),
                                      WideToUtf8(file.FileName), WideToUtf8(file.FileDescription)};
    if (!paths.empty()) cells.push_back(i < paths.size() ? paths[i] : std::string());
    table.Add(std::move(cells));
  }
  return table.Text(width);
}

}  // namespace vantor::tools
