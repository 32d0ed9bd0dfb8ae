// MemoryWatch: notices that memory ran out somewhere in the program, also where that was taken for something else. A
// filter that has no memory for a block goes on as behind a damaged one; what it then delivers is not the file.
//
//   const MemoryWatch watch;
//   ... open, run and stop a graph ...
//   if (MemoryWatch::RanOut()) return Incomplete();
//
// It sees every operator new that shares the program's language runtime: natively those of the component too, on
// Windows the tool's own. One at a time.
#pragma once

#include <new>

namespace vantor::tools {

class MemoryWatch {
 public:
  MemoryWatch() noexcept;
  ~MemoryWatch();
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;

  // Since the last watch began; on any thread.
  static bool RanOut() noexcept;

 private:
  const std::new_handler previous_;
};

}  // namespace vantor::tools
