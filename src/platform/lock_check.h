// What debug builds check of every lock: that a thread takes locks in the order of their ranks, takes no lock twice
// that is not recursive, gives back and asserts only what it holds. A breach ends the program with a message: such an
// order deadlocks sooner or later. Where NDEBUG is defined nothing is checked and nothing stored.
#pragma once

#ifndef NDEBUG
#include <atomic>
#endif

namespace vantor::platform {

#ifndef NDEBUG

// One for each lock. The calls stand around those of the system's lock: Taking and Giving before, Taken after.
class LockCheck {
 public:
  LockCheck(int rank, bool recursive) noexcept : rank_(rank), recursive_(recursive) {}

  void Taking() const;
  void Taken();
  void Giving();
  void AssertHeld() const;

 private:
  bool Held() const;

  const int rank_;
  const bool recursive_;
  std::atomic<const void*> holder_{nullptr};  // the mark of the thread; read by any thread
  unsigned depth_ = 0;                        // the holder's alone
};

#else

class LockCheck {
 public:
  constexpr LockCheck(int, bool) noexcept {}
  void Taking() const noexcept {}
  void Taken() noexcept {}
  void Giving() noexcept {}
  void AssertHeld() const noexcept {}
};

#endif

}  // namespace vantor::platform
