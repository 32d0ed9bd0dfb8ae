// An AVC track that is described by a file beside the media file, from the file to the samples.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/graph.h"
#include "support/demux_harness.h"
#include "support/temporary_folder.h"

namespace vantor::test {
namespace {

WideString PathOf(const TemporaryFolder& folder, const std::string& name) { return (folder / name).string<WCHAR>(); }

class Payloads final : public SampleListener {
 public:
  HRESULT OnSample(IMediaSample* sample) noexcept override {
    BYTE* data = nullptr;
    if (SUCCEEDED(sample->GetPointer(&data))) all.emplace_back(data, data + sample->GetActualDataLength());
    return S_OK;
  }
  std::vector<Raw> all;
};

class StreamDescriptionTest : public DemuxTest {};

const Raw kAnnexBFrame{0, 0, 0, 1, 0x65, 0xAA, 0xBB, 0, 0, 0, 1, 0x65, 0xCC};

Raw AvcFileWithoutConfiguration() {
  return MediaFile(100, {Track(1, 1, "V_MPEG4/ISO/AVC", {Video(16, 16), Str(0x536E, "Main")})},
                   {{0, {SimpleBlock(1, 0, kKey, kAnnexBFrame), SimpleBlock(1, 40, 0, kAnnexBFrame)}}});
}

// Plays the file, which is to have so many output pins, and gives what comes, sample by sample.
std::vector<Raw> PlayAll(const Raw& file, const WideString& path, std::size_t pins) {
  HRESULT result = S_OK;
  const ComPtr<IBaseFilter> filter(static_cast<CVXMkvDmx*>(CVXMkvDmx::CreateInstance(nullptr, &result)));
  Graph graph;
  EXPECT_EQ(graph.Adopt(filter.Get()), S_OK);
  EXPECT_EQ(graph.ConnectInput(MakeMemoryStore(file), path), S_OK);
  EXPECT_EQ(graph.Pins().size(), pins);
  const auto listener = std::make_shared<Payloads>();
  EXPECT_EQ(graph.ConnectSinks([&](const GraphPin&) { return listener; }), S_OK);
  EXPECT_EQ(graph.Run(), S_OK);
  EXPECT_EQ(graph.Wait(), WaitResult::kEnded);
  EXPECT_EQ(graph.Stop(), S_OK);
  graph.Close();
  return listener->all;
}

std::vector<Raw> Play(const WideString& path, std::size_t pins) {
  return PlayAll(AvcFileWithoutConfiguration(), path, pins);
}

TEST_F(StreamDescriptionTest, GivesTheTrackAPinAndItsFramesLengthsInPlaceOfStartCodes) {
  const TemporaryFolder folder;
  folder.Write("movie.conf", "[Stream.Main]\r\nCodecData=AAAAAWdkACgRAAAAAWjuPIA=\r\n");
  const Raw converted{0, 0, 0, 3, 0x65, 0xAA, 0xBB, 0, 0, 0, 2, 0x65, 0xCC};
  EXPECT_EQ(Play(PathOf(folder, "movie.mkv"), 1), (std::vector<Raw>{converted, converted}));
}

TEST_F(StreamDescriptionTest, IsNotNeededWhereTheFirstFrameTellsAndTheSamplesStayAsTheyAre) {
  const Raw first{0, 0, 0, 1, 0x67, 0x64, 0, 0x28, 0x11, 0, 0, 0, 1, 0x68, 0xEE, 0x3C, 0x80, 0, 0, 0, 1, 0x65, 0xAA};
  const Raw file = MediaFile(100, {Track(1, 1, "V_MPEG4/ISO/AVC", {Video(16, 16), Str(0x536E, "Main")})},
                             {{0, {SimpleBlock(1, 0, kKey, first), SimpleBlock(1, 40, 0, kAnnexBFrame)}}});
  const TemporaryFolder folder;
  folder.Write("movie.conf", "[Stream.Main]\r\nCodecData=AAAAAWdkACgRAAAAAWjuPIA=\r\n");
  EXPECT_EQ(PlayAll(file, PathOf(folder, "movie.mkv"), 1), (std::vector<Raw>{first, kAnnexBFrame}));
}

TEST_F(StreamDescriptionTest, IsLookedForUnderTheTracksName) {
  const TemporaryFolder folder;
  folder.Write("movie.conf", "[Stream.Other]\r\nCodecData=AAAAAWdkACgRAAAAAWjuPIA=\r\n");
  EXPECT_TRUE(Play(PathOf(folder, "movie.mkv"), 0).empty());
}

TEST_F(StreamDescriptionTest, MayBeMissing) {
  const TemporaryFolder folder;
  EXPECT_TRUE(Play(PathOf(folder, "movie.mkv"), 0).empty());
}

}  // namespace
}  // namespace vantor::test
