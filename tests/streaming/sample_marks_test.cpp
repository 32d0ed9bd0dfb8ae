// Filling a media sample, whatever the sample says of itself.
#include "streaming/sample_marks.h"

#include <gtest/gtest.h>

#include "baseclasses/media_type.h"
#include "published/media_guids.h"
#include "streaming/raw_media_types.h"
#include "support/mkv_builder.h"

namespace vantor::test {
namespace {

// A sample of four bytes whose answers a test chooses.
class StrangeSample final : public IMediaSample {
 public:
  virtual ~StrangeSample() = default;

  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return 1; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetPointer(BYTE** buffer) override { return *buffer = data, pointerResult; }
  STDMETHODIMP_(LONG) GetSize() override { return size; }
  STDMETHODIMP GetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
  STDMETHODIMP SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
  STDMETHODIMP IsSyncPoint() override { return S_FALSE; }
  STDMETHODIMP SetSyncPoint(BOOL) override { return S_OK; }
  STDMETHODIMP IsPreroll() override { return S_FALSE; }
  STDMETHODIMP SetPreroll(BOOL) override { return S_OK; }
  STDMETHODIMP_(LONG) GetActualDataLength() override { return length; }
  STDMETHODIMP SetActualDataLength(LONG) override { return E_FAIL; }
  STDMETHODIMP GetMediaType(AM_MEDIA_TYPE**) override { return S_FALSE; }
  STDMETHODIMP SetMediaType(AM_MEDIA_TYPE*) override { return S_OK; }
  STDMETHODIMP IsDiscontinuity() override { return S_FALSE; }
  STDMETHODIMP SetDiscontinuity(BOOL) override { return S_OK; }
  STDMETHODIMP GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
  STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }

  std::vector<BYTE> bytes{0, 0, 0, 1};
  BYTE* data = bytes.data();
  HRESULT pointerResult = S_OK;
  LONG size = 4;
  LONG length = 4;
};

TEST(SampleMarks, OnlyWhatLiesInTheBufferIsConverted) {
  for (const LONG length : {4, 5, 1 << 30}) {
    StrangeSample sample;
    sample.length = length;
    ConvertSample(sample);
    EXPECT_EQ(sample.bytes, (std::vector<BYTE>{0, 0, 0, 0})) << length;
  }
  for (const LONG length : {0, -1, -4, INT32_MIN}) {
    StrangeSample sample;
    sample.length = length;
    ConvertSample(sample);
    EXPECT_EQ(sample.bytes, (std::vector<BYTE>{0, 0, 0, 1})) << length;
  }
}

TEST(SampleMarks, ASampleWithoutABufferIsNotFilled) {
  const BYTE frame[] = {1, 2};
  StrangeSample none;
  none.data = nullptr;
  EXPECT_EQ(FillSample(none, frame, sizeof frame, {}), E_POINTER);
  ConvertSample(none);
  StrangeSample failing;
  failing.pointerResult = E_ABORT;
  EXPECT_EQ(FillSample(failing, frame, sizeof frame, {}), E_ABORT);
  EXPECT_EQ(failing.bytes, (std::vector<BYTE>{0, 0, 0, 1}));
}

TEST(RawMediaTypes, TellsCompressedTypesAndTextFromRawPicturesAndSound) {
  const auto type = [](const GUID& major, const GUID& subtype) {
    CMediaType made(&major);
    made.SetSubtype(&subtype);
    return made;
  };
  EXPECT_TRUE(IsCompressedOrText(type(MEDIATYPE_Video, SubtypeOf(FourCc("AVC1")))));
  EXPECT_TRUE(IsCompressedOrText(type(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO)));
  EXPECT_TRUE(IsCompressedOrText(type(MEDIATYPE_Audio, SubtypeOf(0x2000))));
  EXPECT_TRUE(IsCompressedOrText(type(MEDIATYPE_Text, GUID_NULL)));
  EXPECT_TRUE(IsCompressedOrText(type(kTypeSubtitle, GUID_NULL)));
  EXPECT_FALSE(IsCompressedOrText(type(MEDIATYPE_Video, MEDIASUBTYPE_RGB24)));
  EXPECT_FALSE(IsCompressedOrText(type(MEDIATYPE_Video, SubtypeOf(FourCc("YUY2")))));
  EXPECT_FALSE(IsCompressedOrText(type(MEDIATYPE_Video, GUID_NULL)));
  EXPECT_FALSE(IsCompressedOrText(type(MEDIATYPE_Audio, SubtypeOf(1))));
  EXPECT_FALSE(IsCompressedOrText(type(MEDIATYPE_Audio, SubtypeOf(3))));
}

}  // namespace
}  // namespace vantor::test
