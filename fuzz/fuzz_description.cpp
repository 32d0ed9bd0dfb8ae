// The stream description file: the input stands beside a media file whose tracks lack their AVC configurations. The
// filter is connected to that file, which is when it reads the description; nothing is played.
//
// Besides what the sanitizers find: whatever the file says, the connection succeeds, and a pin's format block is whole.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "baseclasses/unknown.h"
#include "filter/mkv_filter.h"
#include "fuzz/expect.h"
#include "host/graph.h"
#include "platform/com_ptr.h"
#include "platform/text.h"
#include "support/mkv_builder.h"

namespace vantor::fuzz {

namespace {

// A folder in memory, where there is one, with the description file; removed when the program ends.
class Folder {
 public:
  Folder() {
    const bool inMemory = std::filesystem::is_directory("/dev/shm");
    path_ =
        (inMemory ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path()) / "vantor-fuzz-XXXXXX";
    std::string name = path_.string();
    Expect(mkdtemp(name.data()) != nullptr, "a temporary folder can be made");
    path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void Describe(const std::uint8_t* data, std::size_t size) const {
    std::ofstream file(path_ / "input.conf", std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    Expect(static_cast<bool>(file.flush()), "the description can be written");
  }
  WideString MediaPath() const { return Utf8ToWide((path_ / "input.mkv").string()); }

 private:
  std::filesystem::path path_;
};

// Three tracks without private data: with a plain name, with one beyond ASCII, and without.
const std::vector<unsigned char>& MediaFile() {
  using namespace vantor::test;
  static const std::vector<unsigned char> kFile =
      MkvFile({Info(1000000, 100.0),
               Tracks({Track(1, 1, "V_MPEG4/ISO/AVC", {Video(320, 240), Str(0x536E, "Main")}),
                       Track(2, 1, "V_MPEG4/ISO/AVC", {Video(320, 240), Str(0x536E, "\xC3\x84=] x")}),
                       Track(3, 1, "V_MPEG4/ISO/AVC", {Video(320, 240)})}),
               Cluster(0, {SimpleBlock(1, 0, kKey, Ramp(40))})});
  return kFile;
}

void CheckTypes(const GraphPin& pin) {
  for (const CMediaType& type : pin.types) {
    Expect(type.cbFormat == 0 || type.pbFormat != nullptr, "a format block is there");
    if (!IsEqualGUID(type.formattype, FORMAT_MPEG2Video)) continue;
    Expect(type.cbFormat >= sizeof(MPEG2VIDEOINFO), "a format block is whole");
    const auto* const format = reinterpret_cast<const MPEG2VIDEOINFO*>(type.pbFormat);
    Expect(format->cbSequenceHeader <= type.cbFormat - FIELD_OFFSET(MPEG2VIDEOINFO, dwSequenceHeader),
           "the parameter sets lie in the format block");
  }
}

void Connect(const WideString& mediaPath) {
  HRESULT result = S_OK;
  const ComPtr<IBaseFilter> filter(new CVXMkvDmx(nullptr, &result));
  Graph graph;
  Expect(SUCCEEDED(result) && SUCCEEDED(graph.Adopt(filter.Get())), "the filter joins a graph");
  Expect(SUCCEEDED(graph.ConnectInput(MakeMemoryStore(MediaFile()), mediaPath)), "the media file is accepted");
  for (const GraphPin& pin : graph.Pins()) CheckTypes(pin);
}

}  // namespace

}  // namespace vantor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantor::fuzz;
  static const Folder folder;
  folder.Describe(data, size);
  Connect(folder.MediaPath());
  Expect(CBaseObject::ObjectsActive() == 0, "no object stays alive");
  return 0;
}
