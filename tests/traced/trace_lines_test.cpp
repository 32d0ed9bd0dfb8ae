// What the filter writes to the trace log of a build that traces.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "diag/result_names.h"
#include "diag/trace.h"
#include "parser/tolerance_notes.h"
#include "support/demux_harness.h"
#include "traced/process_trace.h"

namespace vantor::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

static_assert((kTraceFlags & (kTraceFormatted | kTraceToFile)) == (kTraceFormatted | kTraceToFile));

class TraceLinesTest : public DemuxTest {
 protected:
  std::string Traced() const { return trace_.Content(); }

  static Raw FileWith(const Raw& track) { return MediaFile(100, {track}, {{0, {SimpleBlock(1, 0, kKey, {1})}}}); }
  static Raw AacTrack() { return AudioTrack(1, "A_AAC", {CodecPrivate({0x11, 0x90})}); }

  void Refuse(const ComPtr<FakeSink>& sink) {
    Demux demux(FileWith(AacTrack()));
    ASSERT_EQ(demux.Connect(), S_OK);
    EXPECT_EQ(demux.Pin(1)->CompleteConnect(sink->Pin()), E_FAIL);
    EXPECT_THAT(Traced(), EndsWith(": CVXMkvDmxOutputPin::CompleteConnect: Reject Microsoft DVD Audio Decoder!"));
  }

  ProcessTrace trace_;
};

TEST_F(TraceLinesTest, TheRefusedDecoderIsTraced) {
  const auto sink = FakeSink::Create();
  sink->filterName = OLESTR("Microsoft DTV-DVD Audio Decoder");
  Refuse(sink);
}

TEST_F(TraceLinesTest, APinThatCannotTellItsFilterIsTracedAsTheRefusedDecoder) {
  const auto sink = FakeSink::Create();
  sink->pinInfoResult = E_OUTOFMEMORY;
  Refuse(sink);
}

TEST_F(TraceLinesTest, WhatComesOfConnectingAPinIsTracedByItsName) {
  Demux demux(FileWith(AacTrack()));
  ASSERT_EQ(demux.Connect(), S_OK);
  demux.AddSink(1);
  EXPECT_THAT(Traced(), EndsWith(": CBaseOutputPin::CompleteConnect returned S_OK"));
  EXPECT_THAT(Traced(), Not(HasSubstr("Reject")));
}

TEST_F(TraceLinesTest, AConnectionThatFailsIsTracedByItsName) {
  Demux demux(FileWith(AacTrack()));
  ASSERT_EQ(demux.Connect(), S_OK);
  const auto sink = FakeSink::Create();
  sink->notifyAllocatorResult = VFW_E_WRONG_STATE;
  EXPECT_TRUE(FAILED(demux.ConnectSink(1, sink)));
  EXPECT_THAT(Traced(), HasSubstr(": CBaseOutputPin::CompleteConnect returned VFW_E_WRONG_STATE"));
}

TEST_F(TraceLinesTest, WhatTheParserToleratedIsTraced) {
  Demux demux(
      MkvFile({Info(), Tracks({AudioTrack(1)}), Raw{0x00, 0x01, 0x02}, Cluster(0, {SimpleBlock(1, 0, kKey, {1})}),
               Raw{0x00}, Cluster(9, {SimpleBlock(1, 0, kKey, {2})})}));
  ASSERT_EQ(demux.Connect(), S_OK);
  EXPECT_THAT(Traced(), HasSubstr(": Tolerated at "));
  EXPECT_THAT(Traced(), HasSubstr(std::string("3 bytes: ") + ToleratedText(Tolerated::kDamageSkipped)));
}

TEST_F(TraceLinesTest, TheErrorsThatTheGraphIsToldOfAreTraced) {
  const auto filter = Demux::NewFilter();
  filter->SharedPlayback().NotifyGraph(EC_ERRORABORT, E_OUTOFMEMORY, 0);
  char expected[100];
  std::snprintf(expected, sizeof expected, ": ### NotifyGraphOfError(%p, Vantor MKV Demultiplexer): hr=E_OUTOFMEMORY",
                static_cast<void*>(filter.Get()));
  const std::string traced = Traced();
  EXPECT_THAT(traced, HasSubstr("\r\n\r\n"));
  EXPECT_THAT(traced, EndsWith(std::string(expected) + "\r\n"));
}

}  // namespace
}  // namespace vantor::test
