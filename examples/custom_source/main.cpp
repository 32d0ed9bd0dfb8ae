// Plays bytes that are no file: those that still arrive on standard input, as a download would bring them, or those
// that are in memory.
//
//   custom_source LENGTH < PIPE       while they arrive, by a ByteSource (download.h); for example
//                                     pv -L 1m movie.mkv | custom_source $(stat -c %s movie.mkv)
//   custom_source --memory < BYTES    once all are here, by an IAsyncReader (memory_reader.h)
//
// Files whose index lies behind the frames are looked at there first, and play when all is here.

// Gives the identifiers of the interfaces' headers, such as IID_IAsyncReader, their storage. In one source of a
// program.
#define INITGUID
#include <unistd.h>
#include <vantor-mkv/host.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "download.h"
#include "memory_reader.h"

namespace {

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

// What the samples of all streams come to, of the bytes that the function gives the host; false when they cannot be
// played.
bool Play(const std::function<HRESULT(vantor::Host&)>& open) {
  std::string error;
  const std::unique_ptr<vantor::Host> host = vantor::Host::Load(vantor::kMkvDmx, "", error);
  if (!host) return std::fprintf(stderr, "custom_source: %s\n", error.c_str()), false;
  HRESULT hr = open(*host);  // waits until the headers are here
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

void Receive(Download& download) {
  while (download.Room() > 0) {
    const ssize_t count = read(STDIN_FILENO, download.Next(), download.Room());
    if (count <= 0) break;
    download.Add(static_cast<std::size_t>(count));
  }
  download.Finish();
}

bool PlayDownload(std::size_t length) {
  const auto download = std::make_shared<Download>(length);
  std::thread receiver([&] { Receive(*download); });
  const bool played = Play([&](vantor::Host& host) { return host.Open(download, "download.mkv"); });
  receiver.join();
  std::printf("waited %zu times for bytes\n", download->Waits());
  return played;
}

bool PlayMemory() {
  std::vector<unsigned char> bytes;
  unsigned char block[65536];
  for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, stdin)) > 0;) {
    bytes.insert(bytes.end(), block, block + count);
  }
  MemoryReader* const reader = MemoryReader::Create(std::move(bytes));
  const bool played = Play([&](vantor::Host& host) { return host.OpenReader(reader, "memory.mkv"); });
  // The host has given its references back.
  std::printf("references left: %lu\n", static_cast<unsigned long>(reader->Release()));
  return played;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc == 2 ? argv[1] : "";
  if (what == "--memory") return PlayMemory() ? 0 : 1;
  const long length = std::atol(what.c_str());
  if (length <= 0) return std::fputs("usage: custom_source LENGTH|--memory < BYTES\n", stderr), 2;
  return PlayDownload(static_cast<std::size_t>(length)) ? 0 : 1;
}
