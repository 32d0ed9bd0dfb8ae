// Which tracks get a pin, in which order, under which name; fonts and the frame time.
#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "parser/file_root.h"
#include "platform/result.h"
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"

namespace vantor::test {
namespace {

class PinCreationTest : public DemuxTest {};

const std::vector<TimedCluster> kOneKeyCluster{{0, {SimpleBlock(1, 0, kKey, {1})}}};

std::vector<std::string> NamesFor(const std::vector<Raw>& tracks) {
  Demux demux(MediaFile(100, tracks, kOneKeyCluster));
  EXPECT_EQ(demux.Connect(), S_OK);
  return demux.OutputNames();
}

using Names = std::vector<std::string>;

TEST_F(PinCreationTest, VideoComesFirstThenAudioThenSubtitles) {
  EXPECT_EQ(NamesFor({SubtitleTrack(1), AudioTrack(2), VideoTrack(3)}),
            (Names{"VP8 video 1", "AC3 audio 1", "~ subtitle 1"}));
}

TEST_F(PinCreationTest, OnlyTheFirstPinOfATypeIsUnmarked) {
  EXPECT_EQ(NamesFor({VideoTrack(1), Track(2, 1, "V_VP9", {Video(16, 16)}), AudioTrack(3), AudioTrack(4, "A_MPEG/L3")}),
            (Names{"VP8 video 1", "~VP9 video 2", "AC3 audio 1", "~MP3 audio 2"}));
}

TEST_F(PinCreationTest, AvcAndHevcAreNamedInFileOrder) {
  const Raw avcConfig{1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 4, 0x67, 0x64, 0, 0x28, 1, 0, 2, 0x68, 0xEE};
  EXPECT_EQ(NamesFor({Track(1, 1, "V_MPEG4/ISO/AVC", {Video(16, 16), CodecPrivate(avcConfig)}),
                      Track(2, 1, "V_MPEGH/ISO/HEVC", {Video(16, 16), CodecPrivate({1, 2, 3})})}),
            (Names{"AVC video 1", "~HEVC video 2"}));
}

TEST_F(PinCreationTest, DtsComesBehindAllOtherAudio) {
  EXPECT_EQ(NamesFor({AudioTrack(1, "A_DTS"), AudioTrack(2, "A_AC3")}), (Names{"AC3 audio 1", "~DTS audio 2"}));
  EXPECT_EQ(NamesFor({AudioTrack(1, "A_AC3"), AudioTrack(2, "A_DTS")}), (Names{"AC3 audio 1", "~DTS audio 2"}));
  EXPECT_EQ(NamesFor({AudioTrack(1, "A_DTS"), AudioTrack(2, "A_AC3"), AudioTrack(3, "A_DTS"), AudioTrack(4, "A_TTA1")}),
            (Names{"AC3 audio 1", "~TTA audio 2", "~DTS audio 3", "~DTS audio 4"}));
}

TEST_F(PinCreationTest, DtsAloneIsUnmarked) { EXPECT_EQ(NamesFor({AudioTrack(1, "A_DTS")}), (Names{"DTS audio 1"})); }

TEST_F(PinCreationTest, OnlyTheExactDtsIdentifierIsHeldBack) {
  // Neither of these is DTS, nor anything that is known.
  EXPECT_EQ(NamesFor({AudioTrack(1, "A_DTS/EXPRESS"), AudioTrack(2, std::string_view("A_DTS\0", 6))}), Names{});
}

TEST_F(PinCreationTest, EverySubtitlePinIsMarked) {
  EXPECT_EQ(NamesFor({SubtitleTrack(1, "S_TEXT/UTF8", {Str(0x22B59C, "eng")}),
                      SubtitleTrack(2, "S_TEXT/ASS", {Str(0x22B59C, "ger")})}),
            (Names{"~eng subtitle 1", "~ger subtitle 2"}));
}

TEST_F(PinCreationTest, ASubtitleWithoutLanguageHasAnEmptyLabel) {
  EXPECT_EQ(NamesFor({SubtitleTrack(1)}), (Names{"~ subtitle 1"}));
}

TEST_F(PinCreationTest, ALanguageLongerThanSevenCharactersIsCutInTheName) {
  EXPECT_EQ(NamesFor({SubtitleTrack(1, "S_TEXT/UTF8", {Str(0x22B59C, "esperanto")})}), (Names{"~esperan subtitle 1"}));
}

TEST_F(PinCreationTest, AnUnknownSubtitleStillGetsAPin) {
  EXPECT_EQ(NamesFor({SubtitleTrack(1, "S_HDMV/PGS")}), (Names{"~ subtitle 1"}));
}

TEST_F(PinCreationTest, OtherKindsOfTracksGetNoPin) {
  std::vector<Raw> tracks;
  for (const std::uint64_t type : {0, 3, 16, 18, 32, 33}) {
    tracks.push_back(Track(type + 1, type, "V_VP8", {Video(16, 16)}));
  }
  EXPECT_EQ(NamesFor(tracks), Names{});
}

TEST_F(PinCreationTest, UnknownCodecsGetNoPinAndNoNumber) {
  EXPECT_EQ(
      NamesFor({Track(1, 1, "V_UNKNOWN", {Video(16, 16)}), VideoTrack(2), AudioTrack(3, "A_EAC3"), AudioTrack(4)}),
      (Names{"VP8 video 1", "AC3 audio 1"}));
}

TEST_F(PinCreationTest, TracksWithEncodedPrivateDataGetNoPin) {
  const auto encoded = [](const std::vector<Raw>& children) { return Master(0x6D80, {Master(0x6240, children)}); };
  const Raw stripped = encoded({UInt(0x5032, 2), Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, {1})})});
  const Raw encrypted = encoded({UInt(0x5032, 3), UInt(0x5033, 1)});
  const Raw framesOnly = encoded({UInt(0x5032, 1), Master(0x5034, {UInt(0x4254, 3), Bin(0x4255, {1})})});
  EXPECT_EQ(NamesFor({VideoTrack(1, 16, 16, {stripped}), AudioTrack(2, "A_AC3", {encrypted}),
                      SubtitleTrack(3, "S_TEXT/UTF8", {stripped}), AudioTrack(4, "A_AC3", {framesOnly})}),
            (Names{"AC3 audio 1"}));
}

TEST_F(PinCreationTest, EveryTracksElementIsLookedThroughInEachPass) {
  Demux demux(MkvFile({Info(), Tracks({AudioTrack(1), VideoTrack(2)}), Tracks({VideoTrack(3), AudioTrack(4)}),
                       Cluster(0, {SimpleBlock(1, 0, kKey, {1})})}));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.OutputNames(), (Names{"VP8 video 1", "~VP8 video 2", "AC3 audio 1", "~AC3 audio 2"}));
}

TEST_F(PinCreationTest, BufferSizesFollowThePictureAndTheKind) {
  Demux demux(MediaFile(100, {VideoTrack(1, 20, 10), AudioTrack(2), SubtitleTrack(3)}, kOneKeyCluster));
  ASSERT_EQ(demux.Connect(), S_OK);
  for (const auto& [pin, size] : std::vector<std::pair<int, LONG>>{{1, 800}, {2, 256000}, {3, 256000}}) {
    FakeSink& sink = demux.AddSink(pin);
    ALLOCATOR_PROPERTIES agreed = {};
    ASSERT_EQ(sink.Agreed()->GetProperties(&agreed), S_OK);
    EXPECT_EQ(agreed.cBuffers, 2);
    EXPECT_EQ(agreed.cbBuffer, size);
  }
}

TEST_F(PinCreationTest, AFailedBuilderEndsTheConnectionWithItsResult) {
  // The lacing of the Vorbis headers runs past the private data; the video pin before it goes as well.
  Demux demux(
      MediaFile(100, {VideoTrack(1), AudioTrack(2, "A_VORBIS", {CodecPrivate({2, 255, 255})})}, kOneKeyCluster));
  EXPECT_EQ(demux.Connect(), E_INVALIDARG);
  EXPECT_EQ(demux.Filter().GetPinCount(), 1);
  EXPECT_EQ(demux.Filter().IsFormatSupported(&TIME_FORMAT_FRAME), S_FALSE);
}

TEST_F(PinCreationTest, PinsMadeBeforeAFailureStay) {
  MemoryReader reader(
      MediaFile(100, {VideoTrack(1), AudioTrack(2, "A_VORBIS", {CodecPrivate({2, 255, 255})})}, kOneKeyCluster));
  {
    const auto filter = Demux::NewFilter();
    CMkvFileRoot root(&reader, true);
    ASSERT_EQ(root.Open(), S_OK);
    EXPECT_EQ(Guarded([&] { return filter->BuildOutputPins(root, nullptr); }), E_INVALIDARG);
    EXPECT_EQ(filter->GetPinCount(), 2);
    EXPECT_EQ(NameOf(filter->GetPin(1)), "VP8 video 1");
    filter->RemoveOutputPins();
    EXPECT_EQ(filter->GetPinCount(), 1);
  }
}

TEST_F(PinCreationTest, WithoutAClusterNoPinIsAdded) {
  MemoryReader reader(MkvFile({Info(), Tracks({VideoTrack(1)})}));
  {
    const auto filter = Demux::NewFilter();
    CMkvFileRoot root(&reader, true);
    ASSERT_EQ(root.Open(), S_OK);
    EXPECT_EQ(filter->BuildOutputPins(root, nullptr), E_UNEXPECTED);
    EXPECT_EQ(filter->GetPinCount(), 1);
  }
}

TEST_F(PinCreationTest, APinThatFindsNoMemoryEndsTheBuildingWithThatAndLeavesThoseBeforeIt) {
  if (!WatchesAllocations()) GTEST_SKIP();
  MemoryReader reader(MediaFile(100, {VideoTrack(1), AudioTrack(2), SubtitleTrack(3)}, kOneKeyCluster));
  {
    const auto filter = Demux::NewFilter();
    CMkvFileRoot root(&reader, true);
    ASSERT_EQ(root.Open(), S_OK);
    std::set<int> pinsLeft;
    for (std::uint64_t n = 1;; ++n) {
      FailAllocation(n);
      const HRESULT result = Guarded([&] { return filter->BuildOutputPins(root, nullptr); });
      FailAllocation(0);
      if (result == S_OK) break;
      ASSERT_EQ(result, E_OUTOFMEMORY) << "allocation " << n;
      const int pins = filter->GetPinCount() - 1;
      pinsLeft.insert(pins);
      for (int i = 1; i <= pins; ++i) EXPECT_EQ(filter->GetPin(i)->IsConnected(), false);
    }
    EXPECT_EQ(pinsLeft, (std::set<int>{0, 1, 2}));
    EXPECT_EQ(filter->GetPinCount(), 4);
    EXPECT_EQ(NameOf(filter->GetPin(1)), "VP8 video 1") << "numbers start again with every attempt";
    filter->RemoveOutputPins();
  }
}

// ---- Frame time ----

Raw VideoAt(std::uint64_t number, double rate) {
  return VideoTrack(number, 16, 16, {Video(16, 16, {Float8(0x2383E3, rate)})});
}

std::int64_t FrameTimeOf(const std::vector<Raw>& tracks) {
  Demux demux(MediaFile(100, tracks, kOneKeyCluster));
  EXPECT_EQ(demux.Connect(), S_OK);
  LONGLONG frame = 0;
  const HRESULT result = demux.Filter().ConvertTimeFormat(&frame, &TIME_FORMAT_MEDIA_TIME, 1, &TIME_FORMAT_FRAME);
  return result == S_OK ? frame : -1;
}

TEST_F(PinCreationTest, TheFirstVideoTrackWithAFrameTimeGivesTheFrameFormat) {
  EXPECT_EQ(FrameTimeOf({VideoAt(1, 25)}), 400000);
  EXPECT_EQ(FrameTimeOf({VideoTrack(1), VideoAt(2, 50), VideoAt(3, 25)}), 200000);
  EXPECT_EQ(FrameTimeOf({VideoTrack(1, 16, 16, {UInt(0x23E383, 41708333)})}), 417083);
}

TEST_F(PinCreationTest, EveryVideoFormatBlockGivesAFrameTime) {
  const Raw header(40, 0);
  const auto withDisplay = Video(16, 16, {UInt(0x54B0, 16), UInt(0x54BA, 9)});
  const Raw rate = UInt(0x23E383, 40000000);
  EXPECT_EQ(FrameTimeOf({Track(1, 1, "V_MS/VFW/FOURCC", {withDisplay, rate, CodecPrivate(header)})}), 400000);
  EXPECT_EQ(FrameTimeOf({Track(1, 1, "V_MPEG4/ISO/ASP", {Video(16, 16), rate})}), 400000);
  const Raw mpeg{0, 0, 1, 0xB3, 0x01, 0x00, 0x10, 0x13, 0xFF, 0xFF, 0xE0, 0x18, 0, 0, 1, 0xB8};
  EXPECT_EQ(FrameTimeOf({Track(1, 1, "V_MPEG1", {Video(16, 16), CodecPrivate(mpeg)})}), 400000);
}

TEST_F(PinCreationTest, WithoutVideoThereIsNoFrameFormat) {
  EXPECT_EQ(FrameTimeOf({AudioTrack(1), SubtitleTrack(2)}), -1);
  EXPECT_EQ(FrameTimeOf({VideoTrack(1)}), -1) << "no frame time";
}

// ---- Fonts ----

// A system's fonts and temporary files, as far as an installer can tell.
class FontSystem final : public platform::TemporaryFiles {
 public:
  FontSystem() { current = this; }
  ~FontSystem() override { current = nullptr; }

  bool MakeName(const char* prefix, std::string& name) override {
    name = std::string(prefix) + std::to_string(++made);
    return true;
  }
  bool Write(const std::string& name, const void* data, std::size_t size) override {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    files[name] = Raw(bytes, bytes + size);
    return true;
  }
  bool Delete(const std::string& name) override { return files.erase(name) != 0; }

  platform::FontFunctions Functions() {
    platform::FontFunctions functions;
    functions.AddFontResourceExA = Install;
    functions.RemoveFontResourceExA = Remove;
    return functions;
  }
  void Changed() const {
    if (onChange) onChange();
  }

  static inline FontSystem* current = nullptr;
  int made = 0;
  std::map<std::string, Raw> files;
  std::vector<Raw> added;
  std::set<std::string> installed;
  std::function<void()> onChange;  // inside each installation and each removal

 private:
  static int WINAPI Install(const char* name, DWORD, void*) {
    current->added.push_back(current->files.at(name));
    current->installed.insert(name);
    current->Changed();
    return 1;
  }
  static BOOL WINAPI Remove(const char* name, DWORD, void*) {
    current->Changed();
    return current->installed.erase(name) != 0;
  }
};

ComPtr<CVXMkvDmx> FilterWith(FontSystem& fonts) {
  HRESULT result = S_OK;
  return ComPtr<CVXMkvDmx>(new CVXMkvDmx(nullptr, &result, fonts.Functions(), fonts));
}

Raw FontFile(const std::vector<Raw>& tracks) {
  constexpr std::string_view kTrueType = "application/x-truetype-font";
  return MkvFile({{"seek", [](const Positions& at) { return SeekHead({SeekEntry(0x1941A469, at["fonts"])}); }},
                  Info(),
                  Tracks(tracks),
                  Cluster(0, {SimpleBlock(1, 0, kKey, {1})}),
                  {"fonts", Attachments({Attachment("a.ttf", kTrueType, {1, 2}), Attachment("b.ttf", "font/ttf", {3}),
                                         Attachment("c.ttf", kTrueType, {4})})}});
}

TEST_F(PinCreationTest, FontsAreInstalledOnceForAllSubtitles) {
  FontSystem fonts;
  Demux demux(FontFile({SubtitleTrack(1), SubtitleTrack(2)}), FilterWith(fonts));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(fonts.added, (std::vector<Raw>{{1, 2}, {4}}));
  EXPECT_EQ(fonts.installed.size(), 2u);
}

TEST_F(PinCreationTest, FontsComeRightBeforeTheFirstSubtitlePinAndGoAfterTheLastPin) {
  FontSystem fonts;
  Demux demux(FontFile({SubtitleTrack(1), VideoTrack(2), SubtitleTrack(3), AudioTrack(4)}), FilterWith(fonts));
  std::vector<Names> pinsThen;
  fonts.onChange = [&] { pinsThen.push_back(demux.OutputNames()); };
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(pinsThen, std::vector<Names>(2, {"VP8 video 1", "AC3 audio 1"}));
  EXPECT_EQ(demux.OutputNames().size(), 4u);
  pinsThen.clear();
  ASSERT_EQ(demux.DisconnectInput(), S_OK);
  EXPECT_EQ(pinsThen, std::vector<Names>(2));
}

TEST_F(PinCreationTest, FontsStayOutWithoutSubtitles) {
  FontSystem fonts;
  Demux demux(FontFile({VideoTrack(1), AudioTrack(2)}), FilterWith(fonts));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_TRUE(fonts.added.empty());
}

TEST_F(PinCreationTest, FontsGoWithTheConnection) {
  FontSystem fonts;
  Demux demux(FontFile({SubtitleTrack(1)}), FilterWith(fonts));
  ASSERT_EQ(demux.Connect(), S_OK);
  ASSERT_EQ(demux.DisconnectInput(), S_OK);
  EXPECT_TRUE(fonts.installed.empty());
  EXPECT_TRUE(fonts.files.empty());
}

TEST_F(PinCreationTest, FontsGoWithTheFilter) {
  FontSystem fonts;
  {
    Demux demux(FontFile({SubtitleTrack(1)}), FilterWith(fonts));
    ASSERT_EQ(demux.Connect(), S_OK);
    EXPECT_EQ(fonts.installed.size(), 2u);
  }
  EXPECT_TRUE(fonts.installed.empty());
  EXPECT_TRUE(fonts.files.empty());
}

TEST_F(PinCreationTest, ARebuildInstallsTheFontsAnew) {
  FontSystem fonts;
  Demux demux(FontFile({SubtitleTrack(1)}), FilterWith(fonts));
  ASSERT_EQ(demux.Connect(), S_OK);
  auto* const input = static_cast<CVXMkvDmxInputPin*>(demux.Filter().GetPin(0));
  ASSERT_EQ(demux.Filter().BuildOutputPins(*input->Root(), demux.Source().Pin()), S_OK);
  EXPECT_EQ(fonts.added.size(), 4u);
  EXPECT_EQ(fonts.installed.size(), 2u);
  EXPECT_EQ(fonts.files.size(), 2u);
  EXPECT_EQ(demux.OutputNames(), (Names{"~ subtitle 1"})) << "numbers start again";
}

}  // namespace
}  // namespace vantor::test
