#include <gtest/gtest.h>

#include "tools/forms/av1_units.h"
#include "tools/forms/raw_writer.h"
#include "tools/track_form_types.h"

namespace vantor::tools {
namespace {

const GUID kAvc = SubtypeOf(FourCc("AVC1"));
constexpr std::uint32_t kHevc = FourCc("hev1");

TEST(AnnexBWriter, PutsStartCodesInPlaceOfLengthsAndSetsInFront) {
  const ByteList sets = {0, 3, 0x67, 1, 2, 0, 2, 0x68, 3};
  const ByteList written =
      WrittenOf(Mpeg2Type(kAvc, sets, 4), {{0, 0, 0, 2, 0x65, 9, 0, 0, 0, 1, 0x06}, {0, 0, 0, 1, 0x41}});
  EXPECT_EQ(written, (ByteList{0, 0, 0, 1, 0x67, 1, 2, 0, 0, 0, 1,    0x68, 3,  //
                               0, 0, 0, 1, 0x65, 9, 0, 0, 0, 1, 0x06, 0,    0, 0, 1, 0x41}));
}

TEST(AnnexBWriter, ReadsLengthsOfEverySize) {
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 1), {{2, 0x65, 9, 1, 0x41}}),
            (ByteList{0, 0, 0, 1, 0x65, 9, 0, 0, 0, 1, 0x41}));
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 2), {{0, 2, 0x65, 9}}), (ByteList{0, 0, 0, 1, 0x65, 9}));
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 3), {{0, 0, 2, 0x65, 9}}), (ByteList{0, 0, 0, 1, 0x65, 9}));
}

TEST(AnnexBWriter, AUnitThatIsCutOffKeepsItsBytes) {
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 4), {{0, 0, 0, 9, 0x65, 1, 2}}), (ByteList{0, 0, 0, 1, 0x65, 1, 2}));
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 4), {{0, 0, 0, 2, 0x65, 9, 0, 0}}), (ByteList{0, 0, 0, 1, 0x65, 9}));
}

TEST(AnnexBWriter, LeavesStartCodesAlone) {
  const ByteList sample = {0, 0, 0, 1, 0x65, 9, 7, 0, 0, 1, 0x41, 5};
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 0), {sample}), sample);
  EXPECT_EQ(WrittenOf(Mpeg2Type(kAvc, {}, 4), {sample}), sample) << "though the type says lengths";
  EXPECT_EQ(WrittenOf(BitmapType(FourCc("H264"), {}), {sample}), sample);
}

TEST(AnnexBWriter, ReadsTheRecordOfAvcBehindABitmapHeader) {
  const ByteList record = {1, 0x42, 0, 30, 0xFD, 0xE1, 0, 2, 0x67, 1, 1, 0, 1, 0x68};
  EXPECT_EQ(WrittenOf(BitmapType(FourCc("avc1"), record), {{0, 1, 0x65}}),
            (ByteList{0, 0, 0, 1, 0x67, 1, 0, 0, 0, 1, 0x68, 0, 0, 0, 1, 0x65}));
}

TEST(AnnexBWriter, ReadsTheArraysOfHevc) {
  ByteList record(23, 0);
  record[0] = 1;
  record[21] = 3;  // lengths of four bytes
  record[22] = 2;
  const ByteList arrays = {0xA0, 0, 1, 0, 2, 0x40, 1, 0xA1, 0, 2, 0, 2, 0x42, 1, 0, 1, 0x43};
  const ByteList whole = Joined({record, arrays});
  EXPECT_EQ(WrittenOf(BitmapType(kHevc, whole), {{0, 0, 0, 2, 0x26, 1}}),
            (ByteList{0, 0, 0, 1, 0x40, 1, 0, 0, 0, 1, 0x42, 1, 0, 0, 0, 1, 0x43, 0, 0, 0, 1, 0x26, 1}));
}

TEST(AnnexBWriter, HasNoFormForARecordThatIsCutShort) {
  EXPECT_FALSE(FormOf(Mpeg2Type(kAvc, {0, 9, 0x67}, 4)));
  EXPECT_FALSE(FormOf(Mpeg2Type(kAvc, {}, 5)));
  EXPECT_FALSE(FormOf(BitmapType(kHevc, {})));
  ByteList record(23, 0);
  record[22] = 1;
  EXPECT_FALSE(FormOf(BitmapType(kHevc, record)));
  EXPECT_FALSE(FormOf(BitmapType(kHevc, Joined({record, {0xA0, 0, 1, 0, 2, 0x40}}))));
  EXPECT_TRUE(FormOf(BitmapType(kHevc, Joined({record, {0xA0, 0, 1, 0, 1, 0x40}}))));
}

TEST(PlainWriter, PutsTheSequenceHeaderInFrontWhereItIsMissing) {
  const ByteList header = {0, 0, 1, 0xB3, 7};
  const ByteList picture = {0, 0, 1, 0x00, 8};
  EXPECT_EQ(WrittenOf(Mpeg2Type(MEDIASUBTYPE_MPEG2_VIDEO, header), {picture, picture}),
            Joined({header, picture, picture}));
  const ByteList own = Joined({header, picture});
  EXPECT_EQ(WrittenOf(Mpeg2Type(MEDIASUBTYPE_MPEG2_VIDEO, header), {own, picture}), Joined({own, picture}));
  EXPECT_EQ(WrittenOf(Mpeg2Type(MEDIASUBTYPE_MPEG2_VIDEO, header), {Joined({picture, header})}),
            Joined({header, picture, header}))
      << "a header behind the picture comes too late";
}

TEST(PlainWriter, KnowsTheLayersOfMpeg4) {
  const GUID mpeg4 = SubtypeOf(FourCc("MP4V"));
  const ByteList header = {0, 0, 1, 0xB0, 1, 0, 0, 1, 0x20, 2};
  const ByteList picture = {0, 0, 1, 0xB6, 8};
  EXPECT_EQ(WrittenOf(Mpeg2Type(mpeg4, header), {picture}), Joined({header, picture}));
  const ByteList own = Joined({{0, 0, 1, 0x2F, 2}, picture});
  EXPECT_EQ(WrittenOf(Mpeg2Type(mpeg4, header), {own}), own);
}

TEST(IvfWriter, TellsSizesTimesAndTheCountOfFrames) {
  const ByteList written = WrittenOf(BitmapType(FourCc("VP90"), {}), {{1, 2, 3}, {4}});
  EXPECT_EQ(written, (ByteList{'D',  'K', 'I', 'F', 0,  0, 32, 0, 'V', 'P', '9', '0', 0x40, 1, 240, 0,  //
                               0xE8, 3,   0,   0,   1,  0, 0,  0, 2,   0,   0,   0,   0,    0, 0,   0,  //
                               3,    0,   0,   0,   0,  0, 0,  0, 0,   0,   0,   0,   1,    2, 3,       //
                               1,    0,   0,   0,   40, 0, 0,  0, 0,   0,   0,   0,   4}));
}

TEST(IvfWriter, ASampleWithoutTimeFollowsTheOneBefore) {
  MemoryOutput out;
  const auto writer = FormOf(BitmapType(FourCc("VP80"), {}))->make(out, nullptr);
  TrackSample sample;
  sample.start = -50'000;
  writer->Write(sample);
  sample.start = 70'000;
  writer->Write(sample);
  sample.start.reset();
  writer->Write(sample);
  ASSERT_EQ(out.bytes.size(), 32U + 3 * 12);
  EXPECT_EQ(out.bytes[32 + 4], 0) << "no time lies before the beginning";
  EXPECT_EQ(out.bytes[44 + 4], 7);
  EXPECT_EQ(out.bytes[56 + 4], 8);
}

TEST(IvfWriter, MakesWholeTemporalUnitsOfAv1) {
  const ByteList record = {0x81, 0, 0, 0, 0x0A, 2, 5, 6};  // a sequence header behind four bytes
  const ByteList frame = {0x32, 1, 7};
  const ByteList written = WrittenOf(BitmapType(FourCc("AV01"), record), {frame, frame});
  const ByteList expected = Joined({{9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x12, 0, 0x0A, 2, 5, 6, 0x32, 1, 7},
                                    {5, 0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 0x12, 0, 0x32, 1, 7}});
  EXPECT_EQ(ByteList(written.begin() + 32, written.end()), expected);
}

TEST(Av1Units, GetSizesAndOneDelimiter) {
  ByteList made;
  MakeTemporalUnit(ByteList{0x12, 0, 0x0A, 1, 5, 0x30, 7, 8}, {}, made);
  EXPECT_EQ(made, (ByteList{0x12, 0, 0x0A, 1, 5, 0x32, 2, 7, 8})) << "the last had none";
  MakeTemporalUnit(ByteList{0x34, 0x08, 7}, {}, made);
  EXPECT_EQ(made, (ByteList{0x12, 0, 0x36, 0x08, 1, 7})) << "with an extension";
  ByteList large(202, 7);
  large[0] = 0x30;
  MakeTemporalUnit(large, {}, made);
  ASSERT_EQ(made.size(), 2 + 3 + 201U);
  EXPECT_EQ(made[2], 0x32);
  EXPECT_EQ(made[3], 0xC9);
  EXPECT_EQ(made[4], 0x01);
}

TEST(Av1Units, WhatIsNoUnitStaysAsItIs) {
  ByteList made;
  MakeTemporalUnit(ByteList{0x32, 9, 7}, {}, made);
  EXPECT_EQ(made, (ByteList{0x12, 0, 0x32, 9, 7}));
  MakeTemporalUnit(ByteList{0x32, 0x80, 0x80}, {}, made);
  EXPECT_EQ(made, (ByteList{0x12, 0, 0x32, 0x80, 0x80}));
  MakeTemporalUnit({}, {}, made);
  EXPECT_EQ(made, (ByteList{0x12, 0}));
  EXPECT_TRUE(HasSequenceHeader(ByteList{0x12, 0, 0x0A, 0}));
  EXPECT_FALSE(HasSequenceHeader(ByteList{0x32, 9, 0x0A}));
}

TEST(TrackForms, AreNoneForCodecsThatHaveNoFileOfTheirOwn) {
  EXPECT_FALSE(FormOf(BitmapType(FourCc("THEO"), {})));
  EXPECT_FALSE(FormOf(BitmapType(FourCc("HFYU"), {})));
  EXPECT_FALSE(FormOf(CMediaType()));
  CMediaType blockless(&MEDIATYPE_Video);
  for (const char* code : {"AVC1", "hev1", "VP90", "AV01", "MP4V"}) {
    const GUID subtype = SubtypeOf(FourCc(code[0], code[1], code[2], code[3]));
    blockless.SetSubtype(&subtype);
    EXPECT_FALSE(FormOf(blockless)) << code;
  }
}

TEST(RawWriter, IndexesWhatItWrites) {
  const CMediaType type = BitmapType(FourCc("THEO"), {1});
  const TrackForm form = RawFormOf(type);
  EXPECT_EQ(form.extension, "bin");
  EXPECT_EQ(form.companion, "json");
  MemoryOutput out;
  MemoryOutput index;
  const auto writer = form.make(out, &index);
  const ByteList payload = {1, 2, 3};
  writer->Write({.payload = payload, .start = 5, .stop = 9, .sync = true});
  writer->Write({.payload = payload});
  writer->Finish();
  EXPECT_EQ(out.bytes, (ByteList{1, 2, 3, 1, 2, 3}));
  const std::string text = index.Text();
  EXPECT_EQ(text.rfind("{\"schema_version\":1,\"media_type\":{\"major\":\"{73646976-", 0), 0U) << text;
  const std::string samples =
      ",\"samples\":[\n"
      "{\"offset\":0,\"size\":3,\"start\":5,\"stop\":9,\"sync\":true},\n"
      "{\"offset\":3,\"size\":3,\"start\":null,\"stop\":null,\"sync\":false}\n"
      "]}\n";
  ASSERT_GE(text.size(), samples.size());
  EXPECT_EQ(text.substr(text.size() - samples.size()), samples);
}

TEST(RawWriter, AnIndexWithoutSamplesIsOne) {
  MemoryOutput out;
  MemoryOutput index;
  RawFormOf(CMediaType()).make(out, &index)->Finish();
  EXPECT_TRUE(index.Text().ends_with(",\"samples\":[\n]}\n")) << index.Text();
}

}  // namespace
}  // namespace vantor::tools
