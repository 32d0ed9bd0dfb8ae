// A pin's worker: the thread that reads the blocks of one track and delivers each frame as a media sample.
//
// The thread waits for CMD_INIT, then runs on CMD_RUN until the data ends, an error or CMD_STOP, and ends on CMD_EXIT.
// Every run starts with a new segment. After the end of the data or an error it stays idle until the next CMD_RUN.
//
// Control side (StartWorker, StopWorker, SendCommand, SeekCursor): the graph's threads, under the filter lock. The
// worker itself never takes that lock, since StopWorker waits for it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>

#include "baseclasses/media_type.h"
#include "baseclasses/output_pin.h"
#include "baseclasses/thread.h"
#include "parser/block.h"
#include "parser/track_entry.h"
#include "streaming/block_cursor.h"
#include "streaming/playback.h"

namespace vantor {

enum WorkerCommand : DWORD { CMD_INIT = 0, CMD_RUN = 1, CMD_STOP = 2, CMD_EXIT = 3 };

class TrackWorker : public CAMThread {
 public:
  // A frame larger than this is never delivered, bytes.
  static constexpr std::size_t kLargestFrame = MkvBlock::kLargestFrame;

  // The pin delivers; root, playback and track outlive the worker. `ownType` is the pin's own media type.
  TrackWorker(CBaseOutputPin& pin, Playback& playback, CMkvFile& root, const FirstCluster& first,
              const MkvTrackEntry& track, const CMediaType& ownType, bool convertStartCodes);
  ~TrackWorker() override;

  // Creates the thread and sets it running. E_FAIL when there is no thread to be had, else the last command's result.
  HRESULT StartWorker();
  // Stops the run, ends the thread and waits for it, unless called on it. S_OK when there is no thread.
  HRESULT StopWorker();
  // Sends a command if there is a thread; S_OK when there is none.
  HRESULT SendCommand(WorkerCommand command);

  // Repositions; only while the worker is stopped or absent. False when the target cannot be reached. The stop
  // position takes no part.
  bool SeekCursor(std::int64_t target, std::int64_t stop);

  // Told before the allocator is decommitted and before it is committed: a worker that enlarges its buffers meanwhile
  // must not leave them committed, or a stop would wait for it forever.
  void SetDeactivating(bool deactivating) { deactivating_ = deactivating; }

  bool HasCluster() const { return cursor_.HasCluster(); }

 protected:
  // The allocator that the connection agreed on; not counted.
  virtual IMemAllocator* DeliveryAllocator() = 0;

  DWORD ThreadProc() override;
  // S_OK: go on; S_FALSE: end of data; negative: the run fails with it.
  virtual HRESULT DeliverNextBlock();
  virtual HRESULT OnThreadCreate() { return S_OK; }
  virtual HRESULT OnThreadDestroy() { return S_OK; }
  virtual HRESULT OnThreadStartPlay();
  virtual HRESULT DoBufferProcessingLoop();

 private:
  enum class SampleState { kReady, kStopped, kSkipped };
  struct FrameTimes {
    std::int64_t start;
    std::int64_t stop;
    std::int64_t rangeLength;
  };

  bool StopPending();
  HRESULT DeliverBlock(MkvBlock& block);
  SampleState GetSample(std::size_t size, IMediaSample** sample);
  SampleState GrowBuffers(std::size_t size);
  HRESULT DeliverFrame(const FrameBytes& frame, const FrameTimes& times, bool keyFrame, IMediaSample* sample);
  void DeliverCodecHeaders();
  void ReportLostFrame();

  CBaseOutputPin& pin_;
  Playback& playback_;
  const MkvTrackEntry& track_;
  const CMediaType& ownType_;
  const bool convertStartCodes_;
  BlockCursor cursor_;
  std::list<MkvBlock> taken_;
  bool discontinuity_ = true;
  std::atomic<bool> deactivating_{false};
};

}  // namespace vantor
