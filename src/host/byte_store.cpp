#include "host/byte_store.h"

#include <atomic>
#include <cstring>
#include <new>
#include <utility>

#include "host/block_cache.h"
#include "platform/system_error.h"

namespace vantor {
namespace {

class MemoryStore final : public ByteStore {
 public:
  explicit MemoryStore(std::vector<unsigned char> bytes) noexcept : bytes_(std::move(bytes)) {
    static constexpr std::atomic<bool> kNever{false};
    SetResident({bytes_.data(), Length(), kNever});
  }
  std::int64_t Length() const noexcept override { return static_cast<std::int64_t>(bytes_.size()); }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    if (size > 0) {
      std::memcpy(buffer, bytes_.data() + position, size);
    }
    return true;
  }

 private:
  const std::vector<unsigned char> bytes_;
};

class MappedStore final : public ByteStore {
 public:
  FileError Open(const std::string& path) noexcept {
    const FileError error = file_.Open(path);
    if (error != FileError::kNone) {
      return error;
    }
    if (!bytes_.Map(file_)) {
      return FileError::kOther;
    }
    SetResident(bytes_.Resident());
    return FileError::kNone;
  }
  std::int64_t Length() const noexcept override { return bytes_.Length(); }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    // Asked to read the bytes, the system tells why they cannot be had, or has them.
    return bytes_.Copy(position, buffer, size) || ReadFrom(file_, position, buffer, size);
  }

 private:
  platform::ReadableFile file_;
  platform::MappedBytes bytes_;
};

class CachedStore final : public ByteStore {
 public:
  CachedStore() noexcept : cache_(file_) {}
  FileError Open(const std::string& path) noexcept {
    const FileError error = file_.Open(path);
    if (error != FileError::kNone) {
      return error;
    }
    length_ = file_.Length();
    return length_ >= 0 ? FileError::kNone : FileError::kOther;
  }
  std::int64_t Length() const noexcept override { return length_; }
  bool Read(std::int64_t position, void* buffer, std::size_t size) noexcept override {
    ReadFailure failure;
    return cache_.Read(position, buffer, size, failure) || Fail(failure);
  }

 private:
  platform::ReadableFile file_;
  BlockCache cache_;
  std::int64_t length_ = 0;
};

template <typename Store>
std::shared_ptr<ByteStore> Opened(const std::string& path, FileError& error) {
  auto store = std::make_shared<Store>();
  error = store->Open(path);
  return error == FileError::kNone ? store : nullptr;
}

std::shared_ptr<ByteStore> LoadIntoMemory(const std::string& path, FileError& error) {
  platform::ReadableFile file;
  error = file.Open(path);
  if (error != FileError::kNone) {
    return nullptr;
  }
  const std::int64_t length = file.Length();
  if (length >= 0) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(length));
    if (file.ReadAt(0, bytes.data(), bytes.size()) == length) {
      return MakeMemoryStore(std::move(bytes));
    }
  }
  error = FileError::kOther;
  return nullptr;
}

}  // namespace

HRESULT ResultOf(FileError error) noexcept {
  switch (error) {
    case FileError::kNone:
      return S_OK;
    case FileError::kMissing:
      return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    case FileError::kDirectory:
    case FileError::kDenied:
      return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    case FileError::kPipe:
    case FileError::kOther:
      break;
  }
  return HRESULT_FROM_WIN32(ERROR_OPEN_FAILED);
}

bool ByteStore::ReadFrom(const platform::ReadableFile& file, std::int64_t position, void* buffer,
                         std::size_t size) noexcept {
  ReadFailure failure;
  return ReadWhole(file, position, buffer, size, failure) || Fail(failure);
}

bool ReadWhole(const platform::ReadableFile& file, std::int64_t position, void* buffer, std::size_t size,
               ReadFailure& failure) noexcept {
  const std::int64_t count = file.ReadAt(position, buffer, size);
  if (count < 0) {
    failure = {ReadFault::kSystem, position, platform::LastSystemError()};
    return false;
  }
  failure = {ReadFault::kCut, position + count, 0};
  return count == static_cast<std::int64_t>(size);
}

std::shared_ptr<ByteStore> MakeMemoryStore(std::vector<unsigned char> bytes) {
  return std::make_shared<MemoryStore>(std::move(bytes));
}

std::shared_ptr<ByteStore> OpenStore(const std::string& path, StoreKind kind, FileError& error) {
  switch (kind) {
    case StoreKind::kMemory:
      return LoadIntoMemory(path, error);
    case StoreKind::kMapped:
      return Opened<MappedStore>(path, error);
    case StoreKind::kCached:
      return Opened<CachedStore>(path, error);
    case StoreKind::kFastest:
      break;
  }
  std::shared_ptr<ByteStore> store = Opened<MappedStore>(path, error);
  if (!store && error == FileError::kOther) {
    store = Opened<CachedStore>(path, error);
  }
  return store;
}

}  // namespace vantor
