// Samples of foreign allocators that do not tell the truth about themselves.
#include <atomic>
#include <string>
#include <utility>

#include "platform/platform.h"
#include "streaming/worker_harness.h"
#include "support/fake_allocator.h"

namespace vantor::test {
namespace {

class StrangeSamplesTest : public DemuxTest {};

// Another sample with lies of the test's choice.
class LyingSample final : public CUnknown, public IMediaSample {
 public:
  explicit LyingSample(ComPtr<IMediaSample> inner)
      : CUnknown(OLESTR("lying sample"), nullptr), inner_(std::move(inner)) {}

  LONG actualLength = 0;
  HRESULT pointerResult = S_OK;

  DECLARE_IUNKNOWN
  STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** object) override {
    if (SameGuid(riid, IID_IMediaSample)) return GetInterface(static_cast<IMediaSample*>(this), object);
    return CUnknown::NonDelegatingQueryInterface(riid, object);
  }
  STDMETHODIMP GetPointer(BYTE** data) override {
    return FAILED(pointerResult) ? pointerResult : inner_->GetPointer(data);
  }
  STDMETHODIMP_(LONG) GetSize() override { return inner_->GetSize(); }
  STDMETHODIMP GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override { return inner_->GetTime(start, stop); }
  STDMETHODIMP SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override { return inner_->SetTime(start, stop); }
  STDMETHODIMP IsSyncPoint() override { return inner_->IsSyncPoint(); }
  STDMETHODIMP SetSyncPoint(BOOL sync) override { return inner_->SetSyncPoint(sync); }
  STDMETHODIMP IsPreroll() override { return inner_->IsPreroll(); }
  STDMETHODIMP SetPreroll(BOOL preroll) override { return inner_->SetPreroll(preroll); }
  STDMETHODIMP_(LONG) GetActualDataLength() override { return actualLength; }
  STDMETHODIMP SetActualDataLength(LONG length) override { return inner_->SetActualDataLength(length); }
  STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** type) override { return inner_->GetMediaType(type); }
  STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* type) override { return inner_->SetMediaType(type); }
  STDMETHODIMP IsDiscontinuity() override { return inner_->IsDiscontinuity(); }
  STDMETHODIMP SetDiscontinuity(BOOL discontinuity) override { return inner_->SetDiscontinuity(discontinuity); }
  STDMETHODIMP GetMediaTime(LONGLONG* start, LONGLONG* stop) override { return inner_->GetMediaTime(start, stop); }
  STDMETHODIMP SetMediaTime(LONGLONG* start, LONGLONG* stop) override { return inner_->SetMediaTime(start, stop); }

  IMediaSample* Inner() { return inner_.Get(); }

 private:
  ~LyingSample() override = default;
  const ComPtr<IMediaSample> inner_;
};

TEST_F(StrangeSamplesTest, NothingIsConvertedBehindTheBufferWhateverLengthASampleClaims) {
  const Raw frame{0, 0, 0, 1, 0xAA, 0xBB, 0, 0, 0, 1, 0xCC};
  struct Case {
    LONG claimed;
    std::uint8_t length;  // what stands before the first unit afterwards: a start code's last byte, or its length
  };
  for (const auto& [claimed, length] : {Case{-1, 1}, Case{0, 1}, Case{LONG{1} << 30, 2}}) {
    SCOPED_TRACE(claimed);
    const LONG promised = claimed;
    WorkerHarness at(MediaFile(100, {VideoTrack(1)}, {{0, {SimpleBlock(1, 0, kKey, frame)}}}), true, false);
    const auto allocator = FakeAllocator::GivenTo(*at.sink);
    // What lies behind the buffer belongs to nobody, or to the next sample.
    ComPtr<LyingSample> lying;
    allocator->onReplace = [&](ComPtr<IMediaSample> sample) {
      lying = ComPtr<LyingSample>(new LyingSample(std::move(sample)));
      lying->actualLength = promised;
      return ComPtr<IMediaSample>(lying.Get());
    };
    at.sink->keepsSamples = false;
    Raw converted;
    at.sink->onReceive = [&](IMediaSample*) {
      BYTE* data = nullptr;
      lying->Inner()->GetPointer(&data);
      converted.assign(data, data + lying->Inner()->GetActualDataLength());
      return S_OK;
    };
    ASSERT_EQ(at.pin->Connect(at.sink->Pin(), &at.type), S_OK);
    ASSERT_EQ(at.sink->Pause(), S_OK);
    ASSERT_EQ(at.pin->Active(), S_OK);
    ASSERT_EQ(at.worker->StartWorker(), S_OK);
    at.sink->WaitForEnds(1);
    ASSERT_EQ(at.worker->StopWorker(), S_OK);
    ASSERT_EQ(converted.size(), frame.size());
    EXPECT_EQ(Raw(converted.begin(), converted.begin() + 6), (Raw{0, 0, 0, length, 0xAA, 0xBB}));
    lying.Reset();
  }
}

}  // namespace
}  // namespace vantor::test
