// The enumerators over pins and media types.
#include <gtest/gtest.h>

#include <new>
#include <utility>

#include "baseclasses/fakes.h"

using namespace vantor::test;
using vantor::ComPtr;

namespace {

class PinEnumerator : public testing::Test {
 protected:
  PinEnumerator() {
    for (LPCWSTR name : {OLESTR("1"), OLESTR("2"), OLESTR("3")}) filter->Add(new FakeOutputPin(filter.Get(), name));
    EXPECT_EQ(filter->EnumPins(pins.Out()), S_OK);
  }
  ~PinEnumerator() override {
    pins.Reset();
    filter.Reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
  // The next pin's number from 1, or 0 at the end.
  int Next(IEnumPins* from) {
    ComPtr<IPin> pin;
    if (from->Next(1, pin.Out(), nullptr) != S_OK) return 0;
    for (int i = 0; i < 3; ++i) {
      if (filter->GetPin(i) == pin.Get()) return i + 1;
    }
    return -1;
  }

  ComPtr<FakeFilter> filter{new FakeFilter};
  ComPtr<IEnumPins> pins;
};

TEST_F(PinEnumerator, GivesThePinsInOrder) {
  EXPECT_EQ(Next(pins.Get()), 1);
  EXPECT_EQ(Next(pins.Get()), 2);
  EXPECT_EQ(Next(pins.Get()), 3);
  EXPECT_EQ(Next(pins.Get()), 0);
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(Next(pins.Get()), 1);
}

TEST_F(PinEnumerator, FetchesWhatThereIs) {
  IPin* fetched[5] = {};
  ULONG count = 99;
  EXPECT_EQ(pins->Next(2, fetched, &count), S_OK);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(pins->Next(5, fetched + 2, &count), S_FALSE);
  EXPECT_EQ(count, 1u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(fetched[i], filter->GetPin(i));
    fetched[i]->Release();
  }
  EXPECT_EQ(pins->Next(1, fetched, &count), S_FALSE);
  EXPECT_EQ(count, 0u);
}

TEST_F(PinEnumerator, SeveralWithoutACountIsAnInvalidCall) {
  IPin* fetched[2] = {};
  ULONG count = 0;
  EXPECT_EQ(pins->Next(2, fetched, nullptr), E_INVALIDARG);
  EXPECT_EQ(pins->Next(1, nullptr, &count), E_POINTER);
  EXPECT_EQ(pins->Next(0, fetched, nullptr), S_OK);
  EXPECT_EQ(Next(pins.Get()), 1);
}

TEST_F(PinEnumerator, SkipsWithinThePinsOnly) {
  EXPECT_EQ(pins->Skip(2), S_OK);
  EXPECT_EQ(Next(pins.Get()), 3);
  EXPECT_EQ(pins->Skip(1), S_FALSE);
  EXPECT_EQ(pins->Skip(0xFFFFFFFF), S_FALSE);
  EXPECT_EQ(pins->Skip(0), S_OK);
  pins->Reset();
  EXPECT_EQ(pins->Skip(4), S_FALSE);
  EXPECT_EQ(Next(pins.Get()), 1);
}

TEST_F(PinEnumerator, ACloneStandsWhereTheOriginalStood) {
  EXPECT_EQ(Next(pins.Get()), 1);
  ComPtr<IEnumPins> clone;
  EXPECT_EQ(pins->Clone(clone.Out()), S_OK);
  EXPECT_EQ(Next(pins.Get()), 2);
  EXPECT_EQ(Next(clone.Get()), 2);
  EXPECT_EQ(pins->Clone(nullptr), E_POINTER);
}

TEST_F(PinEnumerator, IsOutOfDateAfterAChangeUntilReset) {
  EXPECT_EQ(Next(pins.Get()), 1);
  filter->Remove(filter->GetPin(0));
  IPin* pin = nullptr;
  ULONG count = 99;
  EXPECT_EQ(pins->Next(1, &pin, &count), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  IEnumPins* clone = pins.Get();
  EXPECT_EQ(pins->Clone(&clone), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(clone, nullptr);
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(Next(pins.Get()), 1);
}

// Loses a pin of its set, as by another thread, while an enumerator asks for the pin with that number.
class ChangingFilter : public FakeFilter {
 public:
  CBasePin* HoldPin(int n) override {
    if (n == m_ChangesAt) {
      m_ChangesAt = -1;
      Remove(m_Pins.back());
    }
    return FakeFilter::HoldPin(n);
  }
  int m_ChangesAt = -1;
};

TEST_F(PinEnumerator, AChangeInTheMiddleOfACallGivesNoPins) {
  ComPtr<ChangingFilter> changing(new ChangingFilter);
  for (LPCWSTR name : {OLESTR("1"), OLESTR("2"), OLESTR("3")}) changing->Add(new FakeOutputPin(changing.Get(), name));
  ComPtr<IEnumPins> from;
  ASSERT_EQ(changing->EnumPins(from.Out()), S_OK);
  IPin* fetched[3] = {};
  ULONG count = 99;
  changing->m_ChangesAt = 1;
  EXPECT_EQ(from->Next(3, fetched, &count), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(count, 0u);
  for (const IPin* pin : fetched) EXPECT_EQ(pin, nullptr);
  EXPECT_EQ(from->Reset(), S_OK);
  changing->m_ChangesAt = 0;
  EXPECT_EQ(from->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(from->Reset(), S_OK);
  EXPECT_EQ(from->Next(3, fetched, &count), S_FALSE);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(fetched[0], changing->GetPin(0));
  fetched[0]->Release();
}

// Skips a pin on the same enumerator while Next asks for one.
class OvertakingFilter : public FakeFilter {
 public:
  CBasePin* HoldPin(int n) override {
    if (IEnumPins* pins = std::exchange(m_Overtaken, nullptr)) {
      EXPECT_EQ(pins->Skip(1), S_OK);
    }
    return FakeFilter::HoldPin(n);
  }
  IEnumPins* m_Overtaken = nullptr;
};

TEST_F(PinEnumerator, APinIsGivenOnceWhenAnotherThreadMovesOnMeanwhile) {
  ComPtr<OvertakingFilter> overtaking(new OvertakingFilter);
  for (LPCWSTR name : {OLESTR("1"), OLESTR("2")}) overtaking->Add(new FakeOutputPin(overtaking.Get(), name));
  ComPtr<IEnumPins> from;
  ASSERT_EQ(overtaking->EnumPins(from.Out()), S_OK);
  overtaking->m_Overtaken = from.Get();
  ComPtr<IPin> pin;
  EXPECT_EQ(from->Next(1, pin.Out(), nullptr), S_OK);
  EXPECT_EQ(pin.Get(), overtaking->GetPin(1));
}

TEST_F(PinEnumerator, KeepsItsFilter) {
  filter.Reset();
  IPin* pin = nullptr;
  EXPECT_EQ(pins->Next(1, &pin, nullptr), S_OK);
  pin->Release();
}

TEST_F(PinEnumerator, AnswersItsInterfacesAndNoOthers) {
  ComPtr<IEnumPins> again;
  EXPECT_EQ(pins->QueryInterface(IID_IEnumPins, again.Void()), S_OK);
  void* object = &object;
  EXPECT_EQ(pins->QueryInterface(IID_IEnumMediaTypes, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(filter->EnumPins(nullptr), E_POINTER);
}

class TypeEnumerator : public testing::Test {
 protected:
  TypeEnumerator() {
    pin->offered = {MakeType(kTypeA), MakeType(kTypeB), MakeType(kTypeC)};
    EXPECT_EQ(pin->EnumMediaTypes(types.Out()), S_OK);
  }
  ~TypeEnumerator() override {
    types.Reset();
    filter.Reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
  std::string Next(IEnumMediaTypes* from) {
    AM_MEDIA_TYPE* mt = nullptr;
    if (from->Next(1, &mt, nullptr) != S_OK) return "end";
    std::string name = TypeName(CMediaType(*mt));
    DeleteMediaType(mt);
    return name;
  }

  ComPtr<FakeFilter> filter{new FakeFilter};
  FakeOutputPin* pin = filter->Add(new FakeOutputPin(filter.Get()));
  ComPtr<IEnumMediaTypes> types;
};

TEST_F(TypeEnumerator, GivesTheTypesInOrder) {
  EXPECT_EQ(Next(types.Get()), "A");
  EXPECT_EQ(Next(types.Get()), "B");
  EXPECT_EQ(Next(types.Get()), "C");
  EXPECT_EQ(Next(types.Get()), "end");
  EXPECT_EQ(types->Reset(), S_OK);
  EXPECT_EQ(Next(types.Get()), "A");
}

TEST_F(TypeEnumerator, FetchesWhatThereIs) {
  AM_MEDIA_TYPE* fetched[5] = {};
  ULONG count = 99;
  EXPECT_EQ(types->Next(5, fetched, &count), S_FALSE);
  EXPECT_EQ(count, 3u);
  for (ULONG i = 0; i < count; ++i) {
    EXPECT_EQ(CMediaType(*fetched[i]), pin->offered[i]);
    DeleteMediaType(fetched[i]);
  }
  EXPECT_EQ(types->Next(2, fetched, nullptr), E_INVALIDARG);
  EXPECT_EQ(types->Next(1, nullptr, &count), E_POINTER);
}

TEST_F(TypeEnumerator, SkipsAndTellsWhenPastTheLast) {
  EXPECT_EQ(types->Skip(2), S_OK);
  EXPECT_EQ(Next(types.Get()), "C");
  types->Reset();
  EXPECT_EQ(types->Skip(3), S_OK);
  EXPECT_EQ(types->Skip(0), S_OK);
  EXPECT_EQ(types->Skip(1), S_FALSE);
  EXPECT_EQ(types->Skip(0xFFFFFFFF), S_FALSE);
  EXPECT_EQ(types->Skip(0xFFFFFFFF), S_FALSE);
  EXPECT_EQ(Next(types.Get()), "end");
}

TEST_F(TypeEnumerator, ACloneStandsWhereTheOriginalStood) {
  EXPECT_EQ(Next(types.Get()), "A");
  ComPtr<IEnumMediaTypes> clone;
  EXPECT_EQ(types->Clone(clone.Out()), S_OK);
  EXPECT_EQ(Next(clone.Get()), "B");
  EXPECT_EQ(Next(types.Get()), "B");
  EXPECT_EQ(types->Clone(nullptr), E_POINTER);
}

TEST_F(TypeEnumerator, IsOutOfDateAfterAChangeUntilReset) {
  pin->IncrementTypeVersion();
  AM_MEDIA_TYPE* mt = nullptr;
  ULONG count = 99;
  EXPECT_EQ(types->Next(1, &mt, &count), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(types->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  IEnumMediaTypes* clone = types.Get();
  EXPECT_EQ(types->Clone(&clone), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(clone, nullptr);
  EXPECT_EQ(types->Reset(), S_OK);
  EXPECT_EQ(Next(types.Get()), "A");
}

// A pin that runs out of memory at its third type.
class PoorPin : public FakeOutputPin {
 public:
  using FakeOutputPin::FakeOutputPin;
  HRESULT GetMediaType(int iPosition, CMediaType* pmt) override {
    if (iPosition == 2) throw std::bad_alloc();
    return FakeOutputPin::GetMediaType(iPosition, pmt);
  }
};

TEST_F(TypeEnumerator, WithoutMemoryItFetchesNothingAndStaysWhereItWas) {
  auto* poor = filter->Add(new PoorPin(filter.Get()));
  poor->offered = pin->offered;
  ComPtr<IEnumMediaTypes> from;
  EXPECT_EQ(poor->EnumMediaTypes(from.Out()), S_OK);
  AM_MEDIA_TYPE* fetched[3] = {};
  ULONG count = 99;
  EXPECT_EQ(from->Next(3, fetched, &count), E_OUTOFMEMORY);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Next(from.Get()), "A");
}

TEST_F(TypeEnumerator, AnswersItsInterfacesAndNoOthers) {
  ComPtr<IEnumMediaTypes> again;
  EXPECT_EQ(types->QueryInterface(IID_IEnumMediaTypes, again.Void()), S_OK);
  void* object = &object;
  EXPECT_EQ(types->QueryInterface(IID_IEnumPins, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(pin->EnumMediaTypes(nullptr), E_POINTER);
}

}  // namespace
