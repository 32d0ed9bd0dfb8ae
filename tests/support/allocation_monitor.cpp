#include "support/allocation_monitor.h"

#include <atomic>
#include <cstdlib>
#include <new>

#define VANTOR_WATCHES_ALLOCATIONS 1
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#undef VANTOR_WATCHES_ALLOCATIONS
#define VANTOR_WATCHES_ALLOCATIONS 0
#endif
#endif

namespace vantor::test {

namespace {

std::atomic<std::uint64_t> count{0};
std::atomic<std::uint64_t> failAt{0};
std::atomic<bool> failsOn{false};
std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};

// In front of every block stands its size, in as many bytes as keep the block aligned.
constexpr std::size_t kHead = alignof(std::max_align_t);
static_assert(kHead >= sizeof(std::size_t));

// Larger blocks are refused here: for those a sanitizer would end the program.
constexpr std::size_t kLargest = std::size_t{1} << (sizeof(std::size_t) == 8 ? 40 : 31);

bool IsToFail(std::uint64_t number) {
  const std::uint64_t first = failAt;
  return first != 0 && (failsOn ? number >= first : number == first);
}

void* Allocate(std::size_t size) {
  if (IsToFail(++count)) {
    if (const std::new_handler handler = std::get_new_handler()) handler();
    throw std::bad_alloc();
  }
  void* memory = size <= kLargest ? std::malloc(size + kHead) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  *static_cast<std::size_t*>(memory) = size;
  const std::size_t now = live += size;
  std::size_t highest = peak;
  while (highest < now && !peak.compare_exchange_weak(highest, now)) {
  }
  return static_cast<char*>(memory) + kHead;
}

[[maybe_unused]] void* AllocateOrNull(std::size_t size) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

[[maybe_unused]] void Free(void* block) noexcept {
  if (block == nullptr) return;
  void* memory = static_cast<char*>(block) - kHead;
  live -= *static_cast<std::size_t*>(memory);
  std::free(memory);
}

}  // namespace

bool WatchesAllocations() { return VANTOR_WATCHES_ALLOCATIONS != 0; }
std::uint64_t Allocations() { return count; }
std::size_t LiveBytes() { return live; }
std::size_t PeakBytes() { return peak; }
void ResetPeakBytes() { peak = live.load(); }
void FailAllocation(std::uint64_t n) {
  failsOn = false;
  failAt = n == 0 ? 0 : count + n;
}
void FailAllocationsFrom(std::uint64_t n) {
  FailAllocation(n);
  failsOn = true;
}

}  // namespace vantor::test

#if VANTOR_WATCHES_ALLOCATIONS
// Every form that the others would otherwise not reach: a sanitizer's own ones do not call each other.
void* operator new(std::size_t size) { return vantor::test::Allocate(size); }
void* operator new[](std::size_t size) { return vantor::test::Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return vantor::test::AllocateOrNull(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return vantor::test::AllocateOrNull(size); }
void operator delete(void* block) noexcept { vantor::test::Free(block); }
void operator delete[](void* block) noexcept { vantor::test::Free(block); }
void operator delete(void* block, std::size_t) noexcept { vantor::test::Free(block); }
void operator delete[](void* block, std::size_t) noexcept { vantor::test::Free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { vantor::test::Free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { vantor::test::Free(block); }
#endif
