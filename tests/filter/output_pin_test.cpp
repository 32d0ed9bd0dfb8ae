// An output pin's types and connections.
#include <algorithm>
#include <cstring>
#include <string>

#include <gmock/gmock.h>

#include "published/media_guids.h"
#include "support/allocation_monitor.h"
#include "support/demux_harness.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

class OutputPinTest : public DemuxTest {};

const std::vector<TimedCluster> kOneCluster{{0, {SimpleBlock(1, 0, kKey, {1})}}};
constexpr GUID kSubtypeAvc1 = SubtypeOf(FourCc("AVC1"));

Raw FileWith(const Raw& track) { return MediaFile(100, {track}, kOneCluster); }

Raw AacTrack() { return AudioTrack(1, "A_AAC", {CodecPrivate({0x11, 0x90})}); }
Raw Vorbis2Track() {
  return Track(1, 2, "A_VORBIS2",
               {Audio(48000, 2, {UInt(0x6264, 16)}), CodecPrivate(XiphLace({{1, 2}, {3}, {4, 5, 6}}))});
}
Raw AvcTrack() {
  Raw config{1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 25, 0x67, 0x64, 0, 0x28};
  config.insert(config.end(), 21, 0x11);
  config.insert(config.end(), {1, 0, 4, 0x68, 0xEE, 0x3C, 0x80});
  return Track(1, 1, "V_MPEG4/ISO/AVC", {Video(16, 16), CodecPrivate(config)});
}
Raw HevcTrack() { return Track(1, 1, "V_MPEGH/ISO/HEVC", {Video(16, 16), CodecPrivate({1, 2, 3})}); }

std::vector<CMediaType> TypesOf(Demux& demux) {
  std::vector<CMediaType> types;
  ComPtr<IEnumMediaTypes> enumerator;
  EXPECT_EQ(demux.Pin(1)->EnumMediaTypes(enumerator.Out()), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  while (enumerator->Next(1, &type, nullptr) == S_OK) {
    types.emplace_back(*type);
    DeleteMediaType(type);
  }
  return types;
}

TEST_F(OutputPinTest, RefusesSenselessPositionsAndNulls) {
  Demux demux(FileWith(AudioTrack(1)));
  ASSERT_EQ(demux.Connect(), S_OK);
  CMediaType type;
  EXPECT_EQ(demux.Pin(1)->GetMediaType(-1, &type), E_INVALIDARG);
  EXPECT_EQ(demux.Pin(1)->GetMediaType(0, nullptr), E_INVALIDARG);
  EXPECT_EQ(demux.Pin(1)->GetMediaType(5, nullptr), E_INVALIDARG);
}

TEST_F(OutputPinTest, MostPinsOfferOneType) {
  Demux demux(FileWith(AudioTrack(1)));
  ASSERT_EQ(demux.Connect(), S_OK);
  CMediaType type;
  EXPECT_EQ(demux.Pin(1)->GetMediaType(0, &type), S_OK);
  EXPECT_TRUE(SameGuid(*type.Subtype(), SubtypeOf(0x2000)));
  EXPECT_EQ(demux.Pin(1)->GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(demux.Pin(1)->GetMediaType(2, &type), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(demux.Pin(1)->GetMediaType(INT32_MAX, &type), VFW_S_NO_MORE_ITEMS);
  EXPECT_EQ(TypesOf(demux).size(), 1u);
}

TEST_F(OutputPinTest, TheNewerVorbisOffersTheOlderAsItsSecondType) {
  Demux demux(FileWith(Vorbis2Track()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto types = TypesOf(demux);
  ASSERT_EQ(types.size(), 2u);
  EXPECT_TRUE(SameGuid(*types[0].Subtype(), kSubtypeVorbis2));
  EXPECT_TRUE(SameGuid(*types[1].Type(), MEDIATYPE_Audio));
  EXPECT_TRUE(SameGuid(*types[1].Subtype(), kSubtypeVorbis));
  EXPECT_TRUE(SameGuid(*types[1].FormatType(), kFormatVorbis));
  ASSERT_EQ(types[1].FormatLength(), 24u);
  std::uint32_t fields[6] = {};
  std::memcpy(fields, types[1].Format(), sizeof(fields));
  const std::uint32_t bits = 48000 * 16;  // channels take no part
  EXPECT_THAT(std::vector<std::uint32_t>(fields, fields + 6), testing::ElementsAre(2u, 48000u, bits, bits, bits, 0u));
  CMediaType type;
  EXPECT_EQ(demux.Pin(1)->GetMediaType(2, &type), VFW_S_NO_MORE_ITEMS);
}

TEST_F(OutputPinTest, AvcOffersItsParameterSetsWithStartCodesAsItsSecondType) {
  Demux demux(FileWith(AvcTrack()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto types = TypesOf(demux);
  ASSERT_EQ(types.size(), 2u);
  EXPECT_TRUE(SameGuid(*types[1].FormatType(), FORMAT_VideoInfo));
  EXPECT_TRUE(SameGuid(*types[1].Subtype(), kSubtypeAvc1));
  VIDEOINFOHEADER header;
  ASSERT_GT(types[1].FormatLength(), sizeof(header));
  std::memcpy(&header, types[1].Format(), sizeof(header));
  EXPECT_EQ(header.bmiHeader.biSize, 40u + (2 + 25) + (2 + 4) + 2);
  const BYTE* const extra = types[1].Format() + sizeof(header);
  EXPECT_EQ(Raw(extra, extra + 4), (Raw{0, 0, 1, 0x67}));
  EXPECT_EQ(types[1].FormatLength(), sizeof(header) - 40 + header.bmiHeader.biSize);
}

TEST_F(OutputPinTest, ASecondTypeThatFindsNoMemoryIsReportedAndDoesNotCutTheListShort) {
  if (!WatchesAllocations()) GTEST_SKIP();
  Demux demux(FileWith(AvcTrack()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto pin = demux.Pin(1);
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(pin->EnumMediaTypes(types.Out()), S_OK);
  AM_MEDIA_TYPE* two[2] = {};
  ULONG count = 0;
  std::uint64_t failures = 0;
  for (HRESULT listed = E_FAIL; listed != S_OK; ++failures) {
    SCOPED_TRACE("allocation " + std::to_string(failures + 1));
    CMediaType type;
    FailAllocation(failures + 1);
    const HRESULT built = pin->GetMediaType(1, &type);
    FailAllocation(failures + 1);
    listed = types->Next(2, two, &count);
    FailAllocation(0);
    EXPECT_EQ(built, listed);
    EXPECT_EQ(type.IsValid() != FALSE, built == S_OK);
    if (listed == S_OK) break;
    ASSERT_EQ(listed, E_OUTOFMEMORY);
    EXPECT_EQ(count, 0u) << "the first type is not given out without the second";
  }
  EXPECT_GT(failures, 0u);
  ASSERT_EQ(count, 2u);
  for (AM_MEDIA_TYPE* type : two) DeleteMediaType(type);
}

TEST_F(OutputPinTest, AcceptsItsOwnTypesWhateverTheirBlocks) {
  for (const Raw& track : {AudioTrack(1), Vorbis2Track(), AvcTrack(), HevcTrack(), SubtitleTrack(1)}) {
    Demux demux(FileWith(track));
    ASSERT_EQ(demux.Connect(), S_OK);
    for (CMediaType& type : TypesOf(demux)) {
      EXPECT_EQ(demux.Pin(1)->CheckMediaType(&type), S_OK);
      type.ResetFormatBuffer();
      EXPECT_EQ(demux.Pin(1)->CheckMediaType(&type), S_OK);
    }
  }
}

// What a pin answers to its own first type with some identifiers replaced.
HRESULT AnswerTo(const Raw& track, const GUID* major, const GUID* subtype, const GUID* format) {
  Demux demux(FileWith(track));
  EXPECT_EQ(demux.Connect(), S_OK);
  CMediaType type;
  EXPECT_EQ(demux.Pin(1)->GetMediaType(0, &type), S_OK);
  if (major != nullptr) type.SetType(major);
  if (subtype != nullptr) type.SetSubtype(subtype);
  if (format != nullptr) type.SetFormatType(format);
  return demux.Pin(1)->CheckMediaType(&type);
}

TEST_F(OutputPinTest, TakesTheVideoFormatsForEachOther) {
  EXPECT_EQ(AnswerTo(AvcTrack(), nullptr, nullptr, &FORMAT_VideoInfo), S_OK) << "MPEG2 offered, older proposed";
  EXPECT_EQ(AnswerTo(HevcTrack(), nullptr, nullptr, &FORMAT_VideoInfo), S_OK) << "newer offered, older proposed";
  EXPECT_EQ(AnswerTo(VideoTrack(1), nullptr, nullptr, &FORMAT_MPEG2Video), S_OK) << "older offered, MPEG2 proposed";
  EXPECT_EQ(AnswerTo(VideoTrack(1), nullptr, nullptr, &FORMAT_VideoInfo2), S_OK) << "older offered, newer proposed";
}

TEST_F(OutputPinTest, TakesNoFormatForAnyOther) {
  EXPECT_EQ(AnswerTo(AvcTrack(), nullptr, nullptr, &FORMAT_VideoInfo2), S_FALSE);
  EXPECT_EQ(AnswerTo(HevcTrack(), nullptr, nullptr, &FORMAT_MPEG2Video), S_FALSE);
  EXPECT_EQ(AnswerTo(VideoTrack(1), nullptr, nullptr, &FORMAT_MPEGVideo), S_FALSE);
  EXPECT_EQ(AnswerTo(AudioTrack(1), nullptr, nullptr, &FORMAT_None), S_FALSE);
  EXPECT_EQ(AnswerTo(AudioTrack(1), nullptr, nullptr, &FORMAT_VideoInfo), S_FALSE) << "neither for the newer";
}

TEST_F(OutputPinTest, TakesNoOtherMajorTypeOrSubtype) {
  EXPECT_EQ(AnswerTo(AudioTrack(1), &MEDIATYPE_Video, nullptr, nullptr), S_FALSE);
  EXPECT_EQ(AnswerTo(AudioTrack(1), nullptr, &GUID_NULL, nullptr), S_FALSE);
  EXPECT_EQ(AnswerTo(AvcTrack(), nullptr, &GUID_NULL, &FORMAT_VideoInfo), S_FALSE);
  EXPECT_EQ(AnswerTo(AvcTrack(), &MEDIATYPE_Audio, nullptr, &FORMAT_VideoInfo), S_FALSE);
}

TEST_F(OutputPinTest, TheNewerVorbisTakesTheOlderWhateverTheFormat) {
  EXPECT_EQ(AnswerTo(Vorbis2Track(), nullptr, &kSubtypeVorbis, &FORMAT_None), S_OK);
  EXPECT_EQ(AnswerTo(Vorbis2Track(), &MEDIATYPE_Video, &kSubtypeVorbis, nullptr), S_FALSE);
  const Raw older = AudioTrack(1, "A_VORBIS", {CodecPrivate(XiphLace({{1}, {2}, {3}}))});
  EXPECT_EQ(AnswerTo(older, nullptr, &kSubtypeVorbis2, nullptr), S_FALSE) << "not the other way round";
  EXPECT_EQ(AnswerTo(AudioTrack(1), nullptr, &kSubtypeVorbis, nullptr), S_FALSE) << "nor anything else";
}

TEST_F(OutputPinTest, AnswersQueryAccept) {
  Demux demux(FileWith(AudioTrack(1)));
  ASSERT_EQ(demux.Connect(), S_OK);
  CMediaType type;
  ASSERT_EQ(demux.Pin(1)->GetMediaType(0, &type), S_OK);
  EXPECT_EQ(demux.Pin(1)->QueryAccept(&type), S_OK);
  type.SetSubtype(&GUID_NULL);
  EXPECT_EQ(demux.Pin(1)->QueryAccept(&type), S_FALSE);
  EXPECT_EQ(demux.Pin(1)->QueryAccept(nullptr), E_POINTER);
}

TEST_F(OutputPinTest, AsksForExactlyTwoBuffers) {
  Demux demux(FileWith(VideoTrack(1, 20, 10)));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto allocator = FakeAllocator::Create();
  ALLOCATOR_PROPERTIES seen = {};
  allocator->onSetProperties = [&](ALLOCATOR_PROPERTIES& request) { return seen = request, S_OK; };
  ALLOCATOR_PROPERTIES request = {7, 7, 8, 9};
  EXPECT_EQ(demux.Pin(1)->DecideBufferSize(allocator.Get(), &request), S_OK);
  EXPECT_EQ(seen.cBuffers, 2);
  EXPECT_EQ(seen.cbBuffer, 800);
  EXPECT_EQ(seen.cbAlign, 1);
  EXPECT_EQ(seen.cbPrefix, 0);
  allocator->onSetProperties = [](ALLOCATOR_PROPERTIES&) { return VFW_E_BADALIGN; };
  EXPECT_EQ(demux.Pin(1)->DecideBufferSize(allocator.Get(), &request), VFW_E_BADALIGN);
}

TEST_F(OutputPinTest, AsksForNoLargerBufferThanAFrameMayNeed) {
  constexpr LONG kMost = 256 << 20;
  const struct {
    std::uint64_t width;
    std::uint64_t height;
    LONG size;
  } kCases[] = {{0, 0, 1}, {65536, 65536, 1}, {32768, 16384, kMost}, {30000, 30000, kMost}, {16, 0xFFFFFFF0, kMost},
                {1, 1, 4}};
  for (const auto& item : kCases) {
    Demux demux(FileWith(VideoTrack(1, item.width, item.height)));
    ASSERT_EQ(demux.Connect(), S_OK);
    ALLOCATOR_PROPERTIES request = {};
    const auto allocator = FakeAllocator::Create();
    EXPECT_EQ(demux.Pin(1)->DecideBufferSize(allocator.Get(), &request), S_OK);
    EXPECT_EQ(request.cbBuffer, item.size) << item.width << " times " << item.height;
  }
}

// ---- The refused decoder ----

HRESULT ConnectAac(const ComPtr<FakeSink>& sink, const Raw& track = AacTrack()) {
  Demux demux(FileWith(track));
  EXPECT_EQ(demux.Connect(), S_OK);
  const HRESULT result = demux.ConnectSink(1, sink);
  ComPtr<IPin> peer;
  EXPECT_EQ(demux.Pin(1)->ConnectedTo(peer.Out()), SUCCEEDED(result) ? S_OK : VFW_E_NOT_CONNECTED);
  peer.Reset();
  EXPECT_EQ(sink->Pin()->ConnectedTo(peer.Out()), SUCCEEDED(result) ? S_OK : VFW_E_NOT_CONNECTED);
  return result;
}

ComPtr<FakeSink> SinkNamed(const WideString& name) {
  auto sink = FakeSink::Create();
  sink->filterName = name;
  return sink;
}

TEST_F(OutputPinTest, RawAacRefusesTheOneDecoderThatCannotTakeIt) {
  EXPECT_TRUE(FAILED(ConnectAac(SinkNamed(OLESTR("Microsoft DTV-DVD Audio Decoder")))));
}

TEST_F(OutputPinTest, TheRefusalIsAnEFailOfTheStep) {
  Demux demux(FileWith(AacTrack()));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_EQ(demux.Pin(1)->CompleteConnect(SinkNamed(OLESTR("Microsoft DTV-DVD Audio Decoder"))->Pin()), E_FAIL);
}

TEST_F(OutputPinTest, RawAacTakesDecodersOfAnyOtherName) {
  for (const WCHAR* name :
       {OLESTR("Microsoft DTV-DVD Audio Decoder "), OLESTR("microsoft DTV-DVD Audio Decoder"),
        OLESTR("Microsoft DTV-DVD Audio"), OLESTR(" Microsoft DTV-DVD Audio Decoder"), OLESTR("")}) {
    EXPECT_EQ(ConnectAac(SinkNamed(name)), S_OK) << Narrow(name);
  }
  EXPECT_EQ(ConnectAac(SinkNamed(WideString(300, 'x'))), S_OK);
}

TEST_F(OutputPinTest, RawAacRefusesAPinThatCannotTellItsFilter) {
  const auto sink = FakeSink::Create();
  sink->pinInfoResult = E_OUTOFMEMORY;
  EXPECT_TRUE(FAILED(ConnectAac(sink)));
}

TEST_F(OutputPinTest, RawAacTakesAPinWithoutAFilterAndAFilterWithoutAName) {
  const auto orphan = FakeSink::Create();
  orphan->pinHasFilter = false;
  EXPECT_EQ(ConnectAac(orphan), S_OK);
  const auto silent = FakeSink::Create();
  silent->filterInfoResult = E_FAIL;
  EXPECT_EQ(ConnectAac(silent), S_OK);
}

TEST_F(OutputPinTest, OtherAudioTakesThatDecoderToo) {
  EXPECT_EQ(ConnectAac(SinkNamed(OLESTR("Microsoft DTV-DVD Audio Decoder")), AudioTrack(1)), S_OK);
}

// ---- Connecting ----

TEST_F(OutputPinTest, DuringThePeersConnectionItAlreadyAnswers) {
  Demux demux(FileWith(AudioTrack(1)));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  int asked = 0;
  sink->onConnect = [&](IPin* connector) {
    ++asked;
    ComPtr<IPin> peer;
    EXPECT_EQ(connector->ConnectedTo(peer.Out()), S_OK);
    EXPECT_EQ(peer.Get(), static_cast<IPin*>(sink->Pin()));
    CMediaType type;
    EXPECT_EQ(connector->ConnectionMediaType(&type), S_OK);
    EXPECT_TRUE(SameGuid(*type.Type(), MEDIATYPE_Audio));
    return S_OK;
  };
  demux.AddSink(1, sink);
  EXPECT_EQ(asked, 1);
}

TEST_F(OutputPinTest, AFailedConnectionIsUndoneOnBothSides) {
  for (const int failing : {0, 1, 2}) {
    const auto sink = FakeSink::Create();
    if (failing == 0) sink->checkType = [](const CMediaType&) { return S_FALSE; };
    if (failing == 1) sink->onConnect = [](IPin*) { return E_ACCESSDENIED; };
    if (failing == 2) sink->notifyAllocatorResult = E_FAIL;
    EXPECT_TRUE(FAILED(ConnectAac(sink, AudioTrack(1)))) << failing;
  }
}

TEST_F(OutputPinTest, ConnectsWithItsSecondTypeToAPinThatTakesNoOther) {
  Demux demux(FileWith(AvcTrack()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->checkType = [](const CMediaType& type) {
    return SameGuid(*type.FormatType(), FORMAT_VideoInfo) ? S_OK : S_FALSE;
  };
  demux.AddSink(1, sink);
  CMediaType type;
  ASSERT_EQ(demux.Pin(1)->ConnectionMediaType(&type), S_OK);
  EXPECT_TRUE(SameGuid(*type.FormatType(), FORMAT_VideoInfo));
}

TEST_F(OutputPinTest, TakesItsPeersAllocatorOrItsOwn) {
  for (const bool refuses : {false, true}) {
    Demux demux(FileWith(AudioTrack(1)));
    ASSERT_EQ(demux.Connect(), S_OK);
    const auto sink = FakeSink::Create();
    const auto allocator = FakeAllocator::GivenTo(*sink);
    if (refuses) allocator->onSetProperties = [](ALLOCATOR_PROPERTIES&) { return E_FAIL; };
    demux.AddSink(1, sink);
    EXPECT_EQ(sink->Agreed().Get() == static_cast<IMemAllocator*>(allocator.Get()), !refuses);
  }
}

}  // namespace
}  // namespace vantor::test
