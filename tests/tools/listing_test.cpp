#include "tools/listing.h"

#include <gtest/gtest.h>

#include "tools/log_record.h"

namespace vantor::tools {
namespace {

LogRecord Sample() {
  LogRecord record;
  record.start = -100;
  record.stop = 300;
  record.timed = true;
  record.sync = true;
  record.size = 12;
  record.crc32 = 0xABCD;
  return record;
}

std::string RecordLine(const LogRecord& record) {
  Buffer out;
  AppendRecordLine(out, 4, record);
  return fmt::to_string(out);
}

TEST(Listing, TheFilterLineHasItsFieldsInOrder) {
  Buffer out;
  AppendFilterLine(out, {S_OK, 3, 20800000, 20700000, 400000});
  EXPECT_EQ(fmt::to_string(out),
            R"({"type":"filter","name":"Vantor MKV Demultiplexer","connect":"0x00000000","pins":3,"duration":20800000,)"
            R"("stop":20700000,"frame_duration":400000})"
            "\n");
}

TEST(Listing, ThePinLineHasItsFieldsInOrder) {
  BYTE block[] = {0x00, 0xFE};
  GraphPin pin;
  pin.number = 2;
  pin.name = OLESTR("~\"eng\" subtitle 1");
  CMediaType type;
  type.majortype = MEDIATYPE_Audio;
  type.formattype = FORMAT_None;
  type.SetFormat(block, sizeof block);
  type.SetTemporalCompression(TRUE);
  type.SetSampleSize(7);
  pin.types.push_back(type);
  type.ResetFormatBuffer();
  type.SetVariableSize();
  pin.types.push_back(type);
  pin.allocator.cBuffers = 2;
  pin.allocator.cbBuffer = 256000;
  Buffer out;
  AppendPinLine(out, pin);
  EXPECT_EQ(fmt::to_string(out),
            R"({"type":"pin","pin":2,"name":"~\"eng\" subtitle 1","types":[)"
            R"({"major":"{73647561-0000-0010-8000-00AA00389B71}","subtype":"{00000000-0000-0000-0000-000000000000}",)"
            R"("format":"{0F6417D6-C318-11D0-A43F-00A0C9223196}","fixed_size":true,"temporal":true,"sample_size":7,)"
            R"("block":"00fe"},)"
            R"({"major":"{73647561-0000-0010-8000-00AA00389B71}","subtype":"{00000000-0000-0000-0000-000000000000}",)"
            R"("format":"{0F6417D6-C318-11D0-A43F-00A0C9223196}","fixed_size":false,"temporal":true,"sample_size":7,)"
            R"("block":""}],"buffers":2,"buffer_size":256000})"
            "\n");
}

TEST(Listing, ASampleLineHasItsFieldsInOrder) {
  EXPECT_EQ(RecordLine(Sample()),
            R"({"type":"sample","pin":4,"start":-100,"stop":300,"sync":true,"discontinuity":false,"preroll":false,)"
            R"("size":12,"crc32":"0000abcd"})"
            "\n");
}

TEST(Listing, ASampleWithoutTimesHasNullTimes) {
  LogRecord record = Sample();
  record.timed = false;
  EXPECT_NE(RecordLine(record).find(R"("start":null,"stop":null,)"), std::string::npos);
}

TEST(Listing, SegmentEndSeekAndEventLinesHaveTheirFieldsInOrder) {
  LogRecord segment;
  segment.kind = LogKind::kSegment;
  segment.start = 1;
  segment.stop = 2;
  segment.rate = 1.5;
  EXPECT_EQ(RecordLine(segment), R"({"type":"segment","pin":4,"start":1,"stop":2,"rate":1.5})"
                                 "\n");
  LogRecord end;
  end.kind = LogKind::kEndOfStream;
  EXPECT_EQ(RecordLine(end), R"({"type":"eos","pin":4})"
                             "\n");
  Buffer seek;
  AppendSeekLine(seek, E_FAIL, 5, 6);
  EXPECT_EQ(fmt::to_string(seek), R"({"type":"seek","result":"0x80004005","current":5,"stop":6})"
                                  "\n");
  Buffer event;
  AppendEventLine(event, {EC_ERRORABORT, static_cast<LONG_PTR>(E_OUTOFMEMORY), 0});
  EXPECT_EQ(fmt::to_string(event),
            R"({"type":"event","code":"EC_ERRORABORT","param1":"0x8007000E","param2":"0x00000000"})"
            "\n");
}

TEST(Listing, EventsWithoutANameShowTheirNumber) {
  const auto line = [](LONG code) {
    Buffer out;
    AppendEventLine(out, {code, 1, -1});
    return fmt::to_string(out);
  };
  EXPECT_EQ(line(EC_STREAM_ERROR_STILLPLAYING),
            R"({"type":"event","code":"EC_STREAM_ERROR_STILLPLAYING","param1":"0x00000001","param2":"0xFFFFFFFF"})"
            "\n");
  EXPECT_EQ(line(0x12345), R"({"type":"event","code":"0x00012345","param1":"0x00000001","param2":"0xFFFFFFFF"})"
                           "\n");
}

}  // namespace
}  // namespace vantor::tools
