#include "parser/record_room.h"

#include <algorithm>

#include "parser/element.h"

namespace vantor {

RecordRoom::RecordRoom(const MkvElement& element) {
  constexpr std::uint64_t kBytesPerByte = 16;
  std::uint64_t end = element.file->length;
  for (const MkvElement* around = &element; around != nullptr; around = around->parent) {
    end = std::min(end, around->DataEnd());
  }
  left_ = end > element.dataStart ? (end - element.dataStart) * kBytesPerByte : 0;
}

}  // namespace vantor
