#include "tools/media_type_words.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "baseclasses/media_type.h"

namespace vantor::tools {
namespace {

GUID TagSubtype(std::uint32_t tag) { return {tag, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}}; }

template <typename Block>
CMediaType Type(const GUID& major, const GUID& subtype, const GUID& format, const Block& block) {
  CMediaType type;
  type.majortype = major;
  type.subtype = subtype;
  type.formattype = format;
  type.SetFormat(reinterpret_cast<const BYTE*>(&block), sizeof block);
  return type;
}

CMediaType Wave(std::uint32_t tag) {
  WAVEFORMATEX wave = {};
  wave.nSamplesPerSec = 48000;
  wave.nChannels = 2;
  wave.wBitsPerSample = 16;
  return Type(MEDIATYPE_Audio, TagSubtype(tag), FORMAT_WaveFormatEx, wave);
}

TEST(MediaTypeWords, AVideoWithAspectTellsSizeAspectAndRate) {
  VIDEOINFOHEADER2 block = {};
  block.bmiHeader.biWidth = 1920;
  block.bmiHeader.biHeight = 1080;
  block.dwPictAspectRatioX = 1920;
  block.dwPictAspectRatioY = 1080;
  block.AvgTimePerFrame = 417083;
  const StreamWords words = DescribeMediaType(Type(MEDIATYPE_Video, TagSubtype(0x31435641), FORMAT_VideoInfo2, block));
  EXPECT_EQ(words.kind, "video");
  EXPECT_EQ(words.codec, "AVC (H.264)");
  EXPECT_EQ(words.frameDuration, 417083);
  EXPECT_EQ(words.Details(), "1920x1080, 16:9, 23.976 fps");
}

TEST(MediaTypeWords, AVideoWithoutAspectTellsWhatItKnows) {
  VIDEOINFOHEADER block = {};
  block.bmiHeader.biWidth = 320;
  block.bmiHeader.biHeight = 240;
  block.AvgTimePerFrame = 400000;
  const StreamWords words = DescribeMediaType(Type(MEDIATYPE_Video, TagSubtype(0x30385056), FORMAT_VideoInfo, block));
  EXPECT_EQ(words.codec, "VP8");
  EXPECT_EQ(words.Details(), "320x240, 25 fps");
}

TEST(MediaTypeWords, AudioTellsRateAndChannels) {
  EXPECT_EQ(DescribeMediaType(Wave(0x2000)).codec, "AC-3");
  EXPECT_EQ(DescribeMediaType(Wave(0x2000)).Details(), "48000 Hz, 2 channels");
}

TEST(MediaTypeWords, BitsAreToldWhereASampleHasThem) {
  for (const std::uint32_t tag : {0x0001U, 0x0003U, 0x77A1U, 0xF1ACU, 0x5756U, 0x6C61U}) {
    EXPECT_EQ(DescribeMediaType(Wave(tag)).bitsPerSample, 16U) << tag;
  }
  for (const std::uint32_t tag : {0x0050U, 0x0055U, 0x00FFU, 0x2000U, 0x2001U, 0x704FU}) {
    EXPECT_EQ(DescribeMediaType(Wave(tag)).bitsPerSample, 0U) << tag;
  }
}

TEST(MediaTypeWords, WhatTheTypeLeavesOpenTheIdentifierTells) {
  EXPECT_EQ(DescribeMediaType(Wave(0x0050)).codec, "MPEG audio");
  EXPECT_EQ(DescribeMediaType(Wave(0x0050), "A_MPEG/L1").codec, "MPEG audio layer I");
  EXPECT_EQ(DescribeMediaType(Wave(0x0050), "A_MPEG/L2").codec, "MPEG audio layer II");
  EXPECT_EQ(DescribeMediaType(Wave(0x0055), "A_MPEG/L3").codec, "MP3");
  EXPECT_EQ(DescribeMediaType(Wave(0x2000), "A_MPEG/L1").codec, "AC-3") << "a type that says it is believed";
  CMediaType unnamed;
  EXPECT_EQ(DescribeMediaType(unnamed).codec, "unnamed");
  EXPECT_EQ(DescribeMediaType(unnamed, "S_HDMV/PGS").codec, "PGS");
  EXPECT_EQ(DescribeMediaType(unnamed, "S_OTHER").codec, "unnamed");
}

TEST(MediaTypeWords, VorbisTellsRateAndChannels) {
  const std::uint32_t block[] = {1, 44100, 0, 30, 40, 50};
  const GUID subtype = {0xCDDCA2D5, 0x6D75, 0x4F98, {0x84, 0x0E, 0x73, 0x7B, 0xED, 0xD5, 0xC6, 0x3B}};
  const GUID format = {0x6BDDFA7E, 0x9F22, 0x46A9, {0xAB, 0x5E, 0x88, 0x4E, 0xFF, 0x29, 0x4D, 0x9F}};
  const StreamWords words = DescribeMediaType(Type(MEDIATYPE_Audio, subtype, format, block));
  EXPECT_EQ(words.codec, "Vorbis");
  EXPECT_EQ(words.Details(), "44100 Hz, 1 channel");
}

TEST(MediaTypeWords, SubtitlesTellLanguageAndTitle) {
  std::vector<unsigned char> block(520);
  block[0] = 0x08;
  block[1] = 0x02;
  std::memcpy(block.data() + 4, "eng", 3);
  const WCHAR title[] = OLESTR("Signs");
  std::memcpy(block.data() + 8, title, sizeof title);
  CMediaType type;
  type.majortype = {0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};
  type.subtype = {0x87C0B230, 0x03A8, 0x4FDF, {0x80, 0x10, 0xB2, 0x7A, 0x58, 0x48, 0x20, 0x0D}};
  type.formattype = {0xA33D2F7D, 0x96BC, 0x4337, {0xB2, 0x3B, 0xA8, 0xB9, 0xFB, 0xC2, 0x95, 0xE9}};
  type.SetFormat(block.data(), static_cast<ULONG>(block.size()));
  const StreamWords words = DescribeMediaType(type);
  EXPECT_EQ(words.kind, "subtitle");
  EXPECT_EQ(words.codec, "SubRip text");
  EXPECT_EQ(words.Details(), "eng, \"Signs\"");
}

TEST(MediaTypeWords, ABlockTooShortForItsFormatTellsNothing) {
  const std::uint16_t block = 0xFFFF;
  for (const GUID& format : {FORMAT_VideoInfo, FORMAT_VideoInfo2, FORMAT_MPEG2Video, FORMAT_MPEGVideo}) {
    EXPECT_EQ(DescribeMediaType(Type(MEDIATYPE_Video, GUID{}, format, block)).Details(), "");
  }
  EXPECT_EQ(DescribeMediaType(Type(MEDIATYPE_Audio, GUID{}, FORMAT_WaveFormatEx, block)).Details(), "");
}

TEST(MediaTypeWords, UnknownCodecsShowTheirTag) {
  EXPECT_EQ(DescribeMediaType(Wave(0x34333231)).codec, "\"1234\"");
  EXPECT_EQ(DescribeMediaType(Wave(0x0199)).codec, "format 0x0199");
  CMediaType type;
  EXPECT_EQ(DescribeMediaType(type).kind, "other");
  EXPECT_EQ(DescribeMediaType(type).codec, "unnamed");
  type.subtype = {1, 2, 3, {}};
  EXPECT_EQ(DescribeMediaType(type).codec, "unknown");
}

}  // namespace
}  // namespace vantor::tools
