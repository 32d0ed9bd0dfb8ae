#include "baseclasses/media_type.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "baseclasses/fakes.h"

using namespace vantor::test;

namespace {

std::string FormatOf(const AM_MEDIA_TYPE& mt) { return {reinterpret_cast<const char*>(mt.pbFormat), mt.cbFormat}; }

// A counted object to hang on a media type.
class Attachment final : public IUnknown {
 public:
  virtual ~Attachment() = default;
  STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++count; }
  STDMETHODIMP_(ULONG) Release() override { return --count; }
  ULONG count = 0;
};

TEST(MediaType, AFreshOneIsZeroButForAFixedSampleSizeOfOne) {
  const CMediaType mt;
  AM_MEDIA_TYPE expected = {};
  expected.lSampleSize = 1;
  expected.bFixedSizeSamples = TRUE;
  EXPECT_TRUE(vantor::SameGuid(mt.majortype, expected.majortype));
  EXPECT_TRUE(vantor::SameGuid(mt.subtype, expected.subtype));
  EXPECT_TRUE(vantor::SameGuid(mt.formattype, expected.formattype));
  EXPECT_EQ(mt.bFixedSizeSamples, TRUE);
  EXPECT_EQ(mt.bTemporalCompression, FALSE);
  EXPECT_EQ(mt.lSampleSize, 1u);
  EXPECT_EQ(mt.pUnk, nullptr);
  EXPECT_EQ(mt.cbFormat, 0u);
  EXPECT_EQ(mt.pbFormat, nullptr);
  EXPECT_FALSE(mt.IsValid());
  EXPECT_TRUE(mt.IsPartiallySpecified());
}

TEST(MediaType, ACopyHasAFormatBlockOfItsOwn) {
  const CMediaType original = MakeType(kTypeA);
  CMediaType copy(original);
  EXPECT_EQ(copy, original);
  copy.SetVariableSize();
  EXPECT_TRUE(original.IsFixedSize());
  EXPECT_NE(copy.Format(), original.Format());
  copy.Format()[0] = 'X';
  EXPECT_NE(copy, original);
  EXPECT_EQ(FormatOf(original), "frmt");
}

TEST(MediaType, AssignmentReplacesWhatWasThere) {
  CMediaType mt = MakeType(kTypeA);
  const CMediaType other = MakeType(kTypeB);
  mt = other;
  EXPECT_EQ(mt, other);
  mt = *&mt;
  EXPECT_EQ(mt, other);
  mt = CMediaType();
  EXPECT_EQ(mt, CMediaType());
  EXPECT_EQ(mt.FormatLength(), 0u);
}

TEST(MediaType, MovingTakesTheFormatBlockAlong) {
  CMediaType original = MakeType(kTypeA);
  const BYTE* block = original.Format();
  CMediaType moved(std::move(original));
  EXPECT_EQ(moved.Format(), block);
  CMediaType assigned;
  assigned = std::move(moved);
  EXPECT_EQ(assigned.Format(), block);
  EXPECT_EQ(assigned, MakeType(kTypeA));
}

TEST(MediaType, SetOfItselfKeepsIt) {
  CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(mt.Set(mt), S_OK);
  EXPECT_EQ(FormatOf(mt), "frmt");
}

TEST(MediaType, EqualityLooksAtTypesAndFormatBlockOnly) {
  const CMediaType mt = MakeType(kTypeA);
  CMediaType same = mt;
  same.SetSampleSize(77);
  same.SetTemporalCompression(TRUE);
  EXPECT_EQ(mt, same);
  EXPECT_NE(mt, MakeType(kTypeB));
  EXPECT_NE(mt, MakeType(kTypeA, MEDIATYPE_Audio));
  CMediaType other = mt;
  other.SetFormatType(&FORMAT_WaveFormatEx);
  EXPECT_NE(mt, other);
  other = mt;
  other.SetFormat(reinterpret_cast<const BYTE*>("frm"), 3);
  EXPECT_NE(mt, other);
}

TEST(MediaType, TheSampleSizeIsFixedUnlessZero) {
  CMediaType mt;
  mt.SetSampleSize(40);
  EXPECT_TRUE(mt.IsFixedSize());
  EXPECT_EQ(mt.GetSampleSize(), 40u);
  mt.SetSampleSize(0);
  EXPECT_FALSE(mt.IsFixedSize());
  EXPECT_EQ(mt.GetSampleSize(), 0u);
  mt.SetSampleSize(2);
  mt.SetVariableSize();
  EXPECT_EQ(mt.GetSampleSize(), 0u);
}

TEST(MediaType, TheFormatBlockGrowsKeepingItsContent) {
  CMediaType mt = MakeType(kTypeA);
  BYTE* block = mt.ReallocFormatBuffer(1000);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(mt.FormatLength(), 1000u);
  EXPECT_EQ(std::memcmp(block, "frmt", 4), 0);
  block = mt.ReallocFormatBuffer(2);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(FormatOf(mt), "fr");
}

TEST(MediaType, AnAllocatedBlockOfTheSameLengthIsKept) {
  CMediaType mt = MakeType(kTypeA);
  BYTE* block = mt.Format();
  EXPECT_EQ(mt.AllocFormatBuffer(4), block);
  EXPECT_NE(mt.AllocFormatBuffer(40000), nullptr);
  EXPECT_EQ(mt.FormatLength(), 40000u);
}

TEST(MediaType, ABlockOfNoBytesIsNone) {
  CMediaType mt = MakeType(kTypeA);
  EXPECT_EQ(mt.AllocFormatBuffer(0), nullptr);
  EXPECT_EQ(mt.ReallocFormatBuffer(0), nullptr);
  EXPECT_EQ(FormatOf(mt), "frmt");
  EXPECT_TRUE(mt.SetFormat(nullptr, 0));
  EXPECT_EQ(mt.Format(), nullptr);
  EXPECT_EQ(mt.FormatLength(), 0u);
}

TEST(MediaType, SetFormatMayTakeAPartOfItsOwnBlock) {
  CMediaType mt = MakeType(kTypeA);
  EXPECT_TRUE(mt.SetFormat(mt.Format() + 1, 2));
  EXPECT_EQ(FormatOf(mt), "rm");
}

TEST(MediaType, ResetDropsTheFormatBlock) {
  CMediaType mt = MakeType(kTypeA);
  mt.ResetFormatBuffer();
  EXPECT_EQ(mt.FormatLength(), 0u);
  EXPECT_EQ(mt.Format(), nullptr);
  mt.InitMediaType();
  EXPECT_EQ(mt, CMediaType());
}

TEST(MediaType, ItIsPartialWithoutMajorTypeOrFormatType) {
  EXPECT_FALSE(MakeType(kTypeA).IsPartiallySpecified());
  EXPECT_FALSE(MakeType(GUID_NULL).IsPartiallySpecified());
  EXPECT_TRUE(MakeType(kTypeA, GUID_NULL).IsPartiallySpecified());
  CMediaType mt = MakeType(kTypeA);
  mt.SetFormatType(&GUID_NULL);
  EXPECT_TRUE(mt.IsPartiallySpecified());
}

TEST(MediaType, NullGuidsOfAPartialTypeMatchAnything) {
  const CMediaType mt = MakeType(kTypeA);
  CMediaType partial;
  EXPECT_TRUE(mt.MatchesPartial(&partial));
  partial.SetType(&MEDIATYPE_Video);
  EXPECT_TRUE(mt.MatchesPartial(&partial));
  partial.SetSubtype(&kTypeA);
  EXPECT_TRUE(mt.MatchesPartial(&partial));
  partial.SetSubtype(&kTypeB);
  EXPECT_FALSE(mt.MatchesPartial(&partial));
  partial = CMediaType(&MEDIATYPE_Audio);
  EXPECT_FALSE(mt.MatchesPartial(&partial));
}

TEST(MediaType, AFormatTypeInAPartialTypeComparesTheFormatBlock) {
  const CMediaType mt = MakeType(kTypeA);
  CMediaType partial = MakeType(GUID_NULL, GUID_NULL);
  EXPECT_TRUE(mt.MatchesPartial(&partial));
  partial.Format()[3] = 'x';
  EXPECT_FALSE(mt.MatchesPartial(&partial));
  partial = MakeType(GUID_NULL, GUID_NULL);
  partial.SetFormatType(&FORMAT_WaveFormatEx);
  EXPECT_FALSE(mt.MatchesPartial(&partial));
}

TEST(MediaType, CopiesShareTheAttachedObject) {
  Attachment attachment;
  {
    CMediaType mt = MakeType(kTypeA);
    mt.pUnk = &attachment;
    mt.pUnk->AddRef();
    const CMediaType copy(mt);
    EXPECT_EQ(attachment.count, 2u);
    AM_MEDIA_TYPE* created = CreateMediaType(&mt);
    EXPECT_EQ(attachment.count, 3u);
    DeleteMediaType(created);
    EXPECT_EQ(attachment.count, 2u);
  }
  EXPECT_EQ(attachment.count, 0u);
}

TEST(MediaType, FreeingTwiceIsHarmless) {
  AM_MEDIA_TYPE mt;
  const CMediaType source = MakeType(kTypeA);
  EXPECT_EQ(CopyMediaType(&mt, &source), S_OK);
  EXPECT_EQ(FormatOf(mt), "frmt");
  FreeMediaType(mt);
  EXPECT_EQ(mt.cbFormat, 0u);
  FreeMediaType(mt);
  DeleteMediaType(nullptr);
}

TEST(MediaType, ALengthWithoutABlockCopiesAsNone) {
  AM_MEDIA_TYPE odd = {};
  odd.cbFormat = 12;
  AM_MEDIA_TYPE copy;
  EXPECT_EQ(CopyMediaType(&copy, &odd), S_OK);
  EXPECT_EQ(copy.cbFormat, 0u);
  EXPECT_EQ(copy.pbFormat, nullptr);
}

TEST(MediaType, TheResultOfAConstructionIsLeftAloneOnSuccess) {
  HRESULT hr = S_FALSE;
  const CMediaType source = MakeType(kTypeA);
  const CMediaType mt(static_cast<const AM_MEDIA_TYPE&>(source), &hr);
  EXPECT_EQ(hr, S_FALSE);
  EXPECT_EQ(mt, source);
}

}  // namespace
