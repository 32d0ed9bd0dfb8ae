// The thread has two loops, one in the other. ThreadProc waits for commands and answers them; on CMD_RUN it enters,
// through RunUntilStopped, DoBufferProcessingLoop, which delivers block after block and only looks whether a command is
// there. A CMD_STOP ends the inner loop unanswered, so that the outer one takes it: whoever sent it knows with the
// answer that the worker touches neither cursor nor pin any more.
//
// Stops are looked for before each block and before each attempt to get a sample; a scan through damaged parts of a
// file asks as well. What a stop cannot interrupt is a call into a neighbour: Receive, GetBuffer, SyncRead. A stop of
// the filter therefore decommits the allocator first, and a seek flushes the peer. Where that does not help within a
// second, the control side lets go all that may hold the worker, half a second apart (filter/worker_call.h), and in the
// end the worker itself: it keeps the CMD_STOP pending and takes it when it comes back.
//
// Within a block the order of steps is part of the behaviour. A block that does not say how long it lasts lasts until
// the track's next one, so one block is read ahead; the last lasts 100 ns (frame_times.h). The current position moves
// before the samples go out. Nothing is delivered before the first key frame of a run, but such frames are copied all
// the same: the allocator's buffers set the pace, and a stop is noticed there. Codec headers, sent as samples at the
// start of a run, take the mark of the discontinuity, and with it the wait for a key frame. A frame that is larger than
// its buffer makes the pin ask for larger ones (sample_source.h) and is delivered; only where none are to be had it is
// skipped, and the graph told. The end of the range is looked at after the first frame of a key frame block and nowhere
// else, since the frames between refer to each other in any order.
#include "streaming/track_worker.h"

#include <algorithm>

#include "parser/content_encoding.h"
#include "platform/platform.h"
#include "platform/result.h"
#include "streaming/codec_headers.h"
#include "streaming/sample_marks.h"

namespace vantor {

namespace {

thread_local const Playback* ownPlayback = nullptr;

}  // namespace

TrackWorker::TrackWorker(CBaseOutputPin& pin, Playback& playback, CMkvFile& root, const FirstCluster& first,
                         const MkvTrackEntry& track, const CMediaType& ownType, bool convertStartCodes,
                         const Patience& patience, bool addFrameHeaders)
    : pin_(pin),
      playback_(playback),
      ownType_(ownType),
      convertStartCodes_(convertStartCodes),
      strippedHeader_(StrippedHeader(track, MkvContentEncoding::kScopeFrames)),
      addFrameHeaders_(addFrameHeaders),
      frameHeader_(addFrameHeaders ? sizeof(ProResHeader) : 0),
      cursor_(root, first, track),
      samples_(
          pin, patience, [this] { return StopPending(); }, root.frameMemory) {
  if (addFrameHeaders_) frameHeader_.insert(frameHeader_.end(), strippedHeader_.begin(), strippedHeader_.end());
  cursor_.InterruptWith([this] { return StopPending(); });
}

TrackWorker::~TrackWorker() = default;

const Playback* TrackWorker::CurrentPlayback() { return ownPlayback; }

// ---- Control side ----

HRESULT TrackWorker::StartWorker() {
  isStopAnnounced_ = false;
  isAllocatorLetGo_ = false;
  if (!ThreadExists()) samples_.ForgetLargest();
  if (ThreadExists() || !Create()) return E_FAIL;
  isStopPosted_ = false;
  const HRESULT result = static_cast<HRESULT>(CallWorker(CMD_INIT));
  if (SUCCEEDED(result)) return RunAgain();
  Close();
  return result;
}

HRESULT TrackWorker::RunAgain() {
  if (!ThreadExists() || IsStreaming() || IsLate()) return S_OK;
  TakeLateAnswer();
  isStopAnnounced_ = false;
  if (placeWhenBack_) cursor_.MoveTo(*placeWhenBack_);
  placeWhenBack_.reset();
  if (isAllocatorLetGo_) {
    isAllocatorLetGo_ = false;
    SetDeactivating(false);
    if (IMemAllocator* const allocator = DeliveryAllocator()) allocator->Commit();
  }
  return static_cast<HRESULT>(CallWorker(CMD_RUN));
}

HRESULT TrackWorker::StopRun(DWORD milliseconds) {
  if (!ThreadExists()) return S_OK;
  if (IsCurrentThread()) return E_FAIL;
  if (!isStopPosted_) {
    isStopPosted_ = true;
    PostRequest(CMD_STOP);
  }
  DWORD reply = 0;
  const Answer answer = WaitForReply(milliseconds, &reply);
  if (answer == Answer::kTimeout) return VFW_E_TIMEOUT;
  isStopPosted_ = false;
  isStopAnnounced_ = false;
  return answer == Answer::kReplied ? static_cast<HRESULT>(reply) : S_OK;
}

HRESULT TrackWorker::EndThread() {
  if (!ThreadExists()) return S_OK;
  if (IsStreaming()) return E_UNEXPECTED;
  // A thread that came back late has ended by itself: there is nobody to answer.
  CallWorker(CMD_EXIT);
  Close();
  return S_OK;
}

HRESULT TrackWorker::StopWorker() {
  const HRESULT stopped = StopRun(INFINITE);
  return FAILED(stopped) ? stopped : EndThread();
}

HRESULT TrackWorker::LeaveToItself(bool ends) {
  // The worker looks for the flag under this lock, after it has answered: either we see the answer or it sees the flag.
  const LockScope hold(lateLock_);
  if (StopRun(0) != VFW_E_TIMEOUT) return S_OK;
  endsWhenBack_ = ends;
  if (!isLate_) HoldForWorker();
  isLate_ = true;
  return VFW_E_TIMEOUT;
}

// A worker that came back has answered the stop for which nobody waited any more.
void TrackWorker::TakeLateAnswer() {
  if (isStopPosted_) (void)StopRun(INFINITE);
}

void TrackWorker::LetAllocatorGo() {
  SetDeactivating(true);
  isAllocatorLetGo_ = true;
  if (IMemAllocator* const allocator = DeliveryAllocator()) allocator->Decommit();
}

void TrackWorker::SeekCursor(const PlaceInFile* found) {
  placeWhenBack_ = found != nullptr ? *found : cursor_.Start();
  if (IsLate() || IsStreaming()) return;
  cursor_.MoveTo(*placeWhenBack_);
  placeWhenBack_.reset();
}

// ---- The thread ----

DWORD TrackWorker::ThreadProc() {
  ownPlayback = &playback_;
  while (GetRequest() != CMD_INIT) Reply(static_cast<DWORD>(E_UNEXPECTED));
  const HRESULT created = OnThreadCreate();
  if (FAILED(created)) {
    OnThreadDestroy();
    Reply(static_cast<DWORD>(created));
    return 1;
  }
  Reply(S_OK);
  for (;;) {
    switch (GetRequest()) {
      case CMD_RUN:
        RunUntilStopped();  // answers by itself, once isStreaming_ is set: the sender waits for the start alone
        break;
      case CMD_STOP:
        // The answer first: LeaveToItself either sees it or has its flag seen here.
        Reply(S_OK);
        if (EndsAfterLateReturn()) return FAILED(OnThreadDestroy()) ? 1 : 0;
        break;
      case CMD_EXIT:
        Reply(S_OK);
        return FAILED(OnThreadDestroy()) ? 1 : 0;
      default:
        Reply(static_cast<DWORD>(E_NOTIMPL));
        break;
    }
  }
}

void TrackWorker::RunUntilStopped() {
  isStreaming_ = true;
  Reply(S_OK);
  (void)Guarded([this] { return DoBufferProcessingLoop(); });  // what ended the run was told to the graph
  samples_.EndRun();
  isStreaming_ = false;
}

// After the answer to CMD_STOP. A worker that was left to itself gives back what it held; true when its thread is to
// end by itself.
bool TrackWorker::EndsAfterLateReturn() {
  bool ends = false;
  {
    const LockScope hold(lateLock_);
    if (!isLate_) return false;
    isLate_ = false;
    ends = endsWhenBack_;
  }
  // The last reference may go here, but not this object: whoever frees it waits for this thread first.
  ReleaseForWorker();
  return ends;
}

HRESULT TrackWorker::DoBufferProcessingLoop() {
  (void)Guarded([this] { return OnThreadStartPlay(); });  // a sink that refuses the segment still gets the samples
  if (FAILED(samples_.Failure())) return EndRun(samples_.Failure());
  for (;;) {
    DWORD request = 0;
    while (!CheckRequest(&request)) {
      if (isStopAnnounced_) return S_FALSE;  // the command follows, and finds the worker waiting
      const HRESULT result = Guarded([this] { return DeliverNextBlock(); });
      if (result != S_OK) return EndRun(result);
    }
    // Not answered here: ThreadProc takes it again, when this run is over.
    if (request == CMD_STOP) return S_FALSE;
    Reply(request == CMD_RUN ? S_OK : static_cast<DWORD>(E_UNEXPECTED));
  }
}

// At the end of the data (S_FALSE) or a failure. A worker that was left to itself has nothing more to tell: what its
// neighbours hear by now belongs to another run.
HRESULT TrackWorker::EndRun(HRESULT result) {
  if (IsLate()) return result;
  if (pin_.IsConnected()) pin_.DeliverEndOfStream();
  if (result == S_FALSE) return S_OK;
  playback_.NotifyGraph(EC_ERRORABORT, result, 0);
  return result;
}

HRESULT TrackWorker::OnThreadStartPlay() {
  isDiscontinuity_ = true;
  cursor_.RenewAllowance();
  samples_.BeginRun();
  const PlaybackRange range = playback_.Range();
  const HRESULT result = pin_.DeliverNewSegment(range.start, range.stop, range.rate);
  if (FAILED(result)) return result;
  DeliverCodecHeaders();
  return S_OK;
}

void TrackWorker::DeliverCodecHeaders() {
  CMediaType connection;
  CodecHeaders headers;
  if (!pin_.IsConnected() || FAILED(pin_.ConnectionMediaType(&connection))) return;
  // A file that begins later is one part of a stream, whose decoder has its headers.
  if (cursor_.StartTime() != 0 || !FindCodecHeaders(connection, ownType_, headers)) return;
  for (std::size_t i = 0; i < headers.size(); ++i) {
    IMediaSample* sample = nullptr;
    const SampleState state = samples_.Get(DeliveryAllocator(), headers[i].size, &sample);
    if (state == SampleState::kSkipped) ReportLostFrame();
    if (state != SampleState::kReady) return;
    // The time stamps are the bare numbers 0 to 3.
    const auto number = static_cast<std::int64_t>(i);
    const SampleMarks marks{number, number + 1, true, isDiscontinuity_, false};
    isDiscontinuity_ = false;  // what follows the headers is not held back for a key frame
    HRESULT result = FillSample(*sample, headers[i].data, headers[i].size, marks);
    if (SUCCEEDED(result)) result = pin_.Deliver(sample);
    sample->Release();
    if (FAILED(result)) return;
  }
}

void TrackWorker::ReportLostFrame() { playback_.NotifyGraph(EC_STREAM_ERROR_STILLPLAYING, VFW_E_BUFFER_OVERFLOW, 0); }

bool TrackWorker::StopPending() const {
  DWORD request = 0;
  return isStopAnnounced_ || (CheckRequest(&request) && request == CMD_STOP);
}

HRESULT TrackWorker::DeliverNextBlock() {
  // A walk given up for a stop, or for a flush of the source, is not the end of the data.
  if (cursor_.FillQueue([this] { return StopPending(); }) == 0) {
    return StopPending() || cursor_.WasLetGo() ? S_OK : S_FALSE;
  }
  // Also when delivering it runs out of memory: what it holds is counted.
  struct Releasing {
    BlockCursor& cursor;
    ~Releasing() { cursor.Release(); }
  };
  StampedBlock& block = cursor_.Take();
  const Releasing releasing{cursor_};
  return DeliverBlock(block);
}

HRESULT TrackWorker::DeliverBlock(StampedBlock& block) {
  const BlockSpan span = SpanOf(TimingOf(block));
  // What a worker that was left to itself still does belongs to another run.
  if (pin_.IsConnected() && !IsLate()) playback_.AdvancePosition(span.stop);
  if (block.record.frames.empty()) return S_OK;
  return DeliverFrames(block.record, FrameTimes(span, playback_.Range(), block.record.frames.size()));
}

BlockTiming TrackWorker::TimingOf(const StampedBlock& block) {
  BlockTiming timing{.start = block.start, .duration = {}, .next = {}, .fileStart = cursor_.StartTime()};
  if (block.record.BlockDuration.present) {
    timing.duration = cursor_.DurationOf(block.record.BlockDuration.value);
  } else if (cursor_.FillQueue([this] { return StopPending(); }) > 0) {
    timing.next = cursor_.Next().start;
  }
  return timing;
}

HRESULT TrackWorker::DeliverFrames(MkvBlock& block, const FrameTimes& times) {
  bool isKeyFrame = block.IsKeyFrame();
  for (std::size_t i = 0; i < block.frames.size(); ++i) {
    const FrameBytes& frame = block.frames[i];
    IMediaSample* sample = nullptr;
    const SampleState state = GetSample(frame, block.frames.IsLost(i), &sample);
    if (state == SampleState::kStopped) return S_OK;
    if (state == SampleState::kFailed) return samples_.Failure();
    // A sink that fails wants no more: the end of its data, not an error of ours.
    if (state == SampleState::kReady && FAILED(DeliverFrame(frame, times, i, isKeyFrame, sample))) return S_FALSE;
    if (isKeyFrame && times.IsAtEnd(i)) return S_FALSE;
    isKeyFrame = false;  // of a lace, the first frame alone is marked
  }
  return S_OK;
}

// What goes out in front of the frame's bytes.
std::span<const std::uint8_t> TrackWorker::HeaderOf(const FrameBytes& frame) {
  if (!addFrameHeaders_ || HasProResHeader(strippedHeader_, {frame.data(), frame.size()})) return strippedHeader_;
  const ProResHeader header = MakeProResHeader(strippedHeader_.size() + frame.size());
  std::copy(header.begin(), header.end(), frameHeader_.begin());
  return frameHeader_;
}

// A sample for the frame and its stripped header. A frame without one is skipped.
SampleState TrackWorker::GetSample(const FrameBytes& frame, bool isLost, IMediaSample** sample) {
  SampleState state = SampleState::kSkipped;
  if (!isLost) {
    if (!pin_.IsConnected()) return state;
    state = samples_.Get(DeliveryAllocator(), HeaderOf(frame).size() + frame.size(), sample);
  }
  if (state == SampleState::kSkipped) ReportLostFrame();
  return state;
}

HRESULT TrackWorker::DeliverFrame(const FrameBytes& frame, const FrameTimes& times, std::size_t index, bool isKeyFrame,
                                  IMediaSample* sample) {
  const auto owned = ComPtr<IMediaSample>::Adopt(sample);
  const SampleMarks marks{times.StartOf(index), times.StopOf(index), isKeyFrame, isDiscontinuity_,
                          times.IsPreroll(index)};
  // Frames of other encodings than a stripped header go out as they are.
  const HRESULT result = FillSample(*sample, frame.data(), frame.size(), marks, HeaderOf(frame));
  if (FAILED(result)) return result;
  if (isKeyFrame) isDiscontinuity_ = false;
  // After a start nothing is delivered before the first key frame.
  if (isDiscontinuity_ || IsLate()) return S_OK;
  if (convertStartCodes_) ConvertSample(*sample);
  return pin_.Deliver(sample);
}

}  // namespace vantor
