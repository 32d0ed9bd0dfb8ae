// A pin's worker: the thread that reads the blocks of one track and delivers each frame as a media sample.
//
// The thread waits for CMD_INIT, then runs on CMD_RUN until the data ends, an error or CMD_STOP, and ends on CMD_EXIT.
// Every run starts with a new segment. After the end of the data or an error it stays idle until the next CMD_RUN.
//
//   worker.StartWorker();      // stopped -> paused
//   worker.StopRun(INFINITE);  // a seek: stop the run, reposition, run again
//   worker.SeekCursor(&found);
//   worker.RunAgain();
//   worker.StopWorker();       // -> stopped
//
// Control side (all that is public but CurrentPlayback): the graph's threads, under the filter lock. The worker itself
// never takes that lock, since a stop waits for it. A worker that does not answer a stop is left to itself
// (LeaveToItself): it then holds what it may still touch, takes the stop whenever it comes back, and gives it all back.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "baseclasses/media_type.h"
#include "baseclasses/output_pin.h"
#include "baseclasses/thread.h"
#include "parser/block.h"
#include "parser/track_entry.h"
#include "platform/lock.h"
#include "streaming/block_cursor.h"
#include "streaming/frame_times.h"
#include "streaming/patience.h"
#include "streaming/playback.h"
#include "streaming/prores_header.h"
#include "streaming/sample_source.h"

namespace vantor {

enum WorkerCommand : DWORD { CMD_INIT = 0, CMD_RUN = 1, CMD_STOP = 2, CMD_EXIT = 3 };

class TrackWorker : public CAMThread {
 public:
  // The pin delivers; root, playback, track and patience outlive the worker. `ownType` is the pin's own media type.
  TrackWorker(CBaseOutputPin& pin, Playback& playback, CMkvFile& root, const FirstCluster& first,
              const MkvTrackEntry& track, const CMediaType& ownType, bool convertStartCodes, const Patience& patience,
              bool addFrameHeaders = false);
  ~TrackWorker() override;

  // The playback that the calling thread is a worker of; null on all other threads.
  static const Playback* CurrentPlayback();

  // Creates the thread and sets it running. E_FAIL when there is no thread to be had or there is one already, else the
  // last command's result.
  HRESULT StartWorker();
  // Sets an idle worker running again, from where a seek has put it. S_OK also when there is no thread, when it streams
  // already, and when it has been left to itself.
  HRESULT RunAgain();

  // Tells the worker that a stop will come, so that all workers of a filter stop at the same time: it ends its run as
  // for CMD_STOP and waits for that.
  void AnnounceStop() { isStopAnnounced_ = true; }

  // Sends CMD_STOP, unless it is on its way already, and waits for the answer for so many milliseconds (INFINITE: no
  // limit). S_OK also when there is no thread; VFW_E_TIMEOUT when there is no answer yet; otherwise the answer. E_FAIL
  // on the worker's own thread.
  HRESULT StopRun(DWORD milliseconds);
  // After StopRun: ends the thread and waits for that. E_UNEXPECTED when it streams again.
  HRESULT EndThread();
  // Both without limit of time, for a worker that nothing holds.
  HRESULT StopWorker();

  // Whether a run is under way, as far as the worker has told.
  bool IsStreaming() const { return isStreaming_; }

  // Whether it was told to stop and still streams.
  bool OwesAnswer() const { return isStreaming_ && (isStopAnnounced_ || isStopPosted_); }

  // Gives the wait for an unanswered CMD_STOP up. The worker holds its pin until it comes back, and then ends its
  // thread if `ends`. S_OK when the answer came after all; VFW_E_TIMEOUT otherwise.
  HRESULT LeaveToItself(bool ends);
  // Whether such a worker has not come back.
  bool IsLate() const { return isLate_; }

  // Decommits the allocator that may hold the worker; RunAgain commits it.
  void LetAllocatorGo();

  // Repositions: to what the search of the seek has found, which is the same for all pins, or with null to the start.
  // Reads nothing. A worker that is late, or was started again by a neighbour in the meantime, is repositioned before
  // its next run.
  void SeekCursor(const PlaceInFile* found);

  // See SampleSource.
  void SetDeactivating(bool isDeactivating) { samples_.SetDeactivating(isDeactivating); }

  bool HasCluster() const { return cursor_.HasCluster(); }

 protected:
  // The allocator that the connection agreed on; not counted.
  virtual IMemAllocator* DeliveryAllocator() = 0;
  // A reference, for a worker that was left to itself, on all that it may touch.
  virtual void HoldForWorker() {}
  // Gives it back, on the worker's thread, which touches this object afterwards only until it waits or ends.
  virtual void ReleaseForWorker() {}

  DWORD ThreadProc() override;
  // S_OK: go on; S_FALSE: end of data; negative: the run fails with it.
  virtual HRESULT DeliverNextBlock();
  virtual HRESULT OnThreadCreate() { return S_OK; }
  virtual HRESULT OnThreadDestroy() { return S_OK; }
  virtual HRESULT OnThreadStartPlay();
  virtual HRESULT DoBufferProcessingLoop();

 private:
  bool StopPending() const;
  void TakeLateAnswer();
  void RunUntilStopped();
  bool EndsAfterLateReturn();
  HRESULT EndRun(HRESULT result);
  HRESULT DeliverBlock(StampedBlock& block);
  BlockTiming TimingOf(const StampedBlock& block);
  HRESULT DeliverFrames(MkvBlock& block, const FrameTimes& times);
  std::span<const std::uint8_t> HeaderOf(const FrameBytes& frame);
  SampleState GetSample(const FrameBytes& frame, bool isLost, IMediaSample** sample);
  HRESULT DeliverFrame(const FrameBytes& frame, const FrameTimes& times, std::size_t index, bool isKeyFrame,
                       IMediaSample* sample);
  void DeliverCodecHeaders();
  void ReportLostFrame();

  CBaseOutputPin& pin_;
  Playback& playback_;
  const CMediaType& ownType_;
  const bool convertStartCodes_;
  const std::span<const std::uint8_t> strippedHeader_;  // of every frame
  const bool addFrameHeaders_;
  Bytes frameHeader_;  // the made header of a frame, and the stripped one behind it
  BlockCursor cursor_;
  SampleSource samples_;
  bool isDiscontinuity_ = true;

  std::atomic<bool> isStopAnnounced_{false};
  std::atomic<bool> isStreaming_{false};
  // Of the control side.
  bool isStopPosted_ = false;  // and its answer not seen
  bool isAllocatorLetGo_ = false;
  std::optional<PlaceInFile> placeWhenBack_;

  mutable Lock lateLock_{LockRank::Late};
  std::atomic<bool> isLate_{false};  // written under the lock, read without it
  bool endsWhenBack_ VANTOR_GUARDED_BY(lateLock_) = false;
};

}  // namespace vantor
