#include "tools/memory_watch.h"

#include <atomic>

namespace vantor::tools {
namespace {

std::atomic<bool> ranOut{false};

// Called by an operator new that found no memory, which would try again if this returned.
void OnNoMemory() {
  ranOut = true;
  throw std::bad_alloc();
}

}  // namespace

MemoryWatch::MemoryWatch() noexcept : previous_(std::set_new_handler(OnNoMemory)) { ranOut = false; }

MemoryWatch::~MemoryWatch() { std::set_new_handler(previous_); }

bool MemoryWatch::RanOut() noexcept { return ranOut; }

}  // namespace vantor::tools
