// How much memory the records read from an element may take. A record is larger than the few bytes that call for it,
// so without a limit a small hostile file could fill the memory. The smallest record with a content is a cue's
// reference, 5 bytes that take 96, so that no real element meets the limit.
//
//   RecordRoom room(element);
//   MkvCueList list;
//   if (room.Take(sizeof(MkvCuePoint))) list.emplace_back();
#pragma once

#include <cstddef>
#include <cstdint>

namespace vantor {

class MkvElement;

class RecordRoom {
 public:
  // Room for the records of the element: 20 times the part of it that lies within its parents and the source, and the
  // slack, in bytes.
  explicit RecordRoom(const MkvElement& element, std::uint64_t slack = 0);

  // Takes room for a record of that many bytes; false, and nothing taken, when it is used up.
  bool Take(std::size_t size) {
    if (size > left_) return false;
    left_ -= size;
    return true;
  }

 private:
  std::uint64_t left_;
};

}  // namespace vantor
