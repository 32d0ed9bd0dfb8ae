// The commands of a worker's thread, and how a run begins and ends.
#include <atomic>
#include <functional>
#include <new>
#include <thread>

#include "platform/result.h"
#include "streaming/worker_harness.h"
#include "support/allocation_monitor.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

class ThreadProtocolTest : public DemuxTest {};

Raw SmallFile() {
  return MediaFile(100, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(1, 10, kKey, {2})}}});
}

TEST_F(ThreadProtocolTest, AnyFirstCommandButInitIsUnexpected) {
  WorkerHarness at(SmallFile());
  ASSERT_TRUE(at.worker->Create());
  for (const DWORD command : {CMD_RUN, CMD_STOP, CMD_EXIT, WorkerCommand(77)}) {
    EXPECT_EQ(at.worker->Command(command), E_UNEXPECTED) << command;
  }
  EXPECT_EQ(at.worker->Command(CMD_INIT), S_OK);
  EXPECT_TRUE(at.sink->Log() == std::vector<std::string>{"active"}) << "nothing streams before CMD_RUN";
}

TEST_F(ThreadProtocolTest, AnUnknownCommandWhileIdleIsNotImplemented) {
  WorkerHarness at(SmallFile());
  ASSERT_TRUE(at.worker->Create());
  ASSERT_EQ(at.worker->Command(CMD_INIT), S_OK);
  EXPECT_EQ(at.worker->Command(77), E_NOTIMPL);
  EXPECT_EQ(at.worker->Command(CMD_INIT), E_NOTIMPL);
  EXPECT_EQ(at.worker->Command(CMD_STOP), S_OK);
  EXPECT_EQ(at.worker->Command(CMD_EXIT), S_OK);
}

TEST_F(ThreadProtocolTest, RunWhileRunningIsAnsweredAndStreamingGoesOn) {
  WorkerHarness at(SmallFile());
  std::atomic<int> blocks{0};
  at.worker->onDeliver = [&] { return ++blocks, S_OK; };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  EXPECT_EQ(at.worker->Command(CMD_RUN), S_OK);
  const int before = blocks;
  while (blocks == before) std::this_thread::yield();
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_EQ(at.sink->Segments(), 1) << "it is the same run";
  EXPECT_EQ(at.sink->Ends(), 0);
}

TEST_F(ThreadProtocolTest, AnyOtherRequestWhileStreamingIsUnexpectedAndStreamingGoesOn) {
  WorkerHarness at(SmallFile());
  std::atomic<int> blocks{0};
  at.worker->onDeliver = [&] { return ++blocks, S_OK; };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  for (const DWORD command : {CMD_INIT, CMD_EXIT, WorkerCommand(77)}) {
    EXPECT_EQ(at.worker->Command(command), E_UNEXPECTED) << command;
    const int before = blocks;
    while (blocks == before) std::this_thread::yield();
  }
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
}

TEST_F(ThreadProtocolTest, TheThreadEndsWithZero) {
  WorkerHarness at(SmallFile());
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_FALSE(at.worker->ThreadExists());
  EXPECT_EQ(at.worker->GetExitCode(), 0u);
}

TEST_F(ThreadProtocolTest, AFailedEndOfTheThreadShowsInItsExitCode) {
  WorkerHarness at(SmallFile());
  at.worker->onDestroy = [] { return E_FAIL; };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_EQ(at.worker->GetExitCode(), 1u);
}

TEST_F(ThreadProtocolTest, NothingIsAskedOfAWorkerWithoutThread) {
  WorkerHarness at(SmallFile());
  EXPECT_FALSE(at.worker->IsAsked());
}

TEST_F(ThreadProtocolTest, AFailedStartOfTheThreadIsTheReplyAndEndsIt) {
  // Outlives the worker, whose thread counts until its very end.
  int destroyed = 0;
  WorkerHarness at(SmallFile());
  at.worker->onCreate = [] { return E_ABORT; };
  at.worker->onDestroy = [&] { return ++destroyed, S_OK; };
  EXPECT_EQ(at.worker->StartWorker(), E_ABORT);
  EXPECT_FALSE(at.worker->ThreadExists());
  EXPECT_EQ(at.worker->GetExitCode(), 1u);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);

  at.worker->onCreate = nullptr;
  EXPECT_EQ(at.worker->StartWorker(), S_OK) << "the next start is not held up by it";
  at.sink->WaitForEnds(1);
}

TEST_F(ThreadProtocolTest, ASecondThreadIsNotToBeHad) {
  WorkerHarness at(SmallFile());
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  EXPECT_EQ(at.worker->StartWorker(), E_FAIL);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
}

TEST_F(ThreadProtocolTest, WhereNoThreadIsToBeHadTheStartFails) {
  if (!WatchesAllocations()) GTEST_SKIP();
  WorkerHarness at(SmallFile());
  for (const std::uint64_t allocation : {1, 2}) {
    FailAllocation(allocation);
    EXPECT_EQ(at.worker->StartWorker(), E_FAIL) << allocation;
    FailAllocation(0);
    EXPECT_FALSE(at.worker->ThreadExists());
  }
  EXPECT_EQ(at.worker->StartWorker(), S_OK);
  at.sink->WaitForEnds(1);
}

TEST_F(ThreadProtocolTest, WithoutAThreadCommandsDoNothing) {
  WorkerHarness at(SmallFile());
  EXPECT_EQ(at.worker->StopRun(INFINITE), S_OK);
  EXPECT_EQ(at.worker->RunAgain(), S_OK);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_EQ(at.sink->Segments(), 0);
}

TEST_F(ThreadProtocolTest, StoppingItselfFailsInsteadOfWaiting) {
  WorkerHarness at(SmallFile());
  std::atomic<HRESULT> stopped{S_OK};
  at.worker->onDeliver = [&] {
    stopped = at.worker->StopWorker();
    return S_FALSE;
  };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  at.sink->WaitForEnds(1);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_TRUE(FAILED(stopped));
}

TEST_F(ThreadProtocolTest, EveryRunStartsWithANewSegmentOfTheRange) {
  WorkerHarness at(SmallFile());
  at.playback.range = {300, 7000, 4.0};
  at.worker->onDeliver = [] { return S_FALSE; };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  at.sink->WaitForEnds(1);
  EXPECT_EQ(at.worker->Command(CMD_RUN), S_OK);
  at.sink->WaitForEnds(2);
  EXPECT_EQ(at.sink->Log(),
            (std::vector<std::string>{"active", "segment 300-7000 x4", "end", "segment 300-7000 x4", "end"}));
}

TEST_F(ThreadProtocolTest, AfterTheEndOfTheDataTheThreadIsIdleUntilTheNextRun) {
  WorkerHarness at(SmallFile());
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  at.sink->WaitForEnds(1);
  EXPECT_EQ(at.worker->Command(77), E_NOTIMPL) << "idle, not streaming";
  EXPECT_EQ(at.sink->SampleCount(), 2u);
  EXPECT_TRUE(at.playback.Events().empty());
}

TEST_F(ThreadProtocolTest, ARequestThatComesAsTheRunEndsIsAnsweredByTheIdleThread) {
  const Watchdog watchdog("a request while the end of the data is delivered");
  WorkerHarness at(SmallFile());
  CAMEvent reached(TRUE);
  at.sink->onCall = [&](const std::string& entry) {
    if (entry != "end") return;
    reached.Set();
    while (!at.worker->IsAsked()) std::this_thread::yield();
  };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  reached.Wait();
  EXPECT_EQ(at.worker->Command(77), E_NOTIMPL);
}

TEST_F(ThreadProtocolTest, AStopThatIsAnnouncedEndsTheRunAtItsNextBlock) {
  const Watchdog watchdog("a stop that is announced");
  WorkerHarness at(SmallFile());
  at.worker->onDeliver = [] { return S_OK; };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  at.worker->AnnounceStop();
  while (at.worker->IsStreaming()) std::this_thread::yield();
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_EQ(at.sink->Ends(), 0);
}

TEST_F(ThreadProtocolTest, AWorkerThatIsLeftToItselfHoldsUntilItComesBackAndEndsIfItIsTo) {
  for (const bool ends : {false, true}) {
    const Watchdog watchdog("a worker that is left to itself");
    WorkerHarness at(SmallFile());
    CAMEvent reached(TRUE);
    std::atomic<bool> isHeld{true};
    at.worker->onDeliver = [&] {
      reached.Set();
      while (isHeld) std::this_thread::yield();
      return S_OK;
    };
    std::atomic<bool> hasEnded{false};
    at.worker->onDestroy = [&] {
      hasEnded = true;
      return S_OK;
    };
    ASSERT_EQ(at.worker->StartWorker(), S_OK);
    reached.Wait();
    EXPECT_EQ(at.worker->StopRun(0), VFW_E_TIMEOUT);
    EXPECT_EQ(at.worker->LeaveToItself(ends), VFW_E_TIMEOUT);
    EXPECT_EQ(at.worker->LeaveToItself(ends), VFW_E_TIMEOUT);
    EXPECT_TRUE(at.worker->IsLate());
    EXPECT_EQ(at.worker->holds, 1);
    isHeld = false;
    while (at.worker->holds != 0) std::this_thread::yield();
    EXPECT_FALSE(at.worker->IsLate());
    if (ends) {
      while (!hasEnded) std::this_thread::yield();
    } else {
      EXPECT_EQ(at.worker->RunAgain(), S_OK);
      EXPECT_TRUE(at.worker->IsStreaming());
    }
    EXPECT_EQ(at.worker->StopWorker(), S_OK);
    EXPECT_TRUE(hasEnded);
  }
}

TEST_F(ThreadProtocolTest, AStopWhileTheNextBlockIsLookedForIsNoEndOfTheData) {
  // The worker is held among the blocks of another track until the stop has been asked for, once before the first block
  // of its own and once behind it, where the block's end is looked for.
  for (const bool hasFirst : {false, true}) {
    std::vector<Raw> blocks(100, SimpleBlock(2, 0, kKey, {9}));
    if (hasFirst) blocks.insert(blocks.begin(), SimpleBlock(1, 0, kKey, {1}));
    blocks.push_back(SimpleBlock(1, 10, kKey, {2}));
    WorkerHarness at(MediaFile(100, {AudioTrack(1), AudioTrack(2)}, {{0, blocks}}));
    CAMEvent reached(TRUE);
    std::atomic<int> reads{0};
    at.file.reader.OnRead([&](std::int64_t, std::int32_t) {
      if (++reads != 200) return;
      reached.Set();
      while (!at.worker->IsAsked()) std::this_thread::yield();
    });
    ASSERT_EQ(at.worker->StartWorker(), S_OK);
    reached.Wait();
    EXPECT_EQ(at.worker->StopWorker(), S_OK);
    EXPECT_EQ(at.sink->SampleCount(), 0u);
    EXPECT_EQ(at.sink->Ends(), 0);
    EXPECT_TRUE(at.playback.Events().empty());
    EXPECT_LT(reads, 220) << "given up at once";
    at.file.reader.OnRead(nullptr);
  }
}

TEST_F(ThreadProtocolTest, AFailedBlockEndsTheStreamAndThenTellsTheGraph) {
  WorkerHarness at(SmallFile());
  std::atomic<int> endsBefore{-1};
  at.playback.onEvent = [&] { endsBefore = at.sink->Ends(); };
  at.worker->onDeliver = [] { return STG_E_READFAULT; };
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  at.sink->WaitForEnds(1);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  ASSERT_EQ(at.playback.Events().size(), 1u);
  const GraphEvent event = at.playback.Events()[0];
  EXPECT_EQ(event.code, EC_ERRORABORT);
  EXPECT_EQ(event.param1, STG_E_READFAULT);
  EXPECT_EQ(event.param2, 0);
  EXPECT_EQ(endsBefore, 1);
}

TEST_F(ThreadProtocolTest, AnExceptionInABlockCountsAsItsResult) {
  const struct {
    std::function<void()> raise;
    HRESULT result;
  } kCases[] = {{[] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
                {[] { throw ResultError(E_FAIL); }, E_FAIL},
                {[] { throw 5; }, E_UNEXPECTED}};
  for (const auto& item : kCases) {
    WorkerHarness at(SmallFile());
    at.worker->onDeliver = [&]() -> HRESULT {
      item.raise();
      return S_OK;
    };
    ASSERT_EQ(at.worker->StartWorker(), S_OK);
    at.sink->WaitForEnds(1);
    EXPECT_EQ(at.worker->StopWorker(), S_OK);
    ASSERT_EQ(at.playback.Events().size(), 1u);
    EXPECT_EQ(at.playback.Events()[0].param1, item.result);
  }
}

TEST_F(ThreadProtocolTest, ARefusedNewSegmentDoesNotKeepFramesBack) {
  WorkerHarness at(SmallFile());
  at.sink->newSegmentResult = E_FAIL;
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  at.sink->WaitForEnds(1);
  EXPECT_EQ(at.sink->SampleCount(), 2u);
}

TEST_F(ThreadProtocolTest, AnUnconnectedPinsFramesAreWalkedAndNothingIsDelivered) {
  WorkerHarness at(SmallFile(), false, false);
  ASSERT_TRUE(at.worker->Create());
  ASSERT_EQ(at.worker->Command(CMD_INIT), S_OK);
  ASSERT_EQ(at.worker->Command(CMD_RUN), S_OK);
  while (at.worker->Command(77) != E_NOTIMPL) {
  }
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_EQ(at.worker->GetExitCode(), 0u);
  EXPECT_TRUE(at.sink->Log().empty());
  EXPECT_TRUE(at.playback.positions.empty());
  EXPECT_TRUE(at.playback.Events().empty());
}

TEST_F(ThreadProtocolTest, StartCodesAreRewrittenWhereTheTypePromisesLengths) {
  const Raw frame{0, 0, 0, 1, 0xAA, 0xBB, 0, 0, 0, 1, 0xCC};
  const Raw bytes = MediaFile(100, {AudioTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, frame)}}});
  for (const bool convert : {false, true}) {
    WorkerHarness at(bytes, convert);
    ASSERT_EQ(at.worker->StartWorker(), S_OK);
    at.sink->WaitForEnds(1);
    const Raw expected = convert ? Raw{0, 0, 0, 2, 0xAA, 0xBB, 0, 0, 0, 1, 0xCC} : frame;
    EXPECT_EQ(at.sink->Samples().at(0).bytes, expected);
  }
}

TEST_F(ThreadProtocolTest, ARunningThreadCountsAsAnObject) {
  WorkerHarness at(SmallFile());
  const LONG before = CBaseObject::ObjectsActive();
  ASSERT_EQ(at.worker->StartWorker(), S_OK);
  EXPECT_EQ(CBaseObject::ObjectsActive(), before + 1);
  EXPECT_EQ(at.worker->StopWorker(), S_OK);
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

}  // namespace
}  // namespace vantor::test
