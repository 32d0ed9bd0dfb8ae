// The filter as a part of another object while one of its workers does not answer: who counts, and who goes when.
#include <atomic>

#include "filter/patient_filter.h"
#include "platform/platform.h"
#include "support/control_file.h"
#include "support/demux_harness.h"
#include "support/misbehaving_sink.h"
#include "support/stubborn_reader.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

using std::chrono::milliseconds;

constexpr Patience kShort{milliseconds(20), milliseconds(20), milliseconds(20)};

// Lets its part go with its last reference, and notes who calls it after that.
class Outer final : public IUnknown {
 public:
  virtual ~Outer() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    Note();
    if (!SameGuid(iid, IID_IUnknown)) return inner->QueryInterface(iid, object);
    *object = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    Note();
    return static_cast<ULONG>(++references);
  }
  ULONG STDMETHODCALLTYPE Release() override {
    Note();
    const int left = --references;
    if (left != 0) return static_cast<ULONG>(left);
    isGone = true;
    inner.Reset();
    return 0;
  }

  std::atomic<int> references{1};
  std::atomic<bool> isGone{false};
  std::atomic<int> callsAfterwards{0};
  ComPtr<IUnknown> inner;

 private:
  void Note() {
    if (isGone) ++callsAfterwards;
  }
};

// An aggregated filter that runs, with a worker that the source holds.
class AggregationTest : public DemuxTest {
 protected:
  void SetUp() override {
    neighbours_ = CBaseObject::ObjectsActive();
    HRESULT result = S_OK;
    filter_ = new CVXMkvDmx(&outer_, &result, platform::FindFontFunctions(), platform::SystemTemporaryFiles(), kShort);
    ASSERT_EQ(result, S_OK);
    filter_->NonDelegatingAddRef();
    ASSERT_EQ(filter_->NonDelegatingQueryInterface(IID_IUnknown, outer_.inner.Void()), S_OK);
    filter_->NonDelegatingRelease();
    ASSERT_EQ(source_->Pin()->Connect(filter_->GetPin(0), &source_->type), S_OK);
    ASSERT_EQ(filter_->GetPin(1)->Connect(sink_->Pin(), nullptr), S_OK);
    reader_->Arm(Stubbornness::kBlocksUntilLetGo, file_.secondBlock[0]);
    sink_->Run(0);
    ASSERT_EQ(filter_->Run(0), S_OK);
    while (reader_->Held() == 0) SleepMilliseconds(1);
  }
  void TearDown() override {
    sink_.Reset();
    source_.Reset();
    reader_.Reset();
    DemuxTest::TearDown();
  }

  // The neighbours go, and then whoever had made the whole.
  void ReleaseAll() {
    sink_->Forget();
    source_->Forget();
    EXPECT_EQ(outer_.references, 1) << "all others were given back";
    outer_.Release();
  }
  // What is left over when the filter has gone: source, sink, a pin each, and the reader.
  void WaitUntilTheFilterIsGone() const {
    while (CBaseObject::ObjectsActive() > neighbours_) SleepMilliseconds(1);
    EXPECT_EQ(CBaseObject::ObjectsActive(), neighbours_);
  }

  const Watchdog watchdog_{"an aggregated filter with a late worker"};
  const ControlFile& file_ = ControlFile::Get();
  ComPtr<StubbornReader> reader_ = StubbornReader::Create(file_.bytes);
  ComPtr<FakeSource> source_ = FakeSource::Create(reader_.Get());
  ComPtr<MisbehavingSink> sink_ = MisbehavingSink::Create();
  LONG neighbours_ = 0;
  Outer outer_;
  CVXMkvDmx* filter_ = nullptr;  // held by the outer object
};

TEST_F(AggregationTest, TheOuterObjectGoesWhileAWorkerIsLateAndIsNotCalledAgain) {
  ReleaseAll();
  EXPECT_TRUE(outer_.isGone);
  EXPECT_EQ(reader_->Held(), 1);
  EXPECT_GT(CBaseObject::ObjectsActive(), neighbours_) << "what the worker may touch is there, and counted";
  // Whoever is called by the worker and asks for its filter has one that counts on itself.
  PIN_INFO info = {};
  ASSERT_EQ(filter_->GetPin(0)->QueryPinInfo(&info), S_OK);
  info.pFilter->Release();
  reader_->Behave();
  WaitUntilTheFilterIsGone();
  EXPECT_EQ(outer_.callsAfterwards, 0);
}

TEST_F(AggregationTest, AWorkerThatIsLeftToItselfHoldsNoReferenceOfTheOuterObject) {
  const int before = outer_.references;
  EXPECT_EQ(filter_->Stop(), VFW_E_TIMEOUT);
  EXPECT_EQ(outer_.references, before);
  reader_->Behave();
  while (static_cast<CVXMkvDmxOutputPin*>(filter_->GetPin(1))->IsLate()) SleepMilliseconds(1);
  EXPECT_EQ(outer_.references, before) << "nor gives one back when it comes home";

  // The whole works on as if nothing had been.
  sink_->Behave();
  HRESULT result = filter_->Run(0);
  for (; result == VFW_E_TIMEOUT; result = filter_->Run(0)) SleepMilliseconds(1);
  EXPECT_EQ(result, S_OK);
  while (sink_->Ends() == 0) SleepMilliseconds(1);
  EXPECT_EQ(sink_->Played().back(), file_.frames[0].back());
  EXPECT_EQ(filter_->Stop(), S_OK);
  ReleaseAll();
  EXPECT_TRUE(outer_.isGone);
  WaitUntilTheFilterIsGone();
  EXPECT_EQ(outer_.callsAfterwards, 0);
}

}  // namespace
}  // namespace vantor::test
