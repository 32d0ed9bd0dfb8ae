// Download: bytes that still arrive while they are played, as a vantor::ByteSource.
//
// How many will come must be known; a server's Content-Length says it. A read of bytes that are not there yet waits for
// them, so that the component needs to know nothing of it: it plays as fast as the bytes come.
#pragma once

#include <vantor-mkv/host.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

// The bytes so far, one writer and any number of readers.
class Download : public vantor::ByteSource {
 public:
  explicit Download(std::size_t length) : bytes_(length) {}

  // The writer's side: where the next bytes go, that they have come, and that no more will.
  std::size_t Room() const { return bytes_.size() - here_; }
  unsigned char* Next() { return bytes_.data() + here_; }
  void Add(std::size_t count) {
    const std::lock_guard hold(lock_);
    here_ += count;
    changed_.notify_all();
  }
  void Finish() {
    const std::lock_guard hold(lock_);
    finished_ = true;
    changed_.notify_all();
  }

  std::int64_t Length() noexcept override { return static_cast<std::int64_t>(bytes_.size()); }

  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    const std::size_t end = static_cast<std::size_t>(position) + size;
    std::unique_lock hold(lock_);
    if (here_ < end && waits_++ == 0) std::fprintf(stderr, "waiting for the bytes before %zu\n", end);
    changed_.wait(hold, [&] { return here_ >= end || finished_ || flushing_; });
    if (here_ < end) return false;  // the download broke off, or somebody stops or seeks
    hold.unlock();                  // what is here does not change any more
    std::memcpy(buffer, bytes_.data() + position, size);
    return true;
  }

  // Without these two a stop would wait for bytes that may never come.
  void BeginFlush() noexcept override { SetFlushing(true); }
  void EndFlush() noexcept override { SetFlushing(false); }

  std::size_t Waits() {
    const std::lock_guard hold(lock_);
    return waits_;
  }

 private:
  void SetFlushing(bool flushing) {
    const std::lock_guard hold(lock_);
    flushing_ = flushing;
    changed_.notify_all();
  }

  std::vector<unsigned char> bytes_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::size_t here_ = 0;  // written by the writer alone
  std::size_t waits_ = 0;
  bool finished_ = false;
  bool flushing_ = false;
};
