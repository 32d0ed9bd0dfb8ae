// Samples of any kind one after the other, and an index of them as a second file, one JSON object:
//   {"schema_version":1,"media_type":{...},"samples":[
//   {"offset":0,"size":812,"start":0,"stop":400000,"sync":true},
//   {"offset":812,"size":96,"start":null,"stop":null,"sync":false}
//   ]}
//
// Times are in 100 ns, null where a sample has none.
#pragma once

#include <memory>

#include "tools/forms/track_writer.h"
#include "tools/json_text.h"

namespace vantor::tools {

class RawWriter final : public TrackWriter {
 public:
  RawWriter(OutputBytes& out, OutputBytes& index, const AM_MEDIA_TYPE& type);

  void Write(const TrackSample& sample) override;
  void Finish() override;

 private:
  void AppendToIndex();

  OutputBytes& out_;
  OutputBytes& index_;
  Buffer text_;
  bool hasBegun_ = false;
};

// Of every media type.
TrackForm RawFormOf(const AM_MEDIA_TYPE& type);

}  // namespace vantor::tools
