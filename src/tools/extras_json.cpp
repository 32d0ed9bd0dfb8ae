#include "tools/extras_json.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/text.h"

namespace vantor::tools {
namespace {

void AppendName(Buffer& out, std::size_t depth, const ChapterName& name) {
  JsonObject object(out, depth);
  object.Text("text", name.text);
  object.Text("language", name.Language());
  if (!name.countries.empty()) object.Texts("countries", name.countries);
  object.Close();
}

void AppendNames(JsonObject& object, Buffer& out, const std::vector<ChapterName>& names) {
  object.Array("names", names, [&](std::size_t depth, const ChapterName& name) { AppendName(out, depth, name); });
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the reader let it become
void AppendChapter(Buffer& out, std::size_t depth, const Chapter& chapter) {
  JsonObject object(out, depth);
  object.KnownValue("uid", chapter.uid.value);
  object.Value("start", chapter.start.value / 100);
  if (chapter.end.present) object.Value("end", chapter.end.value / 100);
  object.Value("hidden", chapter.hidden.value != 0);
  object.Value("enabled", chapter.enabled.value != 0);
  AppendNames(object, out, chapter.names);
  object.Array("chapters", chapter.nested,
               [&](std::size_t below, const Chapter& nested) { AppendChapter(out, below, nested); });
  object.Close();
}

void AppendEdition(Buffer& out, std::size_t depth, const Edition& edition) {
  JsonObject object(out, depth);
  object.KnownValue("uid", edition.uid.value);
  object.Value("hidden", edition.hidden.value != 0);
  object.Value("default", edition.isDefault.value != 0);
  object.Value("ordered", edition.ordered.value != 0);
  AppendNames(object, out, edition.names);
  object.Array("chapters", edition.chapters,
               [&](std::size_t below, const Chapter& chapter) { AppendChapter(out, below, chapter); });
  object.Close();
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the reader let it become
void AppendSimple(Buffer& out, std::size_t depth, const SimpleTag& tag) {
  JsonObject object(out, depth);
  object.Text("name", tag.name);
  object.Text("language", tag.Language());
  object.Value("default", tag.isDefault.value != 0);
  if (tag.binarySize) {
    object.Value("binary_size", *tag.binarySize);
  } else {
    object.Text("value", tag.value);
  }
  object.Array("tags", tag.nested,
               [&](std::size_t below, const SimpleTag& nested) { AppendSimple(out, below, nested); });
  object.Close();
}

// The numbers of the tracks that have these UIDs.
std::vector<std::uint64_t> TrackNumbers(const std::vector<std::uint64_t>& uids, const MkvSegment& segment) {
  std::vector<std::uint64_t> numbers;
  for (const MkvTrackList& list : segment.tracks) {
    for (const auto& track : list) {
      if (std::ranges::find(uids, track->TrackUID.value) != uids.end()) numbers.push_back(track->TrackNumber.value);
    }
  }
  return numbers;
}

void AppendTag(Buffer& out, std::size_t depth, const FileTag& tag, const MkvSegment& segment) {
  JsonObject object(out, depth);
  object.Value("level", tag.level.value);
  object.KnownText("level_name", tag.levelName);
  object.Values("track_uids", tag.tracks);
  object.Values("tracks", TrackNumbers(tag.tracks, segment));
  object.Values("edition_uids", tag.editions);
  object.Values("chapter_uids", tag.chapters);
  object.Values("attachment_uids", tag.attachments);
  object.Array("tags", tag.simple,
               [&](std::size_t below, const SimpleTag& simple) { AppendSimple(out, below, simple); });
  object.Close();
}

}  // namespace

void AppendAttachment(Buffer& out, std::size_t depth, const MkvAttachedFile& file, std::size_t number,
                      const std::string& path) {
  JsonObject object(out, depth);
  object.Value("number", number);
  object.Text("name", WideToUtf8(file.FileName));
  object.Text("media_type", file.FileMimeType);
  object.KnownText("description", WideToUtf8(file.FileDescription));
  object.Value("size", file.dataSize);
  object.KnownValue("position", file.dataPosition);
  object.KnownValue("uid", file.FileUID.value);
  object.KnownText("path", path);
  object.Close();
}

void AppendExtras(JsonObject& object, Buffer& out, const FileExtras& extras, const ExtrasWanted& wanted,
                  const MkvSegment& segment) {
  if (wanted.chapters) {
    object.Array("editions", extras.editions,
                 [&](std::size_t depth, const Edition& edition) { AppendEdition(out, depth, edition); });
  }
  if (wanted.tags) {
    object.Array("tags", extras.tags,
                 [&](std::size_t depth, const FileTag& tag) { AppendTag(out, depth, tag, segment); });
  }
  if (wanted.attachments) {
    std::size_t number = 0;
    object.Array("attached_files", extras.attachments, [&](std::size_t depth, const MkvAttachedFile& file) {
      AppendAttachment(out, depth, file, ++number, {});
    });
  }
}

}  // namespace vantor::tools
