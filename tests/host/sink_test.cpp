#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "baseclasses/allocator.h"
#include "host/host_test.h"
#include "host/sink_filter.h"
#include "platform/com_ptr.h"

namespace vantor::test {
namespace {

class Teller final : public SampleListener {
 public:
  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override {
    told +=
        "segment " + std::to_string(start) + " " + std::to_string(stop) + " " + std::to_string(rate).substr(0, 3) + ";";
  }
  HRESULT OnSample(IMediaSample* sample) noexcept override {
    told += "sample " + std::to_string(sample->GetActualDataLength()) + ";";
    return answer;
  }
  void OnEndOfStream() noexcept override {
    told += "end;";
    if (onEnd) {
      onEnd();
    }
  }
  void OnBeginFlush() noexcept override { told += "flush;"; }
  void OnEndFlush() noexcept override { told += "flushed;"; }

  std::string told;
  HRESULT answer = S_OK;
  std::function<void()> onEnd;
};

// An output pin as far as a connection needs one.
class Upstream final : public CBaseFilter {
 public:
  class Pin final : public CBasePin {
   public:
    Pin(CBaseFilter* filter, CCritSec* lock, HRESULT* result)
        : CBasePin(nullptr, filter, lock, result, OLESTR("Out"), PINDIR_OUTPUT) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    STDMETHODIMP BeginFlush() override { return S_OK; }
    STDMETHODIMP EndFlush() override { return S_OK; }
  };

  Upstream() : CBaseFilter(nullptr, nullptr, &lock_, GUID{}), pin_(new Pin(this, &lock_, &result_)) {
    pin_->HoldByFilter();
  }
  ~Upstream() override { pin_->ReleaseByFilter(); }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? pin_ : nullptr; }

 private:
  CCritSec lock_;
  HRESULT result_ = S_OK;
  Pin* const pin_;
};

class SinkTest : public HostTest {
 protected:
  void SetUp() override {
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.formattype = FORMAT_None;
    ASSERT_EQ(upstream_->GetPin(0)->Connect(sink_->InputPin(), &type), S_OK);
    HRESULT hr = S_OK;
    allocator_ = ComPtr<CMemAllocator>(new CMemAllocator(nullptr, nullptr, &hr));
    ALLOCATOR_PROPERTIES properties = {2, 16, 1, 0};
    ALLOCATOR_PROPERTIES actual = {};
    ASSERT_EQ(allocator_->SetProperties(&properties, &actual), S_OK);
    ASSERT_EQ(allocator_->Commit(), S_OK);
  }
  void TearDown() override {
    sink_->Stop();
    sink_->InputPin()->Disconnect();
    upstream_->GetPin(0)->Disconnect();
    allocator_.Reset();
    upstream_.Reset();
    sink_.Reset();
    HostTest::TearDown();
  }

  HRESULT Deliver(LONG size = 3) {
    ComPtr<IMediaSample> sample;
    EXPECT_EQ(allocator_->GetBuffer(sample.Out(), nullptr, nullptr, 0), S_OK);
    sample->SetActualDataLength(size);
    return sink_->InputPin()->Receive(sample.Get());
  }

  std::shared_ptr<Teller> teller_ = std::make_shared<Teller>();
  ComPtr<SinkFilter> sink_ = ComPtr<SinkFilter>::Adopt(SinkFilter::Create(teller_));
  ComPtr<Upstream> upstream_{new Upstream};
  ComPtr<CMemAllocator> allocator_;
};

TEST_F(SinkTest, AcceptsAnyMediaType) {
  AM_MEDIA_TYPE odd = {};
  odd.majortype = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  EXPECT_EQ(sink_->InputPin()->QueryAccept(&odd), S_OK);
}

TEST_F(SinkTest, RefusesSamplesWhileStopped) {
  EXPECT_EQ(Deliver(), VFW_E_WRONG_STATE);
  EXPECT_EQ(teller_->told, "");
}

TEST_F(SinkTest, HandsOnEverythingInOrder) {
  ASSERT_EQ(sink_->Pause(), S_OK);
  SinkPin* const pin = sink_->InputPin();
  pin->NewSegment(5, 7, 1.5);
  EXPECT_EQ(Deliver(3), S_OK);
  EXPECT_EQ(Deliver(4), S_OK);
  pin->BeginFlush();
  EXPECT_EQ(Deliver(), S_FALSE);
  pin->EndFlush();
  EXPECT_EQ(Deliver(5), S_OK);
  EXPECT_EQ(pin->EndOfStream(), S_OK);
  EXPECT_EQ(teller_->told, "segment 5 7 1.5;sample 3;sample 4;flush;flushed;sample 5;end;");
  const SinkCounts counts = sink_->Counts();
  EXPECT_EQ(counts.samples, 3u);
  EXPECT_EQ(counts.bytes, 12u);
  EXPECT_EQ(counts.flushes, 1u);
}

TEST_F(SinkTest, GivesTheListenersAnswer) {
  ASSERT_EQ(sink_->Pause(), S_OK);
  teller_->answer = E_ACCESSDENIED;
  EXPECT_EQ(Deliver(), E_ACCESSDENIED);
}

TEST_F(SinkTest, AnswersAsToldFromTheSampleGivenOn) {
  ASSERT_EQ(sink_->Pause(), S_OK);
  sink_->Gate().Answer(S_FALSE, 1);
  EXPECT_EQ(Deliver(), S_OK);
  EXPECT_EQ(Deliver(), S_FALSE);
  EXPECT_EQ(Deliver(), S_FALSE);
  sink_->Gate().Answer(S_OK);
  EXPECT_EQ(Deliver(), S_OK);
  EXPECT_EQ(sink_->Counts().refused, 2u);
}

TEST_F(SinkTest, AFlushFreesAHeldThreadAndDropsItsSample) {
  ASSERT_EQ(sink_->Pause(), S_OK);
  sink_->Gate().Hold();
  HRESULT answered = S_OK;
  std::thread worker([&] { answered = Deliver(); });
  sink_->Gate().WaitUntilHeld(1);
  sink_->InputPin()->BeginFlush();
  worker.join();
  EXPECT_EQ(answered, VFW_E_WRONG_STATE);
  EXPECT_EQ(teller_->told, "flush;");
  sink_->Gate().LetGo();
  sink_->InputPin()->EndFlush();
  EXPECT_EQ(Deliver(), S_OK);
}

TEST_F(SinkTest, AStopFreesAHeldThread) {
  ASSERT_EQ(sink_->Pause(), S_OK);
  sink_->Gate().Hold();
  HRESULT answered = S_OK;
  std::thread worker([&] { answered = Deliver(); });
  sink_->Gate().WaitUntilHeld(1);
  EXPECT_EQ(sink_->Stop(), S_OK);
  worker.join();
  EXPECT_EQ(answered, VFW_E_WRONG_STATE);
}

TEST_F(SinkTest, ReportsTheEndAndANewStart) {
  sink_->InputPin()->Disconnect();
  upstream_->GetPin(0)->Disconnect();
  std::string reports;
  sink_->InputPin()->OnEnded([&](bool ended) { reports += ended ? "ended " : "going "; });
  SetUp();
  ASSERT_EQ(sink_->Pause(), S_OK);
  sink_->InputPin()->EndOfStream();
  sink_->InputPin()->NewSegment(0, 1, 1.0);
  sink_->InputPin()->EndOfStream();
  sink_->InputPin()->BeginFlush();
  sink_->InputPin()->EndFlush();
  EXPECT_EQ(reports, "ended going ended going going ");
}

TEST_F(SinkTest, AnEndThatAFlushOvertakesIsForgotten) {
  sink_->InputPin()->Disconnect();
  upstream_->GetPin(0)->Disconnect();
  bool ended = false;
  sink_->InputPin()->OnEnded([&](bool now) { ended = now; });
  SetUp();
  ASSERT_EQ(sink_->Pause(), S_OK);
  teller_->onEnd = [&] { sink_->InputPin()->BeginFlush(); };
  EXPECT_EQ(sink_->InputPin()->EndOfStream(), S_OK);
  sink_->InputPin()->EndFlush();
  EXPECT_FALSE(ended);
}

// The pins of a filter become inactive before its state says that it is stopped.
TEST_F(SinkTest, AnEndThatComesWhileTheSinkIsStoppingIsRefused) {
  ASSERT_EQ(sink_->Pause(), S_OK);
  sink_->InputPin()->Inactive();
  EXPECT_EQ(sink_->InputPin()->EndOfStream(), VFW_E_WRONG_STATE);
  EXPECT_EQ(teller_->told, "");
}

TEST_F(SinkTest, AnEndWhileStoppedIsRefused) {
  EXPECT_EQ(sink_->InputPin()->EndOfStream(), VFW_E_WRONG_STATE);
  EXPECT_EQ(sink_->Counts().ends, 0u);
}

}  // namespace
}  // namespace vantor::test
