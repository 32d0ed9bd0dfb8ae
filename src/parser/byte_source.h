// Byte sources: a cursor over the file, read through the upstream filter's IAsyncReader.
//
//   CMkvFileRoot root(reader, true);  // the opened file is a source itself
//   CMkvFileClone clone(root);        // a cursor of its own, for another thread
//   std::uint8_t bytes[4];
//   clone.position = 100;
//   if (clone.Read(bytes, sizeof bytes) == S_OK) Use(bytes[0]);  // clone.position is 104 now
//
// Nothing is cached: every Read is one or more SyncRead calls at the exact position, so positions are always file
// offsets, which they also are where the policy puts a ReadBuffer in front of the reader. The parser moves the cursor
// by assigning `position`. A source holds no lock; each thread uses its own.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "parser/frame_memory.h"
#include "parser/keeping_room.h"
#include "parser/playback_policy.h"
#include "parser/read_buffer.h"
#include "parser/source_flushes.h"
#include "parser/tolerance_notes.h"
#include "platform/apart.h"
#include "platform/com.h"

namespace vantor {

struct MkvSegment;

class CMkvFileReader {
 public:
  // Takes a reference on the reader and asks it for the file's length; the cursor starts at 0.
  explicit CMkvFileReader(IAsyncReader* reader);
  virtual ~CMkvFileReader();
  CMkvFileReader(const CMkvFileReader&) = delete;
  CMkvFileReader& operator=(const CMkvFileReader&) = delete;

  // Reads `size` bytes at the cursor and moves it by what was read. E_FAIL at or past the end, also when the end comes
  // before all was read (what was there is then in the buffer and consumed); any result of the reader other than S_OK
  // is returned unchanged, with the cursor before the piece that failed.
  HRESULT Read(void* buffer, std::uint64_t size);

  // Read of the few bytes that a header consists of: the same, and short where they are there.
  HRESULT ReadByte(std::uint8_t& byte) { return ReadFew(&byte, 1); }
  HRESULT ReadFew(void* buffer, std::uint32_t size) {
    if (position >= length || size > length - position || size > allowance) return Read(buffer, size);
    allowance -= size;
    return ReadPiece(buffer, size);
  }

  // Bytes between the cursor and the end of the file, 0 when the cursor is beyond it.
  std::uint64_t Remaining() const { return position < length ? length - position : 0; }

  std::uint64_t position = 0;      // absolute, bytes
  std::uint64_t length = 0;        // of the whole file, bytes
  IAsyncReader* reader = nullptr;  // a counted reference
  // Bytes that may still be read; a larger Read fails with E_FAIL and reads nothing. Opening limits itself with it, so
  // that elements which claim each other's bytes cannot make its work grow beyond the file's length.
  std::uint64_t allowance = ~std::uint64_t{0};
  // An allowance of so many times the file's length and the slack, bytes.
  std::uint64_t AllowanceOf(std::uint64_t times, std::uint64_t slack) const;
  // Sets it. A buffer forgets what it has, and may read ahead anew: the reads that follow are others than those before.
  void RenewAllowance(std::uint64_t times, std::uint64_t slack);
  // Goes on with what the other has left, of what may be read ahead as well.
  void TakeAllowanceOf(const CMkvFileReader& other);
  // Lets a buffer read ahead anew: at the beginning of one more walk over the file.
  void RenewReadAhead() {
    if (readBuffer_) readBuffer_->Renew();
  }

  // Of the filter that reads; a clone's is the root's, unless it was made with another one.
  const PlaybackPolicy& Policy() const { return policy_; }

  // What may still be kept of the file: texts and payloads, and records. A source that is not told has no limit.
  KeepingRoom payloadRoom;
  KeepingRoom recordRoom;
  // Shared by all sources over a file that was opened; null: frames have no limit but their own.
  std::shared_ptr<FrameMemory> frameMemory;
  // The flushes of the reader, counted by whoever flushes it under the reads of others; null where nobody does. Set
  // once, before the first thread reads.
  std::shared_ptr<SourceFlushes> flushes;
  // Set by a Read that failed when the reader was being flushed, or had been since WatchFlushes: what it was to read
  // may well be there.
  bool wasLetGo = false;
  // Called by the owner of the cursor before it reads on. Not by each Read, of which there are several an element.
  void WatchFlushes() {
    wasLetGo = false;
    if (flushes) knownFlushes = flushes->Changes();
  }
  std::uint32_t knownFlushes = 0;
  // Asked from time to time during a scan or a walk that may take long; true makes it give up. May be empty.
  std::function<bool()> interrupted;
  // What reading through this source went on from. A clone's is its own, and off to start with like every other.
  ToleranceList tolerated;
  // Notes it there, unless a read was let go: what comes of that tells nothing of the file.
  void Tolerate(Tolerated kind, std::uint64_t at, std::uint64_t bytes) noexcept {
    if (tolerated.IsCollecting() && !wasLetGo) tolerated.Note(kind, at, bytes);
  }

 protected:
  // Once, before the first read and when the length is known.
  void SetPolicy(const PlaybackPolicy& policy);

 private:
  friend class HeaderCursor;

  // One call of the reader, for no more bytes than the file holds and the call can ask for.
  HRESULT ReadPiece(void* buffer, std::uint64_t size) {
    auto* const to = static_cast<BYTE*>(buffer);
    const HRESULT result = readBuffer_ ? ReadBuffered(to, size)
                                       : reader->SyncRead(static_cast<LONGLONG>(position), static_cast<LONG>(size), to);
    if (result == S_OK) {
      position += size;
    } else {
      NoteFailedRead(size);
    }
    return result;
  }
  VANTOR_APART HRESULT ReadBuffered(BYTE* to, std::uint64_t size);
  VANTOR_COLD void NoteFailedRead(std::uint64_t size);

  PlaybackPolicy policy_;
  // Small reads go through it where there is one; of this cursor alone.
  std::unique_ptr<ReadBuffer> readBuffer_;
};

class CMkvFile : public CMkvFileReader {
 public:
  using CMkvFileReader::CMkvFileReader;

  // Whether segment discovery may follow the seek index.
  virtual bool CanSeek() = 0;
  // The records read at open, shared by all sources over the file.
  virtual const MkvSegment* GetSegment() = 0;
  // Presentation time of the first cluster, 100 ns.
  virtual std::int64_t GetStartTime() = 0;
};

// A cursor of its own over the file that `root` has opened. The root outlives every clone.
class CMkvFileClone final : public CMkvFile {
 public:
  explicit CMkvFileClone(CMkvFile& root) : CMkvFileClone(root, root.Policy()) {}
  // Which reads by another policy.
  CMkvFileClone(CMkvFile& root, const PlaybackPolicy& policy);

  bool CanSeek() override { return source_->CanSeek(); }
  const MkvSegment* GetSegment() override { return source_->GetSegment(); }
  std::int64_t GetStartTime() override { return source_->GetStartTime(); }

 private:
  CMkvFile* source_;
};

}  // namespace vantor
