#include "platform/process_heap.h"

#include <cstdlib>

namespace vantor::platform {

void* ProcessHeapAllocate(std::size_t size) { return std::malloc(size == 0 ? 1 : size); }

void* ProcessHeapReallocate(void* block, std::size_t size) { return std::realloc(block, size == 0 ? 1 : size); }

void ProcessHeapFree(void* block) { std::free(block); }

}  // namespace vantor::platform
