// SampleLog: a listener that keeps a small record of everything one pin delivers.
//
//   const auto spill = std::make_shared<SpillFile>();
//   auto log = std::make_shared<SampleLog>(spill);
//   graph.ConnectSink(pin, log);
//   ... run and stop the graph ...
//   bool isWhole = log->ForEach([&](const LogRecord& record) { return Print(record); });
//
// Its payload is reduced to a checksum and the record packed; a piece of memory that is full of them goes out to the
// spill file. So memory stays the same however much is delivered, but for 16 bytes a piece. Read it once the graph has
// stopped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "host/sample_listener.h"
#include "tools/log_record.h"
#include "tools/spill_file.h"

namespace vantor::tools {

class SampleLog final : public SampleListener {
 public:
  static constexpr std::size_t kPieceSize = std::size_t{64} * 1024;

  // Records are kept in pieces of so many bytes, the last of them in memory.
  explicit SampleLog(std::shared_ptr<SpillFile> spill, std::size_t pieceSize = kPieceSize) noexcept
      : spill_(std::move(spill)), pieceSize_(pieceSize) {}

  void OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;
  HRESULT OnSample(IMediaSample* sample) noexcept override;
  void OnEndOfStream() noexcept override;

  // Keeps a record. A failure is the answer to all later ones too: what is kept has no gaps.
  HRESULT Keep(const LogRecord& record) noexcept;

  // Calls visit with every record in order until it answers false. False then, and when records were lost, or cannot be
  // read back.
  template <typename Visit>
  bool ForEach(Visit&& visit) const {
    std::vector<std::uint8_t> bytes(spilled_.empty() ? 0 : pieceSize_);
    RecordUnpacker unpacker;
    for (const Piece& piece : spilled_) {
      if (!spill_->Read(piece.place, bytes.data(), piece.size) ||
          !VisitPacked(unpacker, bytes.data(), piece.size, visit)) {
        return false;
      }
    }
    return VisitPacked(unpacker, piece_.data(), used_, visit) && SUCCEEDED(failure_);
  }

 private:
  struct Piece {
    std::int64_t place = 0;
    std::size_t size = 0;
  };

  template <typename Visit>
  static bool VisitPacked(RecordUnpacker& unpacker, const std::uint8_t* bytes, std::size_t size, Visit&& visit) {
    for (const std::uint8_t* const end = bytes + size; bytes != end;) {
      LogRecord record;
      bytes = unpacker.Unpack(bytes, record);
      if (!visit(record)) {
        return false;
      }
    }
    return true;
  }

  HRESULT MakeRoom();

  const std::shared_ptr<SpillFile> spill_;
  const std::size_t pieceSize_;
  RecordPacker packer_;
  std::vector<std::uint8_t> piece_;
  std::size_t used_ = 0;
  std::vector<Piece> spilled_;
  HRESULT failure_ = S_OK;
};

}  // namespace vantor::tools
