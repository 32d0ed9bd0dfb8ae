#include "tools/forms/raw_writer.h"

#include <fmt/format.h>

#include <cstdint>
#include <iterator>

#include "baseclasses/media_type.h"
#include "tools/listing.h"

namespace vantor::tools {
namespace {

void AppendTime(Buffer& text, const std::optional<std::int64_t>& time) {
  if (time) {
    fmt::format_to(std::back_inserter(text), "{}", *time);
  } else {
    fmt::format_to(std::back_inserter(text), "null");
  }
}

}  // namespace

RawWriter::RawWriter(OutputBytes& out, OutputBytes& index, const AM_MEDIA_TYPE& type) : out_(out), index_(index) {
  fmt::format_to(std::back_inserter(text_), "{{\"schema_version\":1,\"media_type\":");
  AppendMediaType(text_, type);
  fmt::format_to(std::back_inserter(text_), ",\"samples\":[");
  AppendToIndex();
}

void RawWriter::Write(const TrackSample& sample) {
  fmt::format_to(std::back_inserter(text_), "{}\n{{\"offset\":{},\"size\":{},\"start\":", hasBegun_ ? "," : "",
                 out_.Size(), sample.payload.size());
  AppendTime(text_, sample.start);
  fmt::format_to(std::back_inserter(text_), ",\"stop\":");
  AppendTime(text_, sample.stop);
  fmt::format_to(std::back_inserter(text_), ",\"sync\":{}}}", sample.sync);
  hasBegun_ = true;
  AppendToIndex();
  out_.Append(sample.payload);
}

void RawWriter::Finish() {
  fmt::format_to(std::back_inserter(text_), "\n]}}\n");
  AppendToIndex();
}

void RawWriter::AppendToIndex() {
  index_.Append({reinterpret_cast<const std::uint8_t*>(text_.data()), text_.size()});
  text_.clear();
}

TrackForm RawFormOf(const AM_MEDIA_TYPE& type) {
  return {"raw samples", "bin", "json", [own = CMediaType(type)](OutputBytes& out, OutputBytes* index) {
            return std::make_unique<RawWriter>(out, *index, own);
          }};
}

}  // namespace vantor::tools
