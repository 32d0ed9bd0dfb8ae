#include "baseclasses/media_sample.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "baseclasses/allocator.h"
#include "baseclasses/fakes.h"

using namespace vantor::test;
using vantor::ComPtr;

namespace {

constexpr LONG kSize = 100;

class MediaSample : public testing::Test {
 protected:
  MediaSample() {
    ALLOCATOR_PROPERTIES request = {1, kSize, 1, 0};
    ALLOCATOR_PROPERTIES actual;
    allocator->SetProperties(&request, &actual);
    allocator->Commit();
    ComPtr<IMediaSample> plain;
    EXPECT_EQ(allocator->GetBuffer(plain.Out(), nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(plain->QueryInterface(IID_IMediaSample2, sample.Void()), S_OK);
  }
  ~MediaSample() override {
    sample.Reset();
    allocator.Reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
  AM_SAMPLE2_PROPERTIES Properties() {
    AM_SAMPLE2_PROPERTIES properties = {};
    EXPECT_EQ(sample->GetProperties(sizeof(properties), reinterpret_cast<BYTE*>(&properties)), S_OK);
    return properties;
  }
  HRESULT SetProperties(const AM_SAMPLE2_PROPERTIES& properties) {
    return sample->SetProperties(sizeof(properties), reinterpret_cast<const BYTE*>(&properties));
  }

  ComPtr<IMemAllocator> allocator{new CMemAllocator(OLESTR("allocator"), nullptr, nullptr)};
  ComPtr<IMediaSample2> sample;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME end = 0;
};

TEST_F(MediaSample, TimesAreNotSetAtFirst) {
  EXPECT_EQ(sample->GetTime(&start, &end), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(sample->GetMediaTime(&start, &end), VFW_E_MEDIA_TIME_NOT_SET);
  EXPECT_EQ(sample->GetTime(nullptr, &end), E_POINTER);
  EXPECT_EQ(sample->GetMediaTime(&start, nullptr), E_POINTER);
}

TEST_F(MediaSample, TimesAreReadAsSetNegativeOnesToo) {
  REFERENCE_TIME from = -50;
  REFERENCE_TIME to = 70;
  EXPECT_EQ(sample->SetTime(&from, &to), S_OK);
  EXPECT_EQ(sample->GetTime(&start, &end), S_OK);
  EXPECT_EQ(start, -50);
  EXPECT_EQ(end, 70);
}

TEST_F(MediaSample, AStartAloneEndsOneUnitLater) {
  REFERENCE_TIME from = 10;
  EXPECT_EQ(sample->SetTime(&from, nullptr), S_OK);
  EXPECT_EQ(sample->GetTime(&start, &end), VFW_S_NO_STOP_TIME);
  EXPECT_EQ(start, 10);
  EXPECT_EQ(end, 11);
}

TEST_F(MediaSample, NullTimesClear) {
  REFERENCE_TIME from = 10;
  REFERENCE_TIME to = 20;
  sample->SetTime(&from, &to);
  EXPECT_EQ(sample->SetTime(nullptr, nullptr), S_OK);
  EXPECT_EQ(sample->GetTime(&start, &end), VFW_E_SAMPLE_TIME_NOT_SET);
  sample->SetMediaTime(&from, &to);
  EXPECT_EQ(sample->GetMediaTime(&start, &end), S_OK);
  EXPECT_EQ(start, 10);
  EXPECT_EQ(end, 20);
  EXPECT_EQ(sample->SetMediaTime(&from, nullptr), E_POINTER);
  EXPECT_EQ(sample->SetMediaTime(nullptr, nullptr), S_OK);
  EXPECT_EQ(sample->GetMediaTime(&start, &end), VFW_E_MEDIA_TIME_NOT_SET);
}

TEST_F(MediaSample, FlagsAreIndependent) {
  EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
  EXPECT_EQ(sample->SetSyncPoint(TRUE), S_OK);
  EXPECT_EQ(sample->IsSyncPoint(), S_OK);
  EXPECT_EQ(sample->IsPreroll(), S_FALSE);
  EXPECT_EQ(sample->SetPreroll(TRUE), S_OK);
  EXPECT_EQ(sample->SetDiscontinuity(TRUE), S_OK);
  EXPECT_EQ(sample->SetSyncPoint(FALSE), S_OK);
  EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
  EXPECT_EQ(sample->IsPreroll(), S_OK);
  EXPECT_EQ(sample->IsDiscontinuity(), S_OK);
}

TEST_F(MediaSample, TheDataLengthStaysWithinTheBuffer) {
  EXPECT_EQ(sample->SetActualDataLength(0), S_OK);
  EXPECT_EQ(sample->SetActualDataLength(kSize), S_OK);
  EXPECT_EQ(sample->SetActualDataLength(kSize + 1), VFW_E_BUFFER_OVERFLOW);
  EXPECT_EQ(sample->SetActualDataLength(-1), VFW_E_BUFFER_OVERFLOW);
  EXPECT_EQ(sample->GetActualDataLength(), kSize);
  EXPECT_EQ(sample->GetPointer(nullptr), E_POINTER);
}

TEST_F(MediaSample, AChangedTypeIsGivenOutAsACopy) {
  AM_MEDIA_TYPE* mt = reinterpret_cast<AM_MEDIA_TYPE*>(1);
  EXPECT_EQ(sample->GetMediaType(&mt), S_FALSE);
  EXPECT_EQ(mt, nullptr);
  EXPECT_EQ(sample->GetMediaType(nullptr), E_POINTER);
  CMediaType type = MakeType(kTypeA);
  EXPECT_EQ(sample->SetMediaType(&type), S_OK);
  ASSERT_EQ(sample->GetMediaType(&mt), S_OK);
  EXPECT_EQ(CMediaType(*mt), type);
  DeleteMediaType(mt);
  EXPECT_EQ(sample->SetMediaType(nullptr), S_OK);
  EXPECT_EQ(sample->GetMediaType(&mt), S_FALSE);
}

TEST_F(MediaSample, PropertiesShowWhatWasSet) {
  REFERENCE_TIME from = 1;
  REFERENCE_TIME to = 9;
  CMediaType type = MakeType(kTypeA);
  sample->SetTime(&from, &to);
  sample->SetSyncPoint(TRUE);
  sample->SetActualDataLength(5);
  sample->SetMediaType(&type);
  const AM_SAMPLE2_PROPERTIES properties = Properties();
  BYTE* bytes = nullptr;
  sample->GetPointer(&bytes);
  EXPECT_EQ(properties.cbData, sizeof(properties));
  EXPECT_EQ(properties.dwSampleFlags, static_cast<DWORD>(AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TIMEVALID |
                                                         AM_SAMPLE_STOPVALID | AM_SAMPLE_TYPECHANGED));
  EXPECT_EQ(properties.lActual, 5);
  EXPECT_EQ(properties.tStart, 1);
  EXPECT_EQ(properties.tStop, 9);
  EXPECT_EQ(properties.pbBuffer, bytes);
  EXPECT_EQ(properties.cbBuffer, kSize);
  ASSERT_NE(properties.pMediaType, nullptr);
  EXPECT_EQ(CMediaType(*properties.pMediaType), type);
}

TEST_F(MediaSample, PropertiesAreCutToTheSizeGiven) {
  AM_SAMPLE2_PROPERTIES properties;
  std::memset(&properties, 0x55, sizeof(properties));
  constexpr DWORD kPart = offsetof(AM_SAMPLE2_PROPERTIES, tStart);
  EXPECT_EQ(sample->GetProperties(kPart, reinterpret_cast<BYTE*>(&properties)), S_OK);
  EXPECT_EQ(properties.cbData, kPart);
  EXPECT_EQ(properties.lActual, kSize);
  EXPECT_EQ(properties.tStart, 0x5555555555555555);
  EXPECT_EQ(sample->GetProperties(4, nullptr), E_POINTER);
  EXPECT_EQ(sample->SetProperties(4, nullptr), E_POINTER);
}

TEST_F(MediaSample, PropertiesAreSetAsFarAsTheSizeReaches) {
  AM_SAMPLE2_PROPERTIES properties = Properties();
  properties.dwSampleFlags = AM_SAMPLE_PREROLL | AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
  properties.lActual = 12;
  properties.tStart = 3;
  properties.tStop = 4;
  properties.dwStreamId = AM_STREAM_CONTROL;
  EXPECT_EQ(SetProperties(properties), S_OK);
  EXPECT_EQ(sample->IsPreroll(), S_OK);
  EXPECT_EQ(sample->GetActualDataLength(), 12);
  EXPECT_EQ(sample->GetTime(&start, &end), S_OK);
  EXPECT_EQ(start, 3);
  EXPECT_EQ(end, 4);
  EXPECT_EQ(Properties().dwStreamId, static_cast<DWORD>(AM_STREAM_CONTROL));

  properties.lActual = 13;
  properties.tStart = 30;
  EXPECT_EQ(sample->SetProperties(offsetof(AM_SAMPLE2_PROPERTIES, tStart), reinterpret_cast<BYTE*>(&properties)), S_OK);
  EXPECT_EQ(Properties().lActual, 13);
  EXPECT_EQ(Properties().tStart, 3);
}

TEST_F(MediaSample, PropertiesThatDoNotFitChangeNothing) {
  const AM_SAMPLE2_PROPERTIES before = Properties();
  AM_SAMPLE2_PROPERTIES properties = before;
  properties.dwSampleFlags = AM_SAMPLE_PREROLL;
  properties.lActual = kSize + 1;
  EXPECT_EQ(SetProperties(properties), VFW_E_BUFFER_OVERFLOW);
  properties.lActual = 1;
  BYTE elsewhere = 0;
  properties.pbBuffer = &elsewhere;
  EXPECT_EQ(SetProperties(properties), E_INVALIDARG);
  properties.pbBuffer = nullptr;
  properties.cbBuffer = kSize - 1;
  EXPECT_EQ(SetProperties(properties), E_INVALIDARG);
  EXPECT_EQ(Properties().lActual, before.lActual);
  EXPECT_EQ(sample->IsPreroll(), S_FALSE);
}

TEST_F(MediaSample, ATypeInThePropertiesIsCopiedAndFlagged) {
  CMediaType type = MakeType(kTypeB);
  AM_SAMPLE2_PROPERTIES properties = Properties();
  properties.pMediaType = &type;
  EXPECT_EQ(SetProperties(properties), S_OK);
  EXPECT_NE(Properties().pMediaType, &type);
  EXPECT_EQ(Properties().dwSampleFlags & AM_SAMPLE_TYPECHANGED, static_cast<DWORD>(AM_SAMPLE_TYPECHANGED));
  properties = Properties();
  EXPECT_EQ(SetProperties(properties), S_OK);
  AM_MEDIA_TYPE* mt = nullptr;
  ASSERT_EQ(sample->GetMediaType(&mt), S_OK);
  EXPECT_EQ(CMediaType(*mt), type);
  DeleteMediaType(mt);
}

TEST_F(MediaSample, ItAnswersItsInterfacesAndNoOthers) {
  void* out = &out;
  EXPECT_EQ(sample->QueryInterface(IID_IPin, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(sample->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  ComPtr<IUnknown> identity;
  EXPECT_EQ(sample->QueryInterface(IID_IUnknown, identity.Void()), S_OK);
  ComPtr<IMediaSample> plain;
  EXPECT_EQ(identity->QueryInterface(IID_IMediaSample, plain.Void()), S_OK);
}

}  // namespace
