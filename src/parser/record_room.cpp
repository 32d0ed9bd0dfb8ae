#include "parser/record_room.h"

#include <algorithm>

#include "parser/element.h"

namespace vantor {

RecordRoom::RecordRoom(const MkvElement& element, std::uint64_t slack) : left_(slack) {
  constexpr std::uint64_t kBytesPerByte = 20;
  std::uint64_t end = element.file->length;
  for (const MkvElement* around = &element; around != nullptr; around = around->parent) {
    end = std::min(end, around->DataEnd());
  }
  if (end > element.dataStart) left_ += (end - element.dataStart) * kBytesPerByte;
}

}  // namespace vantor
