// IMediaSeeking on a stopped filter, through the filter and through a pin.
#include <cstdint>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/allocation_monitor.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class SeekingTest : public DemuxTest {};

constexpr DWORD kNone = AM_SEEKING_NoPositioning;
constexpr DWORD kAbsolute = AM_SEEKING_AbsolutePositioning;
constexpr DWORD kRelative = AM_SEEKING_RelativePositioning;
constexpr DWORD kIncremental = AM_SEEKING_IncrementalPositioning;

const std::vector<TimedCluster> kClusters{{0, {SimpleBlock(1, 0, kKey, {1})}}, {500, {SimpleBlock(1, 0, kKey, {2})}}};

// One second; 400,000 units a frame.
Raw SeekableFile(double duration = 1000) {
  return MediaFile(duration, {VideoTrack(1, 16, 16, {UInt(0x23E383, 40000000)})}, kClusters);
}
Raw AudioFile() { return MediaFile(1000, {AudioTrack(1)}, kClusters); }

// The filter and a pin answer alike.
void ForBoth(const Raw& file, const std::function<void(Demux&, IMediaSeeking&)>& check) {
  for (const bool throughPin : {false, true}) {
    SCOPED_TRACE(throughPin ? "through the pin" : "through the filter");
    Demux demux(file);
    ASSERT_EQ(demux.Connect(), S_OK);
    ComPtr<IMediaSeeking> seeking;
    IUnknown* const object = throughPin ? static_cast<IPin*>(demux.Filter().GetPin(1))
                                        : static_cast<IUnknown*>(static_cast<IBaseFilter*>(&demux.Filter()));
    ASSERT_EQ(object->QueryInterface(IID_IMediaSeeking, seeking.Void()), S_OK);
    check(demux, *seeking.Get());
  }
}

struct Range {
  std::int64_t current = -1;
  std::int64_t stop = -1;
  bool operator==(const Range&) const = default;
};
void PrintTo(const Range& positions, std::ostream* out) { *out << positions.current << " to " << positions.stop; }

Range PositionsOf(IMediaSeeking& seeking) {
  LONGLONG current = -1;
  LONGLONG stop = -1;
  EXPECT_EQ(seeking.GetPositions(&current, &stop), S_OK);
  return {current, stop};
}

HRESULT Set(IMediaSeeking& seeking, std::int64_t current, DWORD currentFlags, std::int64_t stop, DWORD stopFlags) {
  LONGLONG newCurrent = current;
  LONGLONG newStop = stop;
  return seeking.SetPositions(&newCurrent, currentFlags, &newStop, stopFlags);
}

TEST_F(SeekingTest, TellsWhatItCanDo) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    DWORD capabilities = 0;
    EXPECT_EQ(seeking.GetCapabilities(&capabilities), S_OK);
    EXPECT_EQ(capabilities, 0x37u) << "but the current position";
    EXPECT_EQ(seeking.GetCapabilities(nullptr), E_POINTER);
  });
}

TEST_F(SeekingTest, ChecksCapabilitiesAsAWhole) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    const struct {
      DWORD asked;
      HRESULT answer;
    } kCases[] = {{0, S_OK},
                  {0x37, S_OK},
                  {AM_SEEKING_CanSeekAbsolute, S_FALSE},
                  {0x37 | AM_SEEKING_CanGetCurrentPos, S_FALSE},
                  {AM_SEEKING_CanPlayBackwards, E_FAIL},
                  {AM_SEEKING_CanGetCurrentPos, E_FAIL}};
    for (const auto& item : kCases) {
      DWORD capabilities = item.asked;
      EXPECT_EQ(seeking.CheckCapabilities(&capabilities), item.answer) << item.asked;
      EXPECT_EQ(capabilities, item.asked) << "left as it was";
    }
    EXPECT_EQ(seeking.CheckCapabilities(nullptr), E_POINTER);
  });
}

TEST_F(SeekingTest, SupportsFramesWhereAVideoTrackHasAFrameTime) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    EXPECT_EQ(seeking.IsFormatSupported(&TIME_FORMAT_MEDIA_TIME), S_OK);
    EXPECT_EQ(seeking.IsFormatSupported(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(seeking.IsFormatSupported(&TIME_FORMAT_SAMPLE), S_FALSE);
    EXPECT_EQ(seeking.IsFormatSupported(nullptr), E_POINTER);
  });
  ForBoth(AudioFile(), [](Demux&, IMediaSeeking& seeking) {
    EXPECT_EQ(seeking.IsFormatSupported(&TIME_FORMAT_MEDIA_TIME), S_OK);
    EXPECT_EQ(seeking.IsFormatSupported(&TIME_FORMAT_FRAME), S_FALSE);
  });
}

TEST_F(SeekingTest, PrefersMediaTimeAlways) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    EXPECT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    GUID format = {};
    EXPECT_EQ(seeking.QueryPreferredFormat(&format), S_OK);
    EXPECT_TRUE(SameGuid(format, TIME_FORMAT_MEDIA_TIME));
    EXPECT_EQ(seeking.QueryPreferredFormat(nullptr), E_POINTER);
  });
}

TEST_F(SeekingTest, TheTimeFormatChanges) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    const auto expect = [&](const GUID& used, const GUID& other) {
      GUID format = {};
      EXPECT_EQ(seeking.GetTimeFormat(&format), S_OK);
      EXPECT_TRUE(SameGuid(format, used));
      EXPECT_EQ(seeking.IsUsingTimeFormat(&used), S_OK);
      EXPECT_EQ(seeking.IsUsingTimeFormat(&other), S_FALSE);
      EXPECT_EQ(seeking.IsUsingTimeFormat(&TIME_FORMAT_BYTE), S_FALSE);
    };
    expect(TIME_FORMAT_MEDIA_TIME, TIME_FORMAT_FRAME);
    EXPECT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    expect(TIME_FORMAT_FRAME, TIME_FORMAT_MEDIA_TIME);
    EXPECT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FIELD), E_INVALIDARG);
    expect(TIME_FORMAT_FRAME, TIME_FORMAT_MEDIA_TIME);
    EXPECT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
    expect(TIME_FORMAT_MEDIA_TIME, TIME_FORMAT_FRAME);
    EXPECT_EQ(seeking.GetTimeFormat(nullptr), E_POINTER);
    EXPECT_EQ(seeking.SetTimeFormat(nullptr), E_POINTER);
    EXPECT_EQ(seeking.IsUsingTimeFormat(nullptr), E_POINTER);
  });
}

TEST_F(SeekingTest, FramesAreNoFormatOfAnAudioFile) {
  ForBoth(AudioFile(), [](Demux&, IMediaSeeking& seeking) {
    EXPECT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), E_INVALIDARG);
    EXPECT_EQ(seeking.IsUsingTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
  });
}

TEST_F(SeekingTest, DisconnectingTakesTheFrameFormatAway) {
  Demux demux(SeekableFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  ASSERT_EQ(demux.Filter().SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
  ASSERT_EQ(demux.DisconnectInput(), S_OK);
  EXPECT_EQ(demux.Filter().IsUsingTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
  EXPECT_EQ(demux.Filter().SetTimeFormat(&TIME_FORMAT_FRAME), E_INVALIDARG);
  LONGLONG duration = -1;
  EXPECT_EQ(demux.Filter().GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 0);
}

TEST_F(SeekingTest, StartsWithTheWholeFile) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    LONGLONG value = -1;
    EXPECT_EQ(seeking.GetDuration(&value), S_OK);
    EXPECT_EQ(value, 10000000);
    EXPECT_EQ(seeking.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(seeking.GetStopPosition(&value), S_OK);
    EXPECT_EQ(value, 10000000);
    LONGLONG earliest = -1;
    EXPECT_EQ(seeking.GetAvailable(&earliest, &value), S_OK);
    EXPECT_EQ(earliest, 0);
    EXPECT_EQ(value, 10000000);
    EXPECT_EQ(seeking.GetPreroll(&value), S_OK);
    EXPECT_EQ(value, 0);
  });
}

TEST_F(SeekingTest, NullsAreRefusedOrPassedOver) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    EXPECT_EQ(seeking.GetDuration(nullptr), E_POINTER);
    EXPECT_EQ(seeking.GetCurrentPosition(nullptr), E_POINTER);
    EXPECT_EQ(seeking.GetStopPosition(nullptr), E_POINTER);
    EXPECT_EQ(seeking.GetPreroll(nullptr), E_POINTER);
    EXPECT_EQ(seeking.GetRate(nullptr), E_POINTER);
    EXPECT_EQ(seeking.GetPositions(nullptr, nullptr), S_OK);
    EXPECT_EQ(seeking.GetAvailable(nullptr, nullptr), S_OK);
    LONGLONG value = -1;
    EXPECT_EQ(seeking.GetPositions(nullptr, &value), S_OK);
    EXPECT_EQ(value, 10000000);
    EXPECT_EQ(seeking.GetAvailable(nullptr, &value), S_OK);
    EXPECT_EQ(value, 10000000);
  });
}

TEST_F(SeekingTest, DurationsInFramesAreRoundedUp) {
  const auto frames = [](const Raw& file) {
    LONGLONG duration = -1;
    LONGLONG stop = -1;
    LONGLONG latest = -1;
    ForBoth(file, [&](Demux&, IMediaSeeking& seeking) {
      EXPECT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
      EXPECT_EQ(seeking.GetDuration(&duration), S_OK);
      EXPECT_EQ(seeking.GetStopPosition(&stop), S_OK);
      EXPECT_EQ(stop, duration);
      EXPECT_EQ(seeking.GetAvailable(nullptr, &latest), S_OK);
      EXPECT_EQ(latest, duration);
    });
    return std::int64_t{duration};
  };
  EXPECT_EQ(frames(SeekableFile(1000)), 25);
  EXPECT_EQ(frames(SeekableFile(1000.0001)), 26) << "10,000,001 units";
  EXPECT_EQ(frames(SeekableFile(999.9999)), 25);
  EXPECT_EQ(frames(SeekableFile(0)), 0);
}

TEST_F(SeekingTest, TheCurrentPositionInFramesIsCutOff) {
  ForBoth(SeekableFile(2000), [](Demux&, IMediaSeeking& seeking) {
    for (const auto& [position, frame] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {10399999, 25}, {10400000, 26}, {9999999, 24}, {399999, 0}}) {
      ASSERT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
      ASSERT_EQ(Set(seeking, position, kAbsolute, 0, kNone), S_OK);
      ASSERT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
      LONGLONG current = -1;
      EXPECT_EQ(seeking.GetCurrentPosition(&current), S_OK);
      EXPECT_EQ(current, frame);
      EXPECT_EQ(PositionsOf(seeking).current, frame);
    }
  });
}

TEST_F(SeekingTest, ConvertsBetweenTheFormats) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    const auto convert = [&](std::int64_t source, const GUID* from, const GUID* to) {
      LONGLONG target = -1;
      EXPECT_EQ(seeking.ConvertTimeFormat(&target, to, source, from), S_OK);
      return std::int64_t{target};
    };
    const GUID* const media = &TIME_FORMAT_MEDIA_TIME;
    const GUID* const frame = &TIME_FORMAT_FRAME;
    EXPECT_EQ(convert(799999, media, frame), 1);
    EXPECT_EQ(convert(-799999, media, frame), -1);
    EXPECT_EQ(convert(3, frame, media), 1200000);
    EXPECT_EQ(convert(7, media, media), 7);
    EXPECT_EQ(convert(7, frame, frame), 7);
    EXPECT_EQ(convert(800000, nullptr, frame), 2) << "media time is in use";
    EXPECT_EQ(convert(2, frame, nullptr), 800000);
    EXPECT_EQ(convert(5, nullptr, nullptr), 5);
    ASSERT_EQ(seeking.SetTimeFormat(frame), S_OK);
    EXPECT_EQ(convert(2, nullptr, media), 800000) << "frames are in use";
    EXPECT_EQ(convert(800000, media, nullptr), 2);
    convert(std::numeric_limits<std::int64_t>::max(), frame, media);
    convert(std::numeric_limits<std::int64_t>::min(), media, frame);

    LONGLONG target = -1;
    EXPECT_EQ(seeking.ConvertTimeFormat(nullptr, media, 1, media), E_POINTER);
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, &TIME_FORMAT_SAMPLE, 1, media), E_INVALIDARG);
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, media, 1, &TIME_FORMAT_SAMPLE), E_INVALIDARG);
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, &TIME_FORMAT_SAMPLE, 1, &TIME_FORMAT_SAMPLE), E_INVALIDARG);
  });
}

TEST_F(SeekingTest, NothingConvertsToFramesOfAnAudioFile) {
  ForBoth(AudioFile(), [](Demux&, IMediaSeeking& seeking) {
    LONGLONG target = -1;
    const GUID* const media = &TIME_FORMAT_MEDIA_TIME;
    const GUID* const frame = &TIME_FORMAT_FRAME;
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, frame, 1, media), E_INVALIDARG);
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, media, 1, frame), E_INVALIDARG);
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, frame, 1, frame), E_INVALIDARG);
    EXPECT_EQ(seeking.ConvertTimeFormat(&target, nullptr, 1, nullptr), S_OK);
  });
}

TEST_F(SeekingTest, RatesArePositive) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    double rate = 0;
    EXPECT_EQ(seeking.GetRate(&rate), S_OK);
    EXPECT_EQ(rate, 1.0);
    EXPECT_EQ(seeking.SetRate(4.0), S_OK);
    for (const double refused :
         {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
      EXPECT_EQ(seeking.SetRate(refused), E_INVALIDARG) << refused;
    }
    EXPECT_EQ(seeking.GetRate(&rate), S_OK);
    EXPECT_EQ(rate, 4.0);
    EXPECT_EQ(seeking.SetRate(0.001), S_OK);
  });
}

// ---- SetPositions ----

TEST_F(SeekingTest, SetsAbsolutePositions) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    EXPECT_EQ(Set(seeking, 6000000, kAbsolute, 8000000, kAbsolute), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{6000000, 8000000}));
    EXPECT_EQ(Set(seeking, 1, kNone, 9000000, kAbsolute), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{6000000, 9000000}));
    EXPECT_EQ(Set(seeking, 100, kAbsolute, 1, kNone), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{100, 9000000}));
    EXPECT_EQ(seeking.SetPositions(nullptr, kNone, nullptr, kNone), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{100, 9000000}));
  });
}

TEST_F(SeekingTest, SetsPositionsRelativeToTheOldOnes) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    ASSERT_EQ(Set(seeking, 1000000, kAbsolute, 8000000, kAbsolute), S_OK);
    EXPECT_EQ(Set(seeking, 500000, kRelative, -1000000, kRelative), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{1500000, 7000000}));
  });
}

TEST_F(SeekingTest, AnIncrementOfTheStartIsRelativeAndOfTheStopCountsFromTheNewStart) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    ASSERT_EQ(Set(seeking, 1000000, kAbsolute, 8000000, kAbsolute), S_OK);
    EXPECT_EQ(Set(seeking, 500000, kIncremental, 3000000, kIncremental), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{1500000, 4500000}));
    EXPECT_EQ(Set(seeking, 2000000, kAbsolute, 3000000, kIncremental), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{2000000, 5000000}));
  });
}

TEST_F(SeekingTest, PositionsAreKeptWithinTheDuration) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    const std::int64_t least = std::numeric_limits<std::int64_t>::min();
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const struct {
      std::int64_t current;
      std::int64_t stop;
      Range kept;
    } kCases[] = {{20000000, 30000000, {10000000, 10000000}},
                  {-5, 9000000, {0, 9000000}},
                  {6000000, 5000000, {6000000, 6000000}},
                  {20000000, 5000000, {10000000, 10000000}},
                  {least, least, {0, 0}},
                  {most, most, {10000000, 10000000}},
                  {0, 20000000, {0, 10000000}}};
    for (const auto& item : kCases) {
      EXPECT_EQ(Set(seeking, item.current, kAbsolute, item.stop, kAbsolute), S_OK);
      EXPECT_EQ(PositionsOf(seeking), item.kept) << item.current << " to " << item.stop;
    }
    EXPECT_EQ(Set(seeking, most, kRelative, most, kIncremental), S_OK) << "sums wrap";
  });
}

TEST_F(SeekingTest, APositionThatIsNeededMustBeThere) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    LONGLONG value = 5;
    for (const DWORD mode : {kAbsolute, kRelative, kIncremental}) {
      EXPECT_EQ(seeking.SetPositions(nullptr, mode, &value, kNone), E_POINTER);
      EXPECT_EQ(seeking.SetPositions(&value, kAbsolute, nullptr, mode), E_POINTER);
    }
    EXPECT_EQ(PositionsOf(seeking), (Range{0, 10000000})) << "nothing moved";
  });
}

TEST_F(SeekingTest, TakesPositionsInFrames) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    ASSERT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(Set(seeking, 3, kAbsolute, 20, kAbsolute), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{3, 20}));
    EXPECT_EQ(Set(seeking, 2, kRelative, -1, kRelative), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{5, 19}));
    ASSERT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{2000000, 7600000})) << "kept in units of time";
  });
}

TEST_F(SeekingTest, GivesTimesBackInUnitsOfTimeAlsoWithFramesInUse) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    ASSERT_EQ(seeking.SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    LONGLONG current = 3;
    LONGLONG stop = 100;
    EXPECT_EQ(
        seeking.SetPositions(&current, kAbsolute | AM_SEEKING_ReturnTime, &stop, kAbsolute | AM_SEEKING_ReturnTime),
        S_OK);
    EXPECT_EQ(current, 1200000);
    EXPECT_EQ(stop, 10000000) << "as kept";
    current = stop = -1;
    EXPECT_EQ(seeking.SetPositions(&current, AM_SEEKING_ReturnTime, &stop, AM_SEEKING_ReturnTime), S_OK);
    EXPECT_EQ(current, 1200000) << "also when nothing changes";
    EXPECT_EQ(stop, 10000000);
    EXPECT_EQ(seeking.SetPositions(nullptr, AM_SEEKING_ReturnTime, nullptr, AM_SEEKING_ReturnTime), S_OK);
    current = 4;
    EXPECT_EQ(seeking.SetPositions(&current, kAbsolute, nullptr, kNone), S_OK);
    EXPECT_EQ(current, 4) << "not asked for";
  });
}

TEST_F(SeekingTest, IgnoresTheOtherFlags) {
  ForBoth(SeekableFile(), [](Demux&, IMediaSeeking& seeking) {
    const DWORD more = AM_SEEKING_SeekToKeyFrame | AM_SEEKING_Segment | AM_SEEKING_NoFlush;
    EXPECT_EQ(Set(seeking, 5000000, kAbsolute | more, 0, kNone | more), S_OK);
    EXPECT_EQ(PositionsOf(seeking), (Range{5000000, 10000000}));
  });
}

TEST_F(SeekingTest, AStoppedSeekFlushesNothing) {
  Demux demux(SeekableFile());
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  ASSERT_EQ(demux.Seek(5000000), S_OK);
  EXPECT_TRUE(sink.Log().empty());
}

TEST_F(SeekingTest, SettingWhatIsSetFlushesNothing) {
  Demux demux(MediaFile(1000, {AudioTrack(1)}, {{0, {}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  ASSERT_EQ(demux.Run(), S_OK);
  sink.WaitForEnds(1);
  EXPECT_EQ(demux.Seek(0, 10000000), S_OK);
  EXPECT_EQ(demux.Stop(), S_OK);
  EXPECT_EQ(sink.Log(), (std::vector<std::string>{"active", "segment 0-10000000 x1", "end"}));
}

TEST_F(SeekingTest, WithoutAConnectionEveryPositionIsZero) {
  const auto filter = Demux::NewFilter();
  EXPECT_EQ(Set(*filter, 5, kAbsolute, 7, kAbsolute), S_OK);
  EXPECT_EQ(PositionsOf(*filter), (Range{0, 0}));
}

TEST_F(SeekingTest, ASeekThatRunsOutOfMemoryRestartsAtZero) {
  if (!WatchesAllocations()) GTEST_SKIP();
  // The search reads the codec state of the block it finds.
  Demux demux(MediaFile(
      1000, {AudioTrack(1)},
      {{0, {SimpleBlock(1, 0, kKey, {1})}}, {500, {BlockGroup({Block(1, 0, 0, {2}), Bin(0xA4, Fill(5000))})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& sink = demux.AddSink(1);
  ASSERT_EQ(demux.Seek(kMillisecond), S_OK);  // the thread that searches is there from now on
  FailAllocation(1);
  EXPECT_EQ(demux.Seek(5000000, 9000000), S_OK);
  FailAllocation(0);
  EXPECT_EQ(PositionsOf(demux.Filter()), (Range{0, 9000000}));
  demux.PlayToEnd();
  EXPECT_EQ(sink.SampleCount(), 2u);
}

TEST_F(SeekingTest, APinsSeekMovesAllPins) {
  Demux demux(MediaFile(1000, {AudioTrack(1), AudioTrack(2)},
                        {{0, {SimpleBlock(1, 0, kKey, {1}), SimpleBlock(2, 0, kKey, {2})}},
                         {500, {SimpleBlock(1, 0, kKey, {3}), SimpleBlock(2, 0, kKey, {4})}}}));
  ASSERT_EQ(demux.Connect(), S_OK);
  FakeSink& first = demux.AddSink(1);
  FakeSink& second = demux.AddSink(2);
  ASSERT_EQ(Set(*demux.Pin(2), 5000000, kAbsolute, 0, kNone), S_OK);
  EXPECT_EQ(PositionsOf(*demux.Pin(1)), (Range{5000000, 10000000}));
  demux.PlayToEnd();
  ASSERT_EQ(first.SampleCount(), 1u);
  EXPECT_EQ(first.Samples()[0].bytes, (Raw{3}));
  ASSERT_EQ(second.SampleCount(), 1u);
  EXPECT_EQ(second.Samples()[0].bytes, (Raw{4}));
}

}  // namespace
}  // namespace vantor::test
