// How much memory may still be taken for what is kept of a file. A record is larger than the few bytes that call for
// it, and payloads may claim each other's bytes, so without a limit a small hostile file could fill the memory. No real
// file meets the limits that CMkvFileRoot sets: its records are few, and its payloads lie beside each other.
//
//   if (file.recordRoom.Take(sizeof(MkvCuePoint))) list.emplace_back();
#pragma once

#include <cstdint>

namespace vantor {

class KeepingRoom {
 public:
  // Without a limit.
  KeepingRoom() = default;
  explicit KeepingRoom(std::uint64_t bytes) : left_(bytes) {}

  // Takes so many bytes; false, and nothing taken, when there are not as many left.
  bool Take(std::uint64_t bytes) {
    if (bytes > left_) return false;
    left_ -= bytes;
    return true;
  }

 private:
  std::uint64_t left_ = ~std::uint64_t{0};
};

}  // namespace vantor
