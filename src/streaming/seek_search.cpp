#include "streaming/seek_search.h"

#include <optional>

#include "platform/result.h"
#include "streaming/cue_search.h"

namespace vantor {

SeekSearch::SeekSearch(CMkvFile& root, const FirstCluster& first, LateThreadHolder& holder)
    : file_(root), first_(first), holder_(holder) {
  file_.interrupted = [this] { return isGivenUp_ || file_.wasLetGo; };
}

SeekSearch::~SeekSearch() {
  if (ThreadExists()) CallWorker(kExit);
  Close();
}

SeekSearch::Answer SeekSearch::Find(std::int64_t target, DWORD milliseconds, PlaceInFile& place) {
  if (IsBusy()) return Answer::kNoAnswer;
  if (isPosted_) (void)Wait(INFINITE, place);  // one that was left to itself has come back
  isGivenUp_ = false;
  target_ = target;
  if (!ThreadExists() && !Create()) {
    const Answer answer = Search();
    place = place_;
    return answer;
  }
  isPosted_ = true;
  PostRequest(kSearch);
  return Wait(milliseconds, place);
}

SeekSearch::Answer SeekSearch::Wait(DWORD milliseconds, PlaceInFile& place) {
  DWORD reply = 0;
  if (WaitForReply(milliseconds, &reply) != CAMThread::Answer::kReplied) return Answer::kNoAnswer;
  isPosted_ = false;
  place = place_;
  return static_cast<Answer>(reply);
}

void SeekSearch::LeaveToItself() {
  const LockScope hold(lateLock_);
  isGivenUp_ = true;
  if (isLate_ || !IsBusy()) return;
  holder_.HoldForThread();
  isLate_ = true;
}

DWORD SeekSearch::ThreadProc() {
  while (GetRequest() == kSearch) Give(Search());
  Reply(S_OK);
  return 0;
}

SeekSearch::Answer SeekSearch::Search() {
  std::optional<PlaceInFile> found;
  (void)Guarded([&] {
    found = FindPlace(file_, first_, target_);
    return S_OK;
  });
  if (file_.wasLetGo) return Answer::kLetGo;
  if (!found) return Answer::kNothing;
  place_ = *found;
  return Answer::kFound;
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
