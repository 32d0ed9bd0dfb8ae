// What a pin's samples may take of the memory that all pins of a file share.
#include "streaming/sample_source.h"

#include "streaming/worker_harness.h"

namespace vantor::test {
namespace {

class SharedSampleMemoryTest : public testing::Test {
 protected:
  // Whether a sample of that size is to be had where other pins have taken all there is.
  SampleState GetWithNoneLeft(std::size_t size) {
    while (memory_->samples.Take(1 << 10)) {
    }
    SampleSource samples(
        *harness_.pin, patience_, [] { return false; }, memory_);
    IMediaSample* sample = nullptr;
    const SampleState state = samples.Get(harness_.pin->Allocator(), size, &sample);
    if (sample != nullptr) sample->Release();
    return state;
  }

  WorkerHarness harness_{MediaFile(100, {AudioTrack(1)}, {{0, {}}})};
  const Patience patience_{};
  const std::shared_ptr<FrameMemory> memory_ = std::make_shared<FrameMemory>(1000);
};

TEST_F(SharedSampleMemoryTest, SmallSamplesAreToBeHadWhateverOthersHaveTaken) {
  EXPECT_EQ(GetWithNoneLeft(FrameMemory::kUncountedSample), SampleState::kReady);
}

TEST_F(SharedSampleMemoryTest, LargerOnesAreSkippedWhereOthersHaveTakenAll) {
  EXPECT_EQ(GetWithNoneLeft(FrameMemory::kUncountedSample + 1), SampleState::kSkipped);
}

}  // namespace
}  // namespace vantor::test
