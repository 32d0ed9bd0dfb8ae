// Plays a Matroska or WebM file through the demultiplexer, and prints its streams and every sample that they deliver.
//
//   native_host FILE [COMPONENT]
//
// Built with CMake (see CMakeLists.txt), or by hand:
//
//   c++ -std=c++17 main.cpp -o native_host $(pkg-config --cflags --libs vantor-mkv)
//
// The file is read by this program itself, through a ByteSource, as bytes of any other origin would be; for a plain
// file host->OpenFile(path) does the same.

// Gives the identifiers of the interfaces' headers, such as MEDIATYPE_Video, their storage. In one source of a program.
#define INITGUID
#include <fcntl.h>
#include <unistd.h>
#include <vantor-mkv/host.h>
#include <vantor-mkv/media_guids.h>

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>

namespace {

// A file. Reads at positions need no lock between the streams' threads.
class FileBytes : public vantor::ByteSource {
 public:
  explicit FileBytes(const char* path) : file_(open(path, O_RDONLY | O_CLOEXEC)) {}
  ~FileBytes() override {
    if (IsOpen()) close(file_);
  }
  bool IsOpen() const { return file_ >= 0; }

  std::int64_t Length() noexcept override { return lseek(file_, 0, SEEK_END); }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    auto* to = static_cast<char*>(buffer);
    while (size > 0) {
      const ssize_t count = pread(file_, to, size, position);
      if (count <= 0) return false;
      to += count;
      position += count;
      size -= static_cast<std::size_t>(count);
    }
    return true;
  }

 private:
  const int file_;
};

// What comes out of one stream. The streams deliver on threads of their own.
class Printer : public vantor::SampleListener {
 public:
  explicit Printer(std::size_t stream) : stream_(stream) {}

  HRESULT OnSample(IMediaSample* sample) noexcept override {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const bool timed = SUCCEEDED(sample->GetTime(&start, &stop));
    const std::string at = timed ? " at " + std::to_string(start / 10000) + " ms" : "";  // times are in units of 100 ns
    // One call, so that the lines of other streams do not come between.
    std::printf("%zu: %ld bytes%s%s\n", stream_, static_cast<long>(sample->GetActualDataLength()), at.c_str(),
                sample->IsSyncPoint() == S_OK ? ", a key frame" : "");
    ++samples_;
    return S_OK;
  }
  void OnEndOfStream() noexcept override { std::printf("%zu: end, %" PRIu64 " samples\n", stream_, samples_); }

 private:
  const std::size_t stream_;
  std::uint64_t samples_ = 0;
};

const char* KindOf(const AM_MEDIA_TYPE& type) {
  if (IsEqualGUID(type.majortype, MEDIATYPE_Video)) return "video";
  if (IsEqualGUID(type.majortype, MEDIATYPE_Audio)) return "audio";
  return IsEqualGUID(type.majortype, vantor::kTypeSubtitle) ? "subtitles" : "other";
}

int Fail(const char* what, HRESULT result) {
  std::fprintf(stderr, "native_host: %s: %s\n", what, vantor::Host::ResultName(result));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return std::fputs("usage: native_host FILE [COMPONENT]\n", stderr), 2;
  const auto file = std::make_shared<FileBytes>(argv[1]);
  if (!file->IsOpen()) return std::perror(argv[1]), 2;

  std::string error;
  const std::unique_ptr<vantor::Host> host = vantor::Host::Load(vantor::kMkvDmx, argc > 2 ? argv[2] : "", error);
  if (!host) return std::fprintf(stderr, "native_host: %s\n", error.c_str()), 2;

  // The headers are read here; the streams are known from then on.
  if (const HRESULT hr = host->Open(file, argv[1]); FAILED(hr)) return Fail(argv[1], hr);
  for (std::size_t stream = 0; stream < host->StreamCount(); ++stream) {
    if (const AM_MEDIA_TYPE* type = host->Type(stream)) {
      const char* codec = vantor::Host::CodecName(type->subtype);
      std::printf("%zu: %s, %s, %s\n", stream, host->StreamName(stream), KindOf(*type), codec ? codec : "?");
    }
    if (const HRESULT hr = host->Connect(stream, std::make_shared<Printer>(stream)); FAILED(hr)) {
      return Fail(host->StreamName(stream), hr);
    }
  }

  if (const HRESULT hr = host->Run(); FAILED(hr)) return Fail("running", hr);
  host->Wait();
  host->Stop();
  return host->ReadFailed() || host->EventCount(EC_ERRORABORT) > 0 ? 1 : 0;
}
