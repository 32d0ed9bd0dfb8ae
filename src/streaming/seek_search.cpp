#include "streaming/seek_search.h"

#include <optional>

#include "platform/result.h"
#include "streaming/cue_search.h"

namespace vantor {

namespace {

thread_local const LateThreadHolder* ownHolder = nullptr;

}  // namespace

SeekSearch::SeekSearch(CMkvFile& root, const FirstCluster& first, LateThreadHolder& holder)
    : file_(root), first_(first), holder_(holder) {
  file_.interrupted = [this] {
    steps_.fetch_add(1, std::memory_order_relaxed);
    return isGivenUp_ || file_.wasLetGo;
  };
}

SeekSearch::~SeekSearch() { End(); }

void SeekSearch::End() {
  isEnded_ = true;
  ++number_;  // whoever still waits gets no answer of this one
  if (ThreadExists()) CallWorker(kExit);
  Close();
}

const LateThreadHolder* SeekSearch::CurrentHolder() { return ownHolder; }

std::uint32_t SeekSearch::Begin(std::int64_t target) {
  if (isEnded_ || IsBusy()) return 0;
  // An answer that nobody has taken belongs to a search that was left to itself, or that this one takes the place of.
  if (isPosted_) (void)Wait(number_, INFINITE, place_);
  if (++number_ == 0) ++number_;
  isGivenUp_ = false;
  target_ = target;
  isPosted_ = ThreadExists() || Create();
  if (isPosted_) {
    PostRequest(kSearch);
  } else {
    answer_ = Search();
  }
  return number_;
}

SeekSearch::Answer SeekSearch::Wait(std::uint32_t number, DWORD milliseconds, PlaceInFile& place) {
  if (number != number_) return Answer::kLetGo;
  if (isPosted_) {
    DWORD reply = 0;
    if (WaitForReply(milliseconds, &reply) != CAMThread::Answer::kReplied) return Answer::kNoAnswer;
    isPosted_ = false;
    answer_ = static_cast<Answer>(reply);
  }
  place = place_;
  return answer_;
}

bool SeekSearch::LeaveToItself() {
  const LockScope hold(lateLock_);
  if (!IsBusy()) return false;
  if (!isLate_) holder_.HoldForThread();
  isLate_ = true;
  return true;
}

DWORD SeekSearch::ThreadProc() {
  ownHolder = &holder_;
  while (GetRequest() == kSearch) Give(Search());
  Reply(S_OK);
  return 0;
}

SeekSearch::Answer SeekSearch::Search() {
  bool isFound = false;
  (void)Guarded([&] {
    const std::optional<PlaceInFile> found = FindPlace(file_, first_, target_);
    isFound = found.has_value();
    if (isFound) place_ = *found;
    return S_OK;
  });
  if (file_.wasLetGo || isGivenUp_) return Answer::kLetGo;
  return isFound ? Answer::kFound : Answer::kNothing;
}

void SeekSearch::Give(Answer answer) {
  {
    // As one: or the next search, left to itself in between, would be taken for this one.
    const LockScope hold(lateLock_);
    Reply(static_cast<DWORD>(answer));
    if (!isLate_) return;
    isLate_ = false;
  }
  // What stands behind the file may go now, but not this object: whoever frees it waits for this thread first.
  holder_.ReleaseForThread();
}

}  // namespace vantor
