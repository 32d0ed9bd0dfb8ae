#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "hosting/host.h"
#include "platform/platform.h"
#include "support/watchdog.h"

namespace vantor::test {
namespace {

const std::string kMedium = VANTOR_TEST_MEDIA "/avc_aac.mkv";
// As its list of packets says.
constexpr std::size_t kVideoSamples = 50;

std::vector<char> BytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The medium, of which what lies behind a position can be held back or refused.
class TestSource final : public ByteSource {
 public:
  enum class Behind { kGiven, kRefused, kHeldBack };

  // Those read from now on; the headers are read before.
  void Treat(Behind how, std::int64_t from) {
    const std::lock_guard<std::mutex> hold(lock_);
    how_ = how;
    from_ = from;
  }
  void AwaitReader() {
    std::unique_lock<std::mutex> hold(lock_);
    changed_.wait(hold, [&] { return waiting_ > 0; });
  }

  std::int64_t Length() noexcept override { return static_cast<std::int64_t>(bytes_.size()); }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    std::unique_lock<std::mutex> hold(lock_);
    const bool behind = position + static_cast<std::int64_t>(size) > from_;
    if (behind && how_ == Behind::kRefused) {
      return false;
    }
    if (behind && how_ == Behind::kHeldBack) {
      ++waiting_;
      changed_.notify_all();
      changed_.wait(hold, [&] { return flushing_; });
      --waiting_;
      return false;
    }
    std::memcpy(buffer, bytes_.data() + position, size);
    return true;
  }
  void BeginFlush() noexcept override { SetFlushing(true); }
  void EndFlush() noexcept override { SetFlushing(false); }

 private:
  void SetFlushing(bool flushing) {
    const std::lock_guard<std::mutex> hold(lock_);
    flushing_ = flushing;
    changed_.notify_all();
  }

  const std::vector<char> bytes_ = BytesOf(kMedium);
  std::mutex lock_;
  std::condition_variable changed_;
  Behind how_ = Behind::kGiven;
  std::int64_t from_ = 0;
  int waiting_ = 0;
  bool flushing_ = false;
};

// The same bytes as an IAsyncReader, which is the test's.
class TestReader final : public IAsyncReader {
 public:
  virtual ~TestReader() = default;

  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }
  STDMETHODIMP RequestAllocator(IMemAllocator*, ALLOCATOR_PROPERTIES*, IMemAllocator**) override { return Unasked(); }
  STDMETHODIMP Request(IMediaSample*, DWORD_PTR) override { return Unasked(); }
  STDMETHODIMP WaitForNext(DWORD, IMediaSample**, DWORD_PTR*) override { return Unasked(); }
  STDMETHODIMP SyncReadAligned(IMediaSample*) override { return Unasked(); }
  STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) override {
    return source.Read(position, buffer, static_cast<std::size_t>(length)) ? S_OK : S_FALSE;
  }
  STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) override {
    *total = *available = source.Length();
    return lengthResult;
  }
  STDMETHODIMP BeginFlush() override {
    source.BeginFlush();
    return S_OK;
  }
  STDMETHODIMP EndFlush() override {
    source.EndFlush();
    return S_OK;
  }

  TestSource source;
  HRESULT lengthResult = S_OK;
  std::atomic<ULONG> references{0};
  std::atomic<int> unasked{0};

 private:
  HRESULT Unasked() {
    ++unasked;
    return E_NOTIMPL;
  }
};

struct Counter final : SampleListener {
  HRESULT OnSample(IMediaSample*) noexcept override {
    ++samples;
    return S_OK;
  }
  std::atomic<std::size_t> samples{0};
};

class HostLibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    host_ = Host::Load(kMkvDmx, "", error_);
    ASSERT_NE(host_, nullptr) << error_;
  }
  // Nothing of the component is alive when the host has gone.
  void TearDown() override {
    const std::unique_ptr<SharedLibrary> component = SharedLibrary::Load(VANTOR_COMPONENT);
    ASSERT_NE(component, nullptr);
    host_.reset();
    EXPECT_EQ(reader_.references, 0U);
    EXPECT_EQ(component->FindFunction<HRESULT()>("DllCanUnloadNow")(), S_OK);
  }

  void Open() {
    ASSERT_EQ(host_->Open(source_, "movie.mkv"), S_OK);
    Connect();
  }
  void Connect() {
    for (std::size_t stream = 0; stream < host_->StreamCount(); ++stream) {
      counters_.push_back(std::make_shared<Counter>());
      ASSERT_EQ(host_->Connect(stream, counters_.back()), S_OK);
    }
  }

  std::string error_;
  TestReader reader_;
  std::unique_ptr<Host> host_;
  const std::shared_ptr<TestSource> source_ = std::make_shared<TestSource>();
  std::vector<std::shared_ptr<Counter>> counters_;
};

TEST_F(HostLibraryTest, PlaysBytesOfTheProgramsOwn) {
  Open();
  ASSERT_EQ(counters_.size(), 2U);
  EXPECT_STREQ(host_->StreamName(0), "AVC video 1");
  EXPECT_STREQ(Host::CodecName(host_->Type(0)->subtype), "AVC (H.264)");
  EXPECT_EQ(host_->Run(), S_OK);
  EXPECT_EQ(host_->Wait(), WaitResult::kEnded);
  EXPECT_EQ(host_->Stop(), S_OK);
  EXPECT_EQ(counters_[0]->samples, kVideoSamples);
  EXPECT_FALSE(host_->ReadFailed());
  EXPECT_EQ(host_->EventCount(EC_ERRORABORT), 0U);
}

TEST_F(HostLibraryTest, PlaysAReaderOfTheProgramsOwnAndGivesItBack) {
  ASSERT_EQ(host_->OpenReader(&reader_, "movie.mkv"), S_OK);
  Connect();
  EXPECT_EQ(host_->Run(), S_OK);
  EXPECT_EQ(host_->Wait(), WaitResult::kEnded);
  EXPECT_EQ(host_->Stop(), S_OK);
  EXPECT_EQ(counters_[0]->samples, kVideoSamples);
  EXPECT_FALSE(host_->ReadFailed());
  EXPECT_EQ(reader_.unasked, 0);
}

TEST_F(HostLibraryTest, StopLetsGoOfAReaderThatWaits) {
  ASSERT_EQ(host_->OpenReader(&reader_, "movie.mkv"), S_OK);
  Connect();
  reader_.source.Treat(TestSource::Behind::kHeldBack, reader_.source.Length() / 2);
  EXPECT_EQ(host_->Run(), S_OK);
  const Watchdog watchdog("a stop while the reader waits");
  reader_.source.AwaitReader();
  EXPECT_EQ(host_->Stop(), S_OK);
  EXPECT_FALSE(host_->ReadFailed());
}

TEST_F(HostLibraryTest, TellsThatAReaderIsCutShort) {
  ASSERT_EQ(host_->OpenReader(&reader_, "movie.mkv"), S_OK);
  Connect();
  reader_.source.Treat(TestSource::Behind::kRefused, reader_.source.Length() / 2);
  EXPECT_EQ(host_->Run(), S_OK);
  EXPECT_EQ(host_->Wait(), WaitResult::kEnded);
  EXPECT_EQ(host_->Stop(), S_OK);
  EXPECT_TRUE(host_->ReadFailed());
}

TEST_F(HostLibraryTest, AReaderWithoutALengthIsRefusedWithItsResult) {
  reader_.lengthResult = VFW_E_WRONG_STATE;
  EXPECT_EQ(host_->OpenReader(&reader_, "movie.mkv"), VFW_E_WRONG_STATE);
  EXPECT_EQ(reader_.references, 0U);
  reader_.lengthResult = S_OK;
  EXPECT_EQ(host_->OpenReader(&reader_, "movie.mkv"), S_OK);
}

TEST_F(HostLibraryTest, PlaysAFileLikeItsBytes) {
  Open();
  const std::unique_ptr<Host> other = Host::Load(kMkvDmxComplete, "", error_);
  ASSERT_NE(other, nullptr) << error_;
  EXPECT_EQ(other->OpenFile(kMedium), S_OK);
  EXPECT_EQ(other->StreamCount(), host_->StreamCount());
}

TEST_F(HostLibraryTest, StopLetsGoOfAReadThatWaitsForBytes) {
  Open();
  source_->Treat(TestSource::Behind::kHeldBack, source_->Length() / 2);
  EXPECT_EQ(host_->Run(), S_OK);
  const Watchdog watchdog("a stop while the source waits");
  source_->AwaitReader();
  EXPECT_EQ(host_->Stop(), S_OK);
  EXPECT_FALSE(host_->ReadFailed()) << "a read that was let go is not one that failed";
}

TEST_F(HostLibraryTest, TellsThatBytesCouldNotBeHad) {
  Open();
  source_->Treat(TestSource::Behind::kRefused, source_->Length() / 2);
  EXPECT_EQ(host_->Run(), S_OK);
  EXPECT_EQ(host_->Wait(), WaitResult::kEnded);
  EXPECT_EQ(host_->Stop(), S_OK);
  EXPECT_TRUE(host_->ReadFailed());
  EXPECT_LT(counters_[0]->samples, kVideoSamples);
}

TEST_F(HostLibraryTest, CancelEndsAWait) {
  Open();
  source_->Treat(TestSource::Behind::kHeldBack, source_->Length() / 2);
  EXPECT_EQ(host_->Run(), S_OK);
  host_->Cancel();
  EXPECT_EQ(host_->Wait(), WaitResult::kCancelled);
}

TEST_F(HostLibraryTest, RefusesWhatIsNotThere) {
  EXPECT_EQ(host_->Open(nullptr, "movie.mkv"), E_POINTER);
  EXPECT_EQ(host_->OpenReader(nullptr, "movie.mkv"), E_POINTER);
  EXPECT_EQ(host_->OpenFile("/nothing/there.mkv"), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(host_->StreamCount(), 0U);
  EXPECT_EQ(host_->Connect(0, nullptr), E_INVALIDARG);
  EXPECT_EQ(host_->StreamName(0), nullptr);
  EXPECT_EQ(host_->Type(0), nullptr);
  EXPECT_EQ(host_->Pin(0), nullptr);
  EXPECT_EQ(host_->Seeking(), nullptr);
  Open();
  EXPECT_EQ(host_->Open(source_, "movie.mkv"), VFW_E_WRONG_STATE);
  EXPECT_EQ(host_->Type(0, host_->TypeCount(0)), nullptr);
  EXPECT_NE(host_->Seeking(), nullptr);
  EXPECT_EQ(Host::Load(kMkvDmx, "/nothing/there.so", error_), nullptr);
  EXPECT_NE(error_.find("/nothing/there.so"), std::string::npos) << error_;
  EXPECT_EQ(Host::Load({kFilterName, GUID_NULL, GUID_NULL, GUID_NULL}, VANTOR_COMPONENT, error_), nullptr);
  EXPECT_EQ(error_, "the component makes no filter: 0x80040111");
}

}  // namespace
}  // namespace vantor::test
