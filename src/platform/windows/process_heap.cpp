#include "platform/process_heap.h"

#include "platform/com.h"

namespace vantor::platform {

void* ProcessHeapAllocate(std::size_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }

void* ProcessHeapReallocate(void* block, std::size_t size) {
  return block == nullptr ? ProcessHeapAllocate(size) : HeapReAlloc(GetProcessHeap(), 0, block, size);
}

void ProcessHeapFree(void* block) {
  if (block != nullptr) HeapFree(GetProcessHeap(), 0, block);
}

}  // namespace vantor::platform
