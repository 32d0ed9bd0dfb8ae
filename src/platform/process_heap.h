// The process heap: memory that any module of the process may hand over or free.
#pragma once

#include <cstddef>

namespace vantor::platform {

// Null when there is no memory. A size of 0 gives a block.
void* ProcessHeapAllocate(std::size_t size);
// Keeps the contents up to the smaller size; a null block is allocated. On failure null, the old block still valid.
void* ProcessHeapReallocate(void* block, std::size_t size);
// Null is allowed.
void ProcessHeapFree(void* block);

}  // namespace vantor::platform
