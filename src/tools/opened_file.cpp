#include "tools/opened_file.h"

#include <new>
#include <utility>

namespace vantor::tools {

OpenedFile::OpenedFile(const std::shared_ptr<ByteStore>& bytes, WideString name)
    : source_(ComPtr<FileSourceFilter>::Adopt(FileSourceFilter::Create())) {
  if (!source_) throw std::bad_alloc();
  source_->SetBytes(bytes, std::move(name));
  constexpr bool kMayFollowIndex = true;
  root_ = std::make_unique<CMkvFileRoot>(source_->OutputPin(), kMayFollowIndex);
  root_->tolerated.Collect();
  isOpen_ = root_->Open() == S_OK;
}

}  // namespace vantor::tools
