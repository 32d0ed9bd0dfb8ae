#include "tools/file_extras.h"

#include "parser/element_ids.h"

namespace vantor::tools {
namespace {

// Elements within each other may claim the same bytes: what may be read in all, as a multiple of the file's length.
constexpr std::uint64_t kTimesForExtras = 2;
constexpr std::uint64_t kSlackForExtras = 65536;

}  // namespace

FileExtras ReadExtras(CMkvFileRoot& root, const ExtrasWanted& wanted) {
  FileExtras extras;
  // A source of its own, whose limits are not shared with the records.
  PlaybackPolicy policy = root.Policy();
  // A Cluster of unknown size hides what stands behind it from whoever believes that it lasts to the end.
  policy.playToEnd = true;
  CMkvFileClone file(root, policy);
  file.allowance = root.AllowanceOf(kTimesForExtras, kSlackForExtras);
  file.payloadRoom = KeepingRoom(root.AllowanceOf(1, CMkvFileRoot::kSlackForKeeping));
  file.recordRoom = KeepingRoom(root.AllowanceOf(CMkvFileRoot::kTimesForRecords, CMkvFileRoot::kSlackForKeeping));
  file.tolerated.Collect(1);
  const MkvElement wholeFile = MkvElement::WholeFile(file);
  const MkvElement segment = wholeFile.FirstChild(ids::kSegment);
  for (MkvElement child = segment.FirstChild(); child; child.MoveNext()) {
    if (child.id.value == ids::kChapters && wanted.chapters) {
      AppendEditions(child, extras.editions);
    } else if (child.id.value == ids::kTags && wanted.tags) {
      extras.isComplete = AppendTags(child, extras.tags) && extras.isComplete;
    } else if (child.id.value == ids::kAttachments && wanted.attachments) {
      (void)ReadAttachments(child, extras.attachments);
    }
  }
  for (const Tolerated kind :
       {Tolerated::kWorkExhausted, Tolerated::kChapterOverLimit, Tolerated::kAttachedFileOverLimit}) {
    extras.isComplete = extras.isComplete && !file.tolerated.WasMet(kind);
  }
  return extras;
}

}  // namespace vantor::tools
