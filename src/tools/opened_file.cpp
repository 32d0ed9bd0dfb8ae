#include "tools/opened_file.h"

#include <new>
#include <utility>

#include "platform/conversions.h"

namespace vantor::tools {

OpenedFile::OpenedFile(const std::shared_ptr<ByteStore>& bytes, WideString name, const PlaybackPolicy& policy)
    : source_(ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create())) {
  if (!source_) throw std::bad_alloc();
  source_->SetBytes(bytes, std::move(name));
  constexpr bool kMayFollowIndex = true;
  root_ = std::make_unique<CMkvFileRoot>(source_->OutputPin(), kMayFollowIndex, policy);
  root_->tolerated.Collect();
  isOpen_ = root_->Open() == S_OK;
}

std::int64_t OpenedFile::Duration() const {
  const MkvSegmentInfo& info = root_->segment.info;
  return TruncateToInt64(info.Duration.value * static_cast<double>(info.TimecodeScale.value) / 100);
}

}  // namespace vantor::tools
