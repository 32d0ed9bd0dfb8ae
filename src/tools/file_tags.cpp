#include "tools/file_tags.h"

#include <cstddef>

#include "parser/element_table.h"

namespace vantor::tools {
namespace {

class TagReader {
 public:
  void Read(const MkvElement& element, FileTags& tags) {
    ReadRecord(element, {{0x7373, [&](const MkvElement& child) {
                            if (FileTag* const tag = Room(child, tags)) ReadTag(child, *tag);
                          }}});
  }
  bool IsWhole() const { return isWhole_; }

 private:
  template <typename Record>
  Record* Room(const MkvElement& element, std::vector<Record>& list) {
    if (element.file->recordRoom.Take(sizeof(Record))) return &list.emplace_back();
    isWhole_ = false;
    return nullptr;
  }

  void ReadTag(const MkvElement& element, FileTag& tag) {
    ReadRecord(element, {
                            {0x63C0, [&](const MkvElement& child) { ReadTargets(child, tag); }},
                            {0x67C8, [&](const MkvElement& child) { AppendSimple(child, tag.simple); }},
                        });
  }

  void ReadTargets(const MkvElement& element, FileTag& tag) {
    ReadRecord(element, {
                            {0x68CA, tag.level},
                            {0x63CA, tag.levelName},
                            {0x63C5, [&](const MkvElement& child) { AppendUid(child, tag.tracks); }},
                            {0x63C9, [&](const MkvElement& child) { AppendUid(child, tag.editions); }},
                            {0x63C4, [&](const MkvElement& child) { AppendUid(child, tag.chapters); }},
                            {0x63C6, [&](const MkvElement& child) { AppendUid(child, tag.attachments); }},
                        });
  }

  void AppendUid(const MkvElement& element, std::vector<std::uint64_t>& uids) {
    CMkvUInt uid;
    // 0 is "all of them", as is no identifier at all.
    if (uid.Read(element) != S_OK || uid.value == 0) return;
    if (std::uint64_t* const added = Room(element, uids)) *added = uid.value;
  }

  // NOLINTNEXTLINE(misc-no-recursion): the depth is bounded
  void AppendSimple(const MkvElement& element, std::vector<SimpleTag>& list) {
    if (depth_ >= kMaxTagDepth) {
      isWhole_ = false;
      return;
    }
    SimpleTag* const simple = Room(element, list);
    if (simple == nullptr) return;
    ++depth_;
    ReadRecord(element, {
                            {0x45A3, simple->name},
                            {0x447A, simple->language},
                            {0x447B, simple->bcp47},
                            {0x4484, simple->isDefault},
                            {0x4487, simple->value},
                            {0x4485, [&](const MkvElement& child) { simple->binarySize = child.size.value; }},
                            {0x67C8, [&](const MkvElement& child) { AppendSimple(child, simple->nested); }},
                        });
    --depth_;
  }

  std::size_t depth_ = 0;
  bool isWhole_ = true;
};

}  // namespace

bool AppendTags(const MkvElement& element, FileTags& tags) {
  TagReader reader;
  reader.Read(element, tags);
  return reader.IsWhole();
}

}  // namespace vantor::tools
