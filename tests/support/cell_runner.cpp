#include "support/cell_runner.h"

#include <memory>
#include <mutex>
#include <thread>

#include "platform/platform.h"

namespace vantor::test {

namespace {

// Shared with the threads, which may outlive the call when their scene hangs.
class Pool {
 public:
  Pool(const std::vector<ControlCell>& cells, MakeGraph makeGraph, ControlScene::MakeFilter makeFilter,
       std::size_t threads)
      : cells_(cells), makeGraph_(std::move(makeGraph)), makeFilter_(std::move(makeFilter)), threads_(threads) {}

  // A thread's share; starts no scene after Abandon.
  void Work() {
    const HRESULT com = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    for (const auto running = std::make_shared<Running>(); Begin(running);) {
      std::vector<std::string> complaints = running->scene->Play();
      End(running, std::move(complaints));
    }
    if (SUCCEEDED(com)) CoUninitialize();
  }

  // Reports the scenes that have hung; how many threads are lost with them. True when nothing is left to wait for.
  bool HasEnded() {
    const std::lock_guard<std::mutex> hold(lock_);
    const auto now = std::chrono::steady_clock::now();
    for (const auto& running : running_) {
      if (running->isLost || now - running->begun < kCellBound) continue;
      running->isLost = true;
      ++lost_;
      complaints_.push_back(NameOf(running->cell) + ": hangs at " + running->scene->Stage());
    }
    return running_.size() == lost_ && (next_ == cells_.size() || lost_ == threads_);
  }

  bool HasLost() {
    const std::lock_guard<std::mutex> hold(lock_);
    return lost_ != 0;
  }
  std::vector<std::string> Complaints() {
    const std::lock_guard<std::mutex> hold(lock_);
    if (next_ != cells_.size()) complaints_.push_back(std::to_string(cells_.size() - next_) + " cells were not played");
    return complaints_;
  }

 private:
  struct Running {
    ControlCell cell;
    std::unique_ptr<ControlScene> scene;
    std::chrono::steady_clock::time_point begun;
    bool isLost = false;
  };

  bool Begin(const std::shared_ptr<Running>& running) {
    const std::lock_guard<std::mutex> hold(lock_);
    if (next_ == cells_.size() || running->isLost) return false;
    running->cell = cells_[next_++];
    running->begun = std::chrono::steady_clock::now();
    running->scene = std::make_unique<ControlScene>(running->cell, makeGraph_(), makeFilter_);
    running_.push_back(running);
    return true;
  }

  void End(const std::shared_ptr<Running>& running, std::vector<std::string> complaints) {
    running->scene.reset();
    const std::lock_guard<std::mutex> hold(lock_);
    std::erase(running_, running);
    // One that was given up and came home all the same has had its complaint.
    if (running->isLost) --lost_;
    running->isLost = false;
    for (const std::string& text : complaints) complaints_.push_back(NameOf(running->cell) + ": " + text);
  }

  const std::vector<ControlCell> cells_;
  const MakeGraph makeGraph_;
  const ControlScene::MakeFilter makeFilter_;
  const std::size_t threads_;
  std::mutex lock_;
  std::size_t next_ = 0;
  std::size_t lost_ = 0;
  std::vector<std::shared_ptr<Running>> running_;
  std::vector<std::string> complaints_;
};

}  // namespace

std::vector<std::string> PlayCells(const std::vector<ControlCell>& cells, const MakeGraph& makeGraph,
                                   const ControlScene::MakeFilter& makeFilter, std::size_t atATime) {
  const auto pool = std::make_shared<Pool>(cells, makeGraph, makeFilter, atATime);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < atATime; ++i) threads.emplace_back([pool] { pool->Work(); });
  while (!pool->HasEnded()) SleepMilliseconds(1);
  const bool hasLost = pool->HasLost();
  for (std::thread& thread : threads) {
    if (hasLost) {
      thread.detach();
    } else {
      thread.join();
    }
  }
  return pool->Complaints();
}

}  // namespace vantor::test
