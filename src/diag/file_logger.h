// Collects the lines of one trace file and writes them out from time to time: a timer does, and the end of the logger.
//
//   FileLogger::ForPath(OLESTR("c:\\VantorTrace.txt"), system)->Append("text\n");
//
// The file is UTF-8 with a byte order mark, its lines end in carriage return and line feed, and it is opened and closed
// for every write, so that several processes may share it. Nothing is ever reported: text that cannot be written within
// a second is lost.
#pragma once

#include <cstdint>
#include <memory>

#include "diag/byte_buffer.h"
#include "diag/trace_system.h"
#include "platform/lock.h"
#include "platform/shared_words.h"

namespace vantor {

class FileLogger {
 public:
  // The logger of that file: the same one for all who hold it at the time. It keeps the system of the first.
  static std::shared_ptr<FileLogger> ForPath(const WideString& path, TraceSystem& system);
  // The same at the end of the process, as FlushLast: null when a thread that was ended holds on to the loggers.
  static std::shared_ptr<FileLogger> ForPathLast(const WideString& path, TraceSystem& system);

  // What the logger of that path is known by in the whole process.
  static void FormatName(CBuffer& name, std::uint32_t processId, const WideString& path);

  FileLogger(const WideString& path, TraceSystem& system);
  // Writes what is left.
  ~FileLogger();
  FileLogger(const FileLogger&) = delete;
  FileLogger& operator=(const FileLogger&) = delete;

  // Any thread may append.
  void Append(const char* text) VANTOR_EXCLUDES(collecting_);
  // Writes what was collected. Any thread may.
  void Flush() noexcept VANTOR_EXCLUDES(collecting_);
  // The same at the end of the process, when other threads may have been ended at any point: what such a thread holds
  // for good is not waited for, nor is the text that it was collecting written.
  void FlushLast() noexcept VANTOR_EXCLUDES(collecting_);
  // Appends and writes at the end of the process; drops the text that such a thread is in the way of.
  void AppendLast(const char* text) VANTOR_EXCLUDES(collecting_);

 protected:
  Lock collecting_{LockRank::TraceText};

 private:
  void WriteOut(bool last) noexcept VANTOR_EXCLUDES(collecting_);
  void Swap(CHeapBuffer& text, bool last) VANTOR_EXCLUDES(collecting_);
  bool LockForWriting();
  void UnlockForWriting();
  void CollectLines(const char* text) VANTOR_REQUIRES(collecting_);
  void Collect(const char* bytes, std::size_t count) VANTOR_REQUIRES(collecting_);
  void Write(const CBaseBuffer& text);
  std::unique_ptr<platform::AppendFile> OpenFile();

  const WideString path_;
  TraceSystem& system_;
  std::shared_ptr<platform::SharedWords> words_;
  CHeapBuffer collected_ VANTOR_GUARDED_BY(collecting_);
  TraceSystem::Timer timer_;
};

}  // namespace vantor
