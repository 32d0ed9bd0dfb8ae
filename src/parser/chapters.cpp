#include "parser/chapters.h"

#include <cstddef>
#include <utility>

#include "parser/element_table.h"

namespace vantor {

namespace {

class ChapterReader {
 public:
  void ReadEdition(const MkvElement& element, MkvChapterEdition& edition) {
    ReadRecord(element, {
                            {0xB6, [&](const MkvElement& child) { AppendAtom(child, edition.atoms); }},
                        });
  }

 private:
  // NOLINTNEXTLINE(misc-no-recursion): the depth is bounded
  void AppendAtom(const MkvElement& element, std::vector<MkvChapterAtom>& atoms) {
    if (depth_ >= kMaxChapterDepth || count_ >= kMaxChapterAtoms ||
        !element.file->recordRoom.Take(sizeof(MkvChapterAtom))) {
      return element.NotePassedOver(Tolerated::kChapterOverLimit);
    }
    ++count_;
    ++depth_;
    ReadAtom(element, atoms.emplace_back());
    --depth_;
  }

  // NOLINTNEXTLINE(misc-no-recursion): the depth is bounded
  void ReadAtom(const MkvElement& element, MkvChapterAtom& atom) {
    ReadRecord(element, {
                            {0x73C4, atom.ChapterUID},
                            {0x91, atom.ChapterTimeStart},
                            {0x98, atom.ChapterFlagHidden},
                            {0x4598, atom.ChapterFlagEnabled},
                            {0xB6, [&](const MkvElement& child) { AppendAtom(child, atom.atoms); }},
                            {0x80, [&](const MkvElement& child) { AppendDisplay(child, atom.displays); }},
                        });
  }

  static void AppendDisplay(const MkvElement& element, std::vector<WideString>& displays) {
    WideString title;
    bool read = false;
    ReadRecord(element, {
                            {0x85, [&](const MkvElement& child) { read |= ReadUtf8String(child, title) == S_OK; }},
                        });
    if (!read) return;
    if (!element.file->recordRoom.Take(sizeof(WideString))) return element.NotePassedOver(Tolerated::kChapterOverLimit);
    displays.push_back(std::move(title));
  }

  std::size_t depth_ = 0;
  std::size_t count_ = 0;
};

}  // namespace

HRESULT ReadChapters(const MkvElement& chapters, MkvChapterEditions& editions) {
  if (!chapters) return E_POINTER;
  ChapterReader reader;
  ReadRecord(chapters, {
                           {0x45B9,
                            [&](const MkvElement& child) {
                              if (!child.file->recordRoom.Take(sizeof(MkvChapterEdition))) {
                                return child.NotePassedOver(Tolerated::kChapterOverLimit);
                              }
                              reader.ReadEdition(child, editions.emplace_back());
                            }},
                       });
  return S_OK;
}

}  // namespace vantor
