// While it lives, writing to a pipe whose reader has gone away fails, and does not end the program: the signal goes to
// the thread that writes, is held back, and is taken off again before anybody else sees it.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace vantor::platform {

class BrokenPipeHeldBack {
 public:
  BrokenPipeHeldBack() noexcept {
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
    sigset_t pending;
    wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    isHeldBack_ = pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_) == 0;
  }
  ~BrokenPipeHeldBack() {
    if (!isHeldBack_) return;
    const int error = errno;  // of what was done meanwhile
    const timespec noTime = {};
    if (!wasPending_) sigtimedwait(&brokenPipe_, nullptr, &noTime);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
  }
  BrokenPipeHeldBack(const BrokenPipeHeldBack&) = delete;
  BrokenPipeHeldBack& operator=(const BrokenPipeHeldBack&) = delete;

 private:
  sigset_t brokenPipe_;
  sigset_t before_;
  bool wasPending_ = false;
  bool isHeldBack_ = false;
};

}  // namespace vantor::platform
