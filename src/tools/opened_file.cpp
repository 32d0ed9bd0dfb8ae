#include "tools/opened_file.h"

#include <cmath>
#include <new>
#include <utility>

#include "tools/time_text.h"

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

std::int64_t OpenedFile::Duration() const { return root_->segment.info.StatedDuration(); }

bool OpenedFile::HasDuration() const { return root_->segment.info.Duration.present && DurationTrouble().empty(); }

std::string OpenedFile::DurationTrouble() const {
  const MkvSegmentInfo& info = root_->segment.info;
  if (!info.Duration.present) return {};
  const double ticks = info.Duration.value;
  if (std::isnan(ticks)) return "not a number";
  if (std::isinf(ticks)) return "infinite";
  if (ticks < 0) return "negative";
  return ticks * static_cast<double>(info.TimecodeScale.value) / 100 > static_cast<double>(kLongestSaneTime)
             ? "longer than a year"
             : "";
}

}  // namespace vantor::tools
