// Plays bytes while they still arrive on standard input, as a download would bring them, and never keeps them in a
// file.
//
//   custom_source LENGTH < pipe            for example: pv --rate-limit 1m movie.mkv | custom_source $(stat -c %s
//   movie.mkv)
//
// How many bytes will come must be known; a server's Content-Length says it. A read of bytes that are not there yet
// waits for them, so that the component needs to know nothing of it: it plays as fast as the bytes come. Files whose
// index lies behind the frames are looked at there first, and play when all is here.

#include <unistd.h>
#include <vantor-mkv/host.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// The bytes so far, one writer and any number of readers.
class Download : public vantor::ByteSource {
 public:
  explicit Download(std::size_t length) : bytes_(length) {}

  // The writer's side: where the next bytes go, that they have come, and that no more will.
  std::size_t Room() const { return bytes_.size() - here_; }
  unsigned char* Next() { return bytes_.data() + here_; }
  void Add(std::size_t count) {
    const std::lock_guard hold(lock_);
    here_ += count;
    changed_.notify_all();
  }
  void Finish() {
    const std::lock_guard hold(lock_);
    finished_ = true;
    changed_.notify_all();
  }

  std::int64_t Length() noexcept override { return static_cast<std::int64_t>(bytes_.size()); }

  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    const std::size_t end = static_cast<std::size_t>(position) + size;
    std::unique_lock hold(lock_);
    if (here_ < end && waits_++ == 0) std::fprintf(stderr, "waiting for the bytes before %zu\n", end);
    changed_.wait(hold, [&] { return here_ >= end || finished_ || flushing_; });
    if (here_ < end) return false;  // the download broke off, or somebody stops or seeks
    hold.unlock();                  // what is here does not change any more
    std::memcpy(buffer, bytes_.data() + position, size);
    return true;
  }

  // Without these two a stop would wait for bytes that may never come.
  void BeginFlush() noexcept override { SetFlushing(true); }
  void EndFlush() noexcept override { SetFlushing(false); }

  std::size_t Waits() {
    const std::lock_guard hold(lock_);
    return waits_;
  }

 private:
  void SetFlushing(bool flushing) {
    const std::lock_guard hold(lock_);
    flushing_ = flushing;
    changed_.notify_all();
  }

  std::vector<unsigned char> bytes_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::size_t here_ = 0;  // written by the writer alone
  std::size_t waits_ = 0;
  bool finished_ = false;
  bool flushing_ = false;
};

void Receive(Download& download) {
  while (download.Room() > 0) {
    const ssize_t count = read(STDIN_FILENO, download.Next(), download.Room());
    if (count <= 0) break;
    download.Add(static_cast<std::size_t>(count));
  }
  download.Finish();
}

class Counter : public vantor::SampleListener {
 public:
  HRESULT OnSample(IMediaSample*) noexcept override {
    ++samples_;
    return S_OK;
  }
  unsigned long Samples() const { return samples_; }

 private:
  std::atomic<unsigned long> samples_{0};
};

// What the samples of all streams come to, or nothing when the bytes cannot be played.
bool Play(const std::shared_ptr<Download>& download) {
  std::string error;
  const std::unique_ptr<vantor::Host> host = vantor::Host::Load(vantor::kMkvDmx, "", error);
  if (!host) return std::fprintf(stderr, "custom_source: %s\n", error.c_str()), false;
  HRESULT hr = host->Open(download, "download.mkv");  // waits until the headers are here
  std::vector<std::shared_ptr<Counter>> counters;
  for (std::size_t stream = 0; SUCCEEDED(hr) && stream < host->StreamCount(); ++stream) {
    counters.push_back(std::make_shared<Counter>());
    hr = host->Connect(stream, counters.back());
  }
  if (SUCCEEDED(hr)) hr = host->Run();
  if (FAILED(hr)) return std::fprintf(stderr, "custom_source: %s\n", vantor::Host::ResultName(hr)), false;
  host->Wait();
  host->Stop();
  for (std::size_t stream = 0; stream < counters.size(); ++stream) {
    std::printf("%s: %lu samples\n", host->StreamName(stream), counters[stream]->Samples());
  }
  if (host->ReadFailed()) std::fprintf(stderr, "custom_source: the bytes ended early\n");
  return !host->ReadFailed() && host->EventCount(EC_ERRORABORT) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const long length = argc == 2 ? std::atol(argv[1]) : 0;
  if (length <= 0) return std::fputs("usage: custom_source LENGTH < BYTES\n", stderr), 2;
  const auto download = std::make_shared<Download>(static_cast<std::size_t>(length));
  std::thread receiver([&] { Receive(*download); });
  const bool played = Play(download);
  receiver.join();
  std::printf("waited %zu times for bytes\n", download->Waits());
  return played ? 0 : 1;
}
