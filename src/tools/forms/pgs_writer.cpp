// PGS as a .sup file: every segment of a sample behind a header with its time. Segments have a type and a size of
// themselves; what is cut off at a sample's end is left out.
#include "platform/big_endian.h"
#include "tools/forms/form_bytes.h"
#include "tools/forms/subtitle_forms.h"

namespace vantor::tools {
namespace {

class PgsWriter final : public TrackWriter {
 public:
  explicit PgsWriter(OutputBytes& out) : out_(out) {}

  void Write(const TrackSample& sample) override {
    constexpr std::size_t kSegmentHeader = 3;
    if (!sample.start) return;
    for (std::span<const std::uint8_t> rest = sample.payload; rest.size() >= kSegmentHeader;) {
      const std::size_t size = kSegmentHeader + BigEndian<std::size_t>(&rest[1], 2);
      if (size > rest.size()) return;
      FormBytes segment;
      // The second time, of decoding, is not in the file: 0 says so.
      segment.Text("PG").Big(4, MpegTime(*sample.start)).Big(4, 0).Append(rest.first(size));
      out_.Append(segment.Bytes());
      rest = rest.subspan(size);
    }
  }

  void Finish() override {}

 private:
  OutputBytes& out_;
};

}  // namespace

TrackForm PgsForm() {
  return TrackForm{.name = "PGS", .extension = "sup", .companion = {}, .make = [](OutputBytes& out, OutputBytes*) {
                     return std::make_unique<PgsWriter>(out);
                   }};
}

}  // namespace vantor::tools
