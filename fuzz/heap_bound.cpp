#include "fuzz/heap_bound.h"

#include <sanitizer/allocator_interface.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace vantor::fuzz {

namespace {

constexpr std::int64_t kNoLimit = INT64_MAX;

std::atomic<std::int64_t> alive{0};
std::atomic<std::int64_t> peak{0};
std::atomic<std::int64_t> limit{kNoLimit};

void OnMalloc(const volatile void*, std::size_t size) {
  const std::int64_t now = alive.fetch_add(static_cast<std::int64_t>(size)) + static_cast<std::int64_t>(size);
  if (now > peak.load(std::memory_order_relaxed)) peak.store(now, std::memory_order_relaxed);
  if (now <= limit.load(std::memory_order_relaxed)) return;
  limit = kNoLimit;
  std::fprintf(stderr, "heap bound: %lld bytes alive, %zu asked for last\n", static_cast<long long>(now), size);
  std::abort();
}

void OnFree(const volatile void* block) {
  if (block == nullptr) return;
  alive.fetch_sub(static_cast<std::int64_t>(__sanitizer_get_allocated_size(block)));
}

}  // namespace

HeapBound::HeapBound(std::size_t inputSize) {
  [[maybe_unused]] static const int installed = __sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree);
  alive = 0;
  peak = 0;
  limit = static_cast<std::int64_t>(kBase + kPerByte * inputSize);
}

HeapBound::~HeapBound() { limit = kNoLimit; }

std::size_t HeapBound::Peak() { return static_cast<std::size_t>(peak.load()); }

}  // namespace vantor::fuzz
