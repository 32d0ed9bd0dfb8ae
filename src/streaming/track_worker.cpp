#include "streaming/track_worker.h"

#include <algorithm>
#include <cstring>

#include "parser/content_encoding.h"
#include "platform/platform.h"
#include "platform/result.h"
#include "streaming/codec_headers.h"
#include "streaming/start_codes_to_lengths.h"

namespace vantor {

namespace {

// Memory that a frame of a lace may keep after its delivery, bytes.
constexpr std::size_t kLargestKept = 65536;

std::int64_t WrappingAdd(std::int64_t left, std::int64_t right) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) + static_cast<std::uint64_t>(right));
}

std::int64_t WrappingSubtract(std::int64_t left, std::int64_t right) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(left) - static_cast<std::uint64_t>(right));
}

std::int64_t FrameDuration(std::int64_t start, std::int64_t stop, std::size_t frames) {
  const auto span = static_cast<std::uint64_t>(stop) - static_cast<std::uint64_t>(start);
  const std::uint64_t duration = frames == 1 ? span : span / frames;
  return std::max<std::int64_t>(static_cast<std::int64_t>(duration), 1);
}

struct SampleMarks {
  std::int64_t start;
  std::int64_t stop;
  bool syncPoint;
  bool discontinuity;
  bool preroll;
};

// Copies the bytes into the sample, which is large enough, and sets every property of it.
HRESULT FillSample(IMediaSample* sample, const std::uint8_t* bytes, std::size_t size, const SampleMarks& marks) {
  BYTE* data = nullptr;
  const HRESULT result = sample->GetPointer(&data);
  if (FAILED(result)) return result;
  if (size != 0) std::memcpy(data, bytes, size);
  sample->SetActualDataLength(static_cast<LONG>(size));
  sample->SetDiscontinuity(marks.discontinuity);
  sample->SetMediaTime(nullptr, nullptr);
  sample->SetMediaType(nullptr);
  sample->SetSyncPoint(marks.syncPoint);
  sample->SetPreroll(marks.preroll);
  REFERENCE_TIME start = marks.start;
  REFERENCE_TIME stop = marks.stop;
  sample->SetTime(&start, &stop);
  return S_OK;
}

}  // namespace

TrackWorker::TrackWorker(CBaseOutputPin& pin, Playback& playback, CMkvFile& root, const FirstCluster& first,
                         const MkvTrackEntry& track, const CMediaType& ownType, bool convertStartCodes)
    : pin_(pin),
      playback_(playback),
      track_(track),
      ownType_(ownType),
      convertStartCodes_(convertStartCodes),
      cursor_(root, first, track) {
  cursor_.InterruptWith([this] { return StopPending(); });
}

TrackWorker::~TrackWorker() = default;

HRESULT TrackWorker::StartWorker() {
  if (!Create()) return E_FAIL;
  const HRESULT result = static_cast<HRESULT>(CallWorker(CMD_INIT));
  if (SUCCEEDED(result)) return static_cast<HRESULT>(CallWorker(CMD_RUN));
  Close();
  return result;
}

HRESULT TrackWorker::StopWorker() {
  if (!ThreadExists()) return S_OK;
  HRESULT result = static_cast<HRESULT>(CallWorker(CMD_STOP));
  if (FAILED(result)) return result;
  result = static_cast<HRESULT>(CallWorker(CMD_EXIT));
  if (FAILED(result)) return result;
  if (!IsCurrentThread()) Close();
  return S_OK;
}

HRESULT TrackWorker::SendCommand(WorkerCommand command) {
  return ThreadExists() ? static_cast<HRESULT>(CallWorker(command)) : S_OK;
}

bool TrackWorker::SeekCursor(std::int64_t target, std::int64_t) { return cursor_.SeekCursor(target); }

DWORD TrackWorker::ThreadProc() {
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
        Reply(S_OK);
        Guarded([this] { return DoBufferProcessingLoop(); });
        break;
      case CMD_STOP:
        Reply(S_OK);
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

HRESULT TrackWorker::DoBufferProcessingLoop() {
  Guarded([this] { return OnThreadStartPlay(); });
  for (;;) {
    DWORD request = 0;
    while (!CheckRequest(&request)) {
      const HRESULT result = Guarded([this] { return DeliverNextBlock(); });
      if (result == S_OK) continue;
      if (pin_.IsConnected()) pin_.DeliverEndOfStream();
      if (result == S_FALSE) return S_OK;
      playback_.NotifyGraph(EC_ERRORABORT, result, 0);
      return result;
    }
    if (request == CMD_STOP) return S_FALSE;
    Reply(request == CMD_RUN ? S_OK : static_cast<DWORD>(E_UNEXPECTED));
  }
}

HRESULT TrackWorker::OnThreadStartPlay() {
  discontinuity_ = true;
  cursor_.RenewAllowance();
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
  if (cursor_.StartTime() != 0 || !FindCodecHeaders(connection, ownType_, headers)) return;
  for (std::size_t i = 0; i < headers.size(); ++i) {
    IMediaSample* sample = nullptr;
    if (GetSample(headers[i].size, &sample) != SampleState::kReady) return;
    // The time stamps are the bare numbers 0 to 3.
    const auto number = static_cast<std::int64_t>(i);
    const SampleMarks marks{number, number + 1, true, discontinuity_, false};
    discontinuity_ = false;
    HRESULT result = FillSample(sample, headers[i].data, headers[i].size, marks);
    if (SUCCEEDED(result)) result = pin_.Deliver(sample);
    sample->Release();
    if (FAILED(result)) return;
  }
}

void TrackWorker::ReportLostFrame() { playback_.NotifyGraph(EC_STREAM_ERROR_STILLPLAYING, VFW_E_BUFFER_OVERFLOW, 0); }

bool TrackWorker::StopPending() {
  DWORD request = 0;
  return CheckRequest(&request) && request == CMD_STOP;
}

HRESULT TrackWorker::DeliverNextBlock() {
  const auto stopPending = [this] { return StopPending(); };
  // A walk given up for a stop is not the end of the data.
  if (cursor_.FillQueue(stopPending) == 0) return StopPending() ? S_OK : S_FALSE;

  struct Recycler {
    BlockCursor& cursor;
    std::list<MkvBlock>& taken;
    ~Recycler() { cursor.Recycle(taken); }
  } recycler{cursor_, taken_};
  cursor_.TakeBlock(taken_);
  return DeliverBlock(taken_.front());
}

HRESULT TrackWorker::DeliverBlock(MkvBlock& block) {
  bool keyFrame = block.IsKeyFrame();
  std::int64_t start = cursor_.TimeOf(block.timecode.value);
  std::int64_t stop = WrappingAdd(start, 1);
  if (block.BlockDuration.present) {
    stop = WrappingAdd(start, cursor_.DurationOf(block.BlockDuration.value));
  } else if (cursor_.FillQueue([this] { return StopPending(); }) > 0) {
    stop = cursor_.TimeOf(cursor_.FrontBlock().timecode.value);
  }
  start = WrappingSubtract(start, cursor_.StartTime());
  stop = WrappingSubtract(stop, cursor_.StartTime());
  if (stop <= start) stop = WrappingAdd(start, 1);
  if (pin_.IsConnected()) playback_.AdvancePosition(stop);

  const PlaybackRange range = playback_.Range();
  start = WrappingSubtract(start, range.start);
  stop = WrappingSubtract(stop, range.start);
  if (block.frames.empty()) return S_OK;

  const std::int64_t rangeLength = WrappingSubtract(range.stop, range.start);
  const std::int64_t duration = FrameDuration(start, stop, block.frames.size());
  for (std::size_t i = 0; i < block.frames.size(); ++i) {
    FrameBytes& frame = block.frames[i];
    IMediaSample* sample = nullptr;
    SampleState state = SampleState::kSkipped;
    if (block.frames.IsLost(i)) {
      ReportLostFrame();
    } else if (pin_.IsConnected()) {
      ApplyContentEncodings(track_, frame, MkvContentEncoding::kScopeFrames);
      state = GetSample(frame.size(), &sample);
      if (state == SampleState::kStopped) return S_OK;
    }
    const FrameTimes times{start, WrappingAdd(start, duration), rangeLength};
    if (state == SampleState::kReady && FAILED(DeliverFrame(frame, times, keyFrame, sample))) return S_FALSE;
    // The end of the range is looked at where a key frame block begins, nowhere else.
    if (keyFrame && start >= rangeLength) return S_FALSE;
    keyFrame = false;
    start = times.stop;
    // A prefix restored to every frame of a lace must not add up.
    if (frame.capacity() > kLargestKept && block.frames.size() > 1) FrameBytes().swap(frame);
  }
  return S_OK;
}

HRESULT TrackWorker::DeliverFrame(const FrameBytes& frame, const FrameTimes& times, bool keyFrame,
                                  IMediaSample* sample) {
  struct Releaser {
    IMediaSample* sample;
    ~Releaser() { sample->Release(); }
  } releaser{sample};

  const bool preroll = times.start < 0 || times.start > times.rangeLength;
  const SampleMarks marks{times.start, times.stop, keyFrame, discontinuity_, preroll};
  const HRESULT result = FillSample(sample, frame.data(), frame.size(), marks);
  if (FAILED(result)) return result;
  if (keyFrame) discontinuity_ = false;
  // After a start nothing is delivered before the first key frame.
  if (discontinuity_) return S_OK;
  if (convertStartCodes_) {
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    ConvertStartCodesToLengths(data, static_cast<std::size_t>(sample->GetActualDataLength()));
  }
  return pin_.Deliver(sample);
}

TrackWorker::SampleState TrackWorker::GetSample(std::size_t size, IMediaSample** sample) {
  bool hasGrown = false;
  for (;;) {
    if (StopPending()) return SampleState::kStopped;
    if (FAILED(pin_.GetDeliveryBuffer(sample, nullptr, nullptr, 0))) {
      SleepMilliseconds(1);
      continue;
    }
    if (static_cast<std::size_t>(std::max<LONG>((*sample)->GetSize(), 0)) >= size) return SampleState::kReady;
    (*sample)->Release();
    *sample = nullptr;
    const SampleState grown = hasGrown ? SampleState::kSkipped : GrowBuffers(size);
    hasGrown = true;
    if (grown == SampleState::kReady) continue;
    if (grown == SampleState::kSkipped) ReportLostFrame();
    return grown;
  }
}

TrackWorker::SampleState TrackWorker::GrowBuffers(std::size_t size) {
  IMemAllocator* const allocator = DeliveryAllocator();
  ALLOCATOR_PROPERTIES agreed = {};
  if (size > kLargestFrame || allocator == nullptr || FAILED(allocator->GetProperties(&agreed))) {
    return SampleState::kSkipped;
  }
  ALLOCATOR_PROPERTIES larger = agreed;
  larger.cbBuffer = static_cast<LONG>(size);
  ALLOCATOR_PROPERTIES actual = {};
  allocator->Decommit();
  HRESULT result = allocator->SetProperties(&larger, &actual);
  // Samples that downstream still holds keep the old buffers in place until they come back.
  while ((result == VFW_E_BUFFERS_OUTSTANDING || result == VFW_E_ALREADY_COMMITTED) && !StopPending()) {
    SleepMilliseconds(1);
    result = allocator->SetProperties(&larger, &actual);
  }
  const HRESULT committed = allocator->Commit();
  if (SUCCEEDED(result) && FAILED(committed)) {
    allocator->SetProperties(&agreed, &actual);
    allocator->Commit();
    result = committed;
  }
  if (deactivating_) allocator->Decommit();
  if (StopPending()) return SampleState::kStopped;
  return SUCCEEDED(result) && actual.cbBuffer >= larger.cbBuffer ? SampleState::kReady : SampleState::kSkipped;
}

}  // namespace vantor
