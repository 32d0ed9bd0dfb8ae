// The pins as they are made, one after the other. What comes of whole files is tested in pin_creation_test.cpp.
#include "filter/output_pin_maker.h"

#include <new>

#include "platform/result.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

// Writes down what it is told, and takes so many pins.
class RecordingList final : public OutputPinList {
 public:
  void Append(PinHold pin) override {
    if (pins.size() == room) throw std::bad_alloc();
    pins.push_back(std::move(pin));
    told.push_back(NameOf(pins.back().Get()));
  }
  void SetFrameDuration(std::int64_t duration) override { told.push_back("frame " + std::to_string(duration)); }

  std::size_t room = 100;
  std::vector<PinHold> pins;
  std::vector<std::string> told;
};

class OutputPinMakerTest : public DemuxTest {
 protected:
  // Makes the pins of a file with these tracks.
  HRESULT Make(const std::vector<Raw>& tracks, RecordingList& list) {
    reader_ = std::make_unique<MemoryReader>(MediaFile(100, tracks, {{0, {SimpleBlock(1, 0, kKey, {1})}}}));
    root_ = std::make_unique<CMkvFileRoot>(reader_.get(), true);
    EXPECT_EQ(root_->Open(), S_OK);
    return Guarded([&] { return OutputPinMaker(*root_, nullptr, fonts_, *filter_, lock_, list).MakePins(); });
  }

  void TearDown() override {
    root_.reset();
    filter_ = {};
    DemuxTest::TearDown();
  }

  decltype(Demux::NewFilter()) filter_ = Demux::NewFilter();

 private:
  std::unique_ptr<MemoryReader> reader_;
  std::unique_ptr<CMkvFileRoot> root_;
  CFontInstaller fonts_;
  CCritSec lock_;
};

Raw VideoOf(std::uint64_t number, double rate) {
  return VideoTrack(number, 16, 16, {Video(16, 16, {Float8(0x2383E3, rate)})});
}

TEST_F(OutputPinMakerTest, TheFirstFrameTimeIsToldOnceBeforeItsPin) {
  RecordingList list;
  ASSERT_EQ(Make({AudioTrack(1), VideoTrack(2), VideoOf(3, 25), VideoOf(4, 50)}, list), S_OK);
  EXPECT_EQ(list.told,
            (std::vector<std::string>{"VP8 video 1", "frame 400000", "~VP8 video 2", "~VP8 video 3", "AC3 audio 1"}));
}

TEST_F(OutputPinMakerTest, APinThatTheListHasNoRoomForIsGone) {
  RecordingList list;
  list.room = 1;
  const auto alive = CBaseObject::ObjectsActive();
  EXPECT_EQ(Make({VideoTrack(1), AudioTrack(2), SubtitleTrack(3)}, list), E_OUTOFMEMORY);
  EXPECT_EQ(list.told, (std::vector<std::string>{"VP8 video 1"}));
  EXPECT_EQ(CBaseObject::ObjectsActive(), alive + 1);
}

TEST_F(OutputPinMakerTest, EveryPinAppendedMakesANewVersionOfThePins) {
  MemoryReader reader(MediaFile(100,
                                {VideoTrack(1), AudioTrack(2), AudioTrack(3, "A_VORBIS", {CodecPrivate({2, 255})})},
                                {{0, {SimpleBlock(1, 0, kKey, {1})}}}));
  CMkvFileRoot root(&reader, true);
  ASSERT_EQ(root.Open(), S_OK);
  const LONG before = filter_->GetPinVersion();
  EXPECT_EQ(Guarded([&] { return filter_->BuildOutputPins(root, nullptr); }), E_INVALIDARG);
  EXPECT_EQ(filter_->GetPinVersion(), before + 2);
  filter_->RemoveOutputPins();
}

}  // namespace
}  // namespace vantor::test
