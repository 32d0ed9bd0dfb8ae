// How bytes are fetched.
//
// Every Read goes to the reader: the host in front of us caches, and reads that are exact keep the cursor a file
// offset, which all positions in the records rely on. A read is cut into pieces only because SyncRead counts in 31
// bits, and at the end of the file: what is there is read and consumed, and the result is E_FAIL all the same. So a
// frame that the end cuts off keeps its beginning, and whoever needs all of it sees that it failed.
//
// The reader's own results pass through unchanged, success codes other than S_OK included: S_FALSE from a reader means
// that fewer bytes came than were asked for. That is why callers compare with S_OK and do not use SUCCEEDED.
#include "parser/byte_source.h"

#include <algorithm>

namespace vantor {

namespace {

constexpr std::uint64_t kLargestPiece = 0x7FFFFFFF;

}  // namespace

CMkvFileReader::CMkvFileReader(IAsyncReader* source) : reader(source) {
  reader->AddRef();
  LONGLONG total = 0;
  LONGLONG available = 0;
  if (SUCCEEDED(reader->Length(&total, &available)) && total > 0) length = static_cast<std::uint64_t>(total);
}

CMkvFileReader::~CMkvFileReader() { reader->Release(); }

HRESULT CMkvFileReader::Read(void* buffer, std::uint64_t size) {
  // The end goes before the size: reading nothing succeeds within the file and fails behind it.
  if (position >= length) return E_FAIL;
  if (size == 0) return S_OK;
  if (size > allowance) {
    Tolerate(Tolerated::kWorkExhausted, position, size);
    return E_FAIL;
  }
  allowance -= size;
  auto* to = static_cast<BYTE*>(buffer);
  for (;;) {
    const std::uint64_t piece = std::min({size, kLargestPiece, length - position});
    const HRESULT result = ReadPiece(to, piece);
    if (result != S_OK) return result;
    if (piece == size) return S_OK;
    if (position >= length) return E_FAIL;
    to += piece;
    size -= piece;
  }
}

// Under a flush the read is made again, and tells nothing of the file.
void CMkvFileReader::NoteFailedRead(std::uint64_t size) {
  if (flushes && flushes->LayBetween(knownFlushes)) {
    wasLetGo = true;
  } else {
    Tolerate(Tolerated::kReadFailed, position, size);
  }
}

HRESULT CMkvFileReader::ReadBuffered(BYTE* to, std::uint64_t size) {
  return readBuffer_->Read(*reader, position, static_cast<std::size_t>(size), to, {flushes.get(), knownFlushes});
}

void CMkvFileReader::SetPolicy(const PlaybackPolicy& policy) {
  policy_ = policy;
  if (policy_.bufferReads) readBuffer_ = std::make_unique<ReadBuffer>(length);
}

void CMkvFileReader::RenewAllowance(std::uint64_t times, std::uint64_t slack) {
  allowance = AllowanceOf(times, slack);
  if (!readBuffer_) return;
  readBuffer_->Forget();
  readBuffer_->Renew();
}

void CMkvFileReader::TakeAllowanceOf(const CMkvFileReader& other) {
  allowance = other.allowance;
  if (readBuffer_ && other.readBuffer_) readBuffer_->TakeAheadOf(*other.readBuffer_);
}

std::uint64_t CMkvFileReader::AllowanceOf(std::uint64_t times, std::uint64_t slack) const {
  return std::min(length, (~std::uint64_t{0} - slack) / times) * times + slack;
}

// The cursor is where the root's is at this moment, and the length the root's: a reader that has grown since, as a
// download does, would otherwise give each pin a file of its own length.
CMkvFileClone::CMkvFileClone(CMkvFile& root, const PlaybackPolicy& policy) : CMkvFile(root.reader), source_(&root) {
  position = root.position;
  length = root.length;
  SetPolicy(policy);
  flushes = root.flushes;
  frameMemory = root.frameMemory;
}

}  // namespace vantor
