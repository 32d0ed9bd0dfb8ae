// A byte source's cursor for as long as headers are read, which take a few bytes at a time: it lies in registers, so
// that each of the many short reads that a block costs is a comparison, a call and an addition.
//
//   HeaderCursor in(file, element.dataStart);
//   EbmlLength track;
//   if (in.ReadLength(track) == S_OK) Use(track.value);
//   in.Store();  // file.position is behind what was read
//
// Between its making and Store nobody else uses the source. Reads and their results are those of CMkvFileReader::Read.
#pragma once

#include <cstdint>

#include "parser/byte_source.h"

namespace vantor {

// What an element's size, a track number or a lace's size is read into.
struct EbmlLength {
  std::uint64_t value = 0;
  bool isUnknown = false;  // all value bits were set; `value` is what was left of the source then
  int bytes = 0;           // that it was written in

  // All value bits of as many bytes.
  std::uint64_t LargestOfItsBytes() const { return (std::uint64_t{1} << (7 * bytes)) - 1; }
};

class HeaderCursor {
 public:
  // At the source's own position, or at another one.
  explicit HeaderCursor(CMkvFileReader& file) : HeaderCursor(file, file.position) {}
  HeaderCursor(CMkvFileReader& file, std::uint64_t position)
      : file_(file),
        reader_(file.reader),
        length_(file.length),
        allowance_(file.readBuffer_ ? 0 : file.allowance),
        position_(position) {}
  HeaderCursor(const HeaderCursor&) = delete;
  HeaderCursor& operator=(const HeaderCursor&) = delete;

  std::uint64_t Position() const { return position_; }
  void MoveTo(std::uint64_t position) { position_ = position; }

  // Puts the source's cursor where this one is, and counts what was read.
  void Store() {
    file_.position = position_;
    if (!file_.readBuffer_) file_.allowance = allowance_;
  }

  HRESULT ReadByte(std::uint8_t& byte) { return ReadFew(&byte, 1); }
  HRESULT ReadFew(void* buffer, std::uint32_t size) {
    if (position_ >= length_ || size > length_ - position_ || size > allowance_) return ReadByFile(buffer, size);
    allowance_ -= size;
    const HRESULT result =
        reader_->SyncRead(static_cast<LONGLONG>(position_), static_cast<LONG>(size), static_cast<BYTE*>(buffer));
    if (result != S_OK) return NoteFailure(result, size);
    position_ += size;
    return S_OK;
  }

  // An identifier of 1 to 4 bytes, marker kept: S_OK, E_FAIL for what can be none, or the reader's own result.
  HRESULT ReadId(std::uint32_t& value) {
    std::uint8_t first = 0;
    if (const HRESULT result = ReadByte(first); result != S_OK) return result;
    if ((first & kOneByte) == 0) return ReadLongerId(first, value);
    value = first;
    return S_OK;
  }

  // A length of 1 to 8 bytes, marker removed. Results as above.
  HRESULT ReadLength(EbmlLength& length) {
    std::uint8_t first = 0;
    if (const HRESULT result = ReadByte(first); result != S_OK) return result;
    if ((first & kOneByte) == 0 || first == 0xFF) return ReadLongerLength(first, length);
    length.value = first & 0x7Fu;
    length.bytes = 1;
    return S_OK;
  }

 private:
  // A first byte with this bit is the only one: most identifiers and sizes in a Cluster are of one byte.
  static constexpr std::uint8_t kOneByte = 0x80;

  // What follows is done by the source itself, whose cursor goes on from this one and gives its place back. No call
  // gets to know where this cursor lies: what a call may change does not stay in registers.
  HRESULT ReadByFile(void* buffer, std::uint32_t size) {
    Store();
    const HRESULT result = Read(file_, buffer, size);
    Load();
    return result;
  }
  HRESULT NoteFailure(HRESULT result, std::uint32_t size) {
    Store();
    NoteFailedRead(file_, size);
    return result;
  }
  HRESULT ReadLongerId(std::uint8_t first, std::uint32_t& value) {
    Store();
    std::uint32_t read = value;
    const HRESULT result = RestOfId(file_, first, read);
    value = read;
    Load();
    return result;
  }
  HRESULT ReadLongerLength(std::uint8_t first, EbmlLength& length) {
    Store();
    EbmlLength read = length;
    const HRESULT result = RestOfLength(file_, first, read);
    length = read;
    Load();
    return result;
  }
  void Load() {
    position_ = file_.position;
    if (!file_.readBuffer_) allowance_ = file_.allowance;
  }

  VANTOR_APART static HRESULT Read(CMkvFileReader& file, void* buffer, std::uint32_t size);
  VANTOR_COLD static void NoteFailedRead(CMkvFileReader& file, std::uint32_t size);
  VANTOR_APART static HRESULT RestOfId(CMkvFileReader& file, std::uint8_t first, std::uint32_t& value);
  VANTOR_APART static HRESULT RestOfLength(CMkvFileReader& file, std::uint8_t first, EbmlLength& length);

  CMkvFileReader& file_;
  IAsyncReader* const reader_;
  const std::uint64_t length_;
  std::uint64_t allowance_;  // 0 where every read has to go through a buffer
  std::uint64_t position_;
};

}  // namespace vantor
