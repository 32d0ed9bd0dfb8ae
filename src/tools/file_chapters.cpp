#include "tools/file_chapters.h"

#include <fmt/format.h>

#include <cstddef>
#include <utility>

#include "parser/chapters.h"
#include "parser/element_table.h"

namespace vantor::tools {
namespace {

// One more of them, if the source has room for it.
template <typename Record>
Record* Added(const MkvElement& element, std::vector<Record>& list) {
  if (element.file->recordRoom.Take(sizeof(Record))) return &list.emplace_back();
  element.NotePassedOver(Tolerated::kChapterOverLimit);
  return nullptr;
}

void AppendText(const MkvElement& element, std::vector<std::string>& texts) {
  if (std::string* const text = Added(element, texts)) (void)ReadAsciiString(element, *text);
}

class EditionReader {
 public:
  void Read(const MkvElement& element, Edition& edition) {
    ReadRecord(element, {
                            {0x45BC, edition.uid},
                            {0x45BD, edition.hidden},
                            {0x45DB, edition.isDefault},
                            {0x45DD, edition.ordered},
                            {0x4520, [&](const MkvElement& child) { AppendEditionName(child, edition.names); }},
                            {0xB6, [&](const MkvElement& child) { AppendChapter(child, edition.chapters); }},
                        });
  }

 private:
  // NOLINTNEXTLINE(misc-no-recursion): the depth is bounded
  void AppendChapter(const MkvElement& element, std::vector<Chapter>& chapters) {
    if (depth_ >= kMaxChapterDepth || count_ >= kMaxChapterAtoms) {
      return element.NotePassedOver(Tolerated::kChapterOverLimit);
    }
    Chapter* const chapter = Added(element, chapters);
    if (chapter == nullptr) return;
    ++count_;
    ++depth_;
    ReadChapter(element, *chapter);
    --depth_;
  }

  // NOLINTNEXTLINE(misc-no-recursion): the depth is bounded
  void ReadChapter(const MkvElement& element, Chapter& chapter) {
    ReadRecord(element, {
                            {0x73C4, chapter.uid},
                            {0x5654, chapter.stringUid},
                            {0x91, chapter.start},
                            {0x92, chapter.end},
                            {0x98, chapter.hidden},
                            {0x4598, chapter.enabled},
                            {0x6E67, chapter.segmentUid},
                            {0x6EBC, chapter.segmentEdition},
                            {0x63C3, chapter.physicalKind},
                            {0x8F, [&](const MkvElement& child) { ReadTrackUids(child, chapter.tracks); }},
                            {0x80, [&](const MkvElement& child) { AppendName(child, chapter.names); }},
                            {0xB6, [&](const MkvElement& child) { AppendChapter(child, chapter.nested); }},
                        });
  }

  static void ReadTrackUids(const MkvElement& element, std::vector<std::uint64_t>& tracks) {
    ReadRecord(element, {{0x89, [&](const MkvElement& child) {
                            CMkvUInt uid;
                            if (uid.Read(child) != S_OK) return;
                            if (std::uint64_t* const track = Added(child, tracks)) *track = uid.value;
                          }}});
  }

  static void AppendName(const MkvElement& element, std::vector<ChapterName>& names) {
    ChapterName* const name = Added(element, names);
    if (name == nullptr) return;
    ReadRecord(element, {
                            {0x85, name->text},
                            {0x437C, [&](const MkvElement& child) { AppendText(child, name->languages); }},
                            {0x437D, [&](const MkvElement& child) { AppendText(child, name->bcp47); }},
                            {0x437E, [&](const MkvElement& child) { AppendText(child, name->countries); }},
                        });
  }

  static void AppendEditionName(const MkvElement& element, std::vector<ChapterName>& names) {
    ChapterName* const name = Added(element, names);
    if (name == nullptr) return;
    ReadRecord(element, {
                            {0x4521, name->text},
                            {0x45E4, [&](const MkvElement& child) { AppendText(child, name->bcp47); }},
                        });
  }

  std::size_t depth_ = 0;
  std::size_t count_ = 0;
};

// NOLINTNEXTLINE(misc-no-recursion): as deep as the reader let it become
std::size_t CountAll(const std::vector<Chapter>& chapters) {
  std::size_t count = chapters.size();
  for (const Chapter& chapter : chapters) count += CountAll(chapter.nested);
  return count;
}

}  // namespace

std::string ChapterName::Language() const {
  const std::vector<std::string>& said = bcp47.empty() ? languages : bcp47;
  return said.empty() ? "eng" : fmt::format("{}", fmt::join(said, "/"));
}

void AppendEditions(const MkvElement& chapters, Editions& editions) {
  EditionReader reader;
  ReadRecord(chapters, {{0x45B9, [&](const MkvElement& child) {
                           if (Edition* const edition = Added(child, editions)) reader.Read(child, *edition);
                         }}});
}

std::size_t CountChapters(const Editions& editions) {
  std::size_t count = 0;
  for (const Edition& edition : editions) count += CountAll(edition.chapters);
  return count;
}

}  // namespace vantor::tools
