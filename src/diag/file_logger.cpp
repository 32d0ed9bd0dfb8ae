#include "diag/file_logger.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "platform/lock.h"
#include "platform/never_destroyed.h"
#include "platform/text.h"

namespace vantor {
namespace {

using platform::AppendError;

constexpr unsigned kFlushPeriod = 100;
constexpr unsigned kOpenPoll = 1;
constexpr std::int32_t kFirstCapacity = 4096;
constexpr int kLoggerNumber = 642;
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

// What the shared words are for: the first counts the loggers that use them, the last is the lock.
constexpr std::size_t kUsers = 0;
constexpr std::size_t kLock = 3;

std::atomic_ref<std::uint32_t> Word(platform::SharedWords& words, std::size_t index) {
  return std::atomic_ref<std::uint32_t>(words[index]);
}

std::shared_ptr<platform::SharedWords> WordsOf(const WideString& path, TraceSystem& system) {
  CBuffer name;
  FileLogger::FormatName(name, system.ProcessId(), path);
  auto words = name.Length() > 0 ? system.OpenWords(reinterpret_cast<const char*>(name.Data())) : nullptr;
  return words != nullptr ? words : std::make_shared<platform::SharedWords>();
}

// The words, counting one user more for as long as they are held.
std::shared_ptr<platform::SharedWords> UseWords(const std::shared_ptr<platform::SharedWords>& words) {
  Word(*words, kUsers).fetch_add(1);
  return {words.get(), [words](platform::SharedWords* used) { Word(*used, kUsers).fetch_sub(1); }};
}

struct Loggers {
  Lock lock{LockRank::TraceLoggers};
  std::map<WideString, std::weak_ptr<FileLogger>> ofPath VANTOR_GUARDED_BY(lock);
};

Loggers& AllLoggers() {
  static NeverDestroyed<Loggers> loggers;
  return *loggers;
}

std::shared_ptr<FileLogger> FindOrMake(Loggers& loggers, const WideString& path, TraceSystem& system)
    VANTOR_REQUIRES(loggers.lock) {
  std::weak_ptr<FileLogger>& entry = loggers.ofPath[path];
  std::shared_ptr<FileLogger> logger = entry.lock();
  if (logger == nullptr) {
    logger = std::make_shared<FileLogger>(path, system);
    entry = logger;
  }
  return logger;
}

// Takes a lock that a thread may hold which was ended.
bool LockLast(Lock& lock, TraceSystem& system) VANTOR_TRY_ACQUIRE(true, lock) VANTOR_NO_THREAD_SAFETY_ANALYSIS {
  return system.TryForAWhile([&lock] { return lock.TryAcquire(); });
}

// Whether the path names a folder, if need be a new one. Where files may not be made, folders sometimes may.
bool IsFolder(const WideString& path) {
  std::error_code error;
  const std::filesystem::path folder(path);
  return std::filesystem::is_directory(folder, error) || std::filesystem::create_directory(folder, error);
}

// The file of the same name inside the folder of that name.
WideString InsideFolder(const WideString& path) {
  const std::size_t separator = path.find_last_of(OLESTR("\\/"));
  if (separator == WideString::npos) return path + OLESTR("/") + path;
  return path + path.substr(separator);
}

}  // namespace

std::shared_ptr<FileLogger> FileLogger::ForPath(const WideString& path, TraceSystem& system) {
  Loggers& loggers = AllLoggers();
  const LockScope hold(loggers.lock);
  return FindOrMake(loggers, path, system);
}

std::shared_ptr<FileLogger> FileLogger::ForPathLast(const WideString& path, TraceSystem& system) {
  Loggers& loggers = AllLoggers();
  if (!LockLast(loggers.lock, system)) return nullptr;
  const LockScope hold(loggers.lock, AdoptLock());
  return FindOrMake(loggers, path, system);
}

void FileLogger::FormatName(CBuffer& name, std::uint32_t processId, const WideString& path) {
  WideString slashed = path;
  std::replace(slashed.begin(), slashed.end(), static_cast<WCHAR>('\\'), static_cast<WCHAR>('/'));
  name.Format("%08X.%d.%s", static_cast<unsigned>(processId), kLoggerNumber, WideToUtf8(slashed).c_str());
}

FileLogger::FileLogger(const WideString& path, TraceSystem& system)
    : path_(path),
      system_(system),
      words_(UseWords(WordsOf(path, system))),
      timer_(system.StartTimer(kFlushPeriod, [this] { Flush(); })) {}

FileLogger::~FileLogger() {
  timer_.reset();
  FlushLast();
}

void FileLogger::Append(const char* text) {
  {
    const LockScope hold(collecting_);
    CollectLines(text);
  }
  if (timer_ == nullptr) Flush();
}

void FileLogger::AppendLast(const char* text) {
  {
    if (!LockLast(collecting_, system_)) return;
    const LockScope hold(collecting_, AdoptLock());
    CollectLines(text);
  }
  FlushLast();
}

void FileLogger::CollectLines(const char* text) {
  while (*text != 0) {
    const std::size_t length = std::strcspn(text, "\r\n");
    Collect(text, length);
    text += length;
    if (*text == 0) break;
    Collect("\r\n", 2);
    text += text[0] == '\r' && text[1] == '\n' ? 2 : 1;
  }
}

// Grows by doubling: the buffer itself would be copied for every piece.
void FileLogger::Collect(const char* bytes, std::size_t count) {
  const auto length = static_cast<std::int32_t>(count);
  if (collected_.Capacity() - collected_.Length() < length) {
    const std::int32_t capacity = std::max(kFirstCapacity, collected_.Capacity());
    if (capacity <= INT32_MAX - capacity) collected_.EnsureCapacity(std::max(2 * capacity, length));
  }
  collected_.Append(bytes, length);
}

void FileLogger::Flush() noexcept { WriteOut(false); }

void FileLogger::FlushLast() noexcept { WriteOut(true); }

void FileLogger::WriteOut(bool last) noexcept {
  const bool locked = LockForWriting();
  try {
    CHeapBuffer text;
    Swap(text, last);
    if (locked && text.Length() > 0) Write(text);
  } catch (...) {
    // The text is lost, and nobody is told.
  }
  if (locked) UnlockForWriting();
}

// Leaves the text where it is when a thread holds it that was ended.
void FileLogger::Swap(CHeapBuffer& text, bool last) {
  if (!last) {
    collecting_.Acquire();
  } else if (!LockLast(collecting_, system_)) {
    return;
  }
  const LockScope hold(collecting_, AdoptLock());
  text.Swap(&collected_);
}

bool FileLogger::LockForWriting() {
  return system_.TryForAWhile([this] { return Word(*words_, kLock).exchange(1, std::memory_order_acquire) == 0; });
}

void FileLogger::UnlockForWriting() { Word(*words_, kLock).store(0, std::memory_order_release); }

void FileLogger::Write(const CBaseBuffer& text) {
  const std::unique_ptr<platform::AppendFile> file = OpenFile();
  if (file == nullptr) return;
  if (file->Size() == 0) file->Append(kByteOrderMark, sizeof kByteOrderMark - 1);
  file->Append(text.Data(), static_cast<std::size_t>(text.Length()));
}

std::unique_ptr<platform::AppendFile> FileLogger::OpenFile() {
  const std::int64_t start = system_.Milliseconds();
  AppendError error = AppendError::kOther;
  auto file = system_.OpenFile(path_, error);
  while (file == nullptr && error == AppendError::kBusy && system_.Milliseconds() - start < TraceSystem::kLongestWait) {
    system_.Sleep(kOpenPoll);
    file = system_.OpenFile(path_, error);
  }
  if (file == nullptr && error == AppendError::kDenied && IsFolder(path_)) {
    file = system_.OpenFile(InsideFolder(path_), error);
  }
  return file;
}

}  // namespace vantor
