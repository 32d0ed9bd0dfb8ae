// For benchmarks that run programs over a file: the file, and what a program took of the processor.
//
//   const WrittenFile file({.video = true, .clusters = 900});
//   const double seconds = RunProgram(Quoted(ToolPath()) + " check " + Quoted(file.Path()));   // below 0: it failed
#pragma once

#include <string>

#include "bench/synthetic_file.h"

namespace vantor::bench {

// The bytes of a synthetic file as a file, gone with the object. One of a name at a time.
class WrittenFile {
 public:
  explicit WrittenFile(const FileShape& shape, const std::string& name = "file");
  ~WrittenFile();
  WrittenFile(const WrittenFile&) = delete;
  WrittenFile& operator=(const WrittenFile&) = delete;

  bool IsWhole() const { return isWhole_; }
  const std::string& Path() const { return path_; }

 private:
  const std::string path_;
  bool isWhole_ = false;
};

// Processor time of all its threads, in seconds; below 0 when the command failed.
double RunProgram(const std::string& command);
// For the shell.
std::string Quoted(const std::string& text);
// `vantor-mkv` beside this program.
std::string ToolPath();

}  // namespace vantor::bench
