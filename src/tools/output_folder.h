// OutputFolder: the folder that files are written to, made where it is missing, its parents too. What was made goes
// again with the object if nothing was written into it.
//
//   OutputFolder folder;                                     // outlives the files
//   if (!folder.Make("films/parts")) return Fail(folder.Trouble());
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vantor::tools {

class OutputFolder {
 public:
  OutputFolder() = default;
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  // An empty name is the current folder.
  bool Make(const std::string& path);
  // Why it could not be made, its name before it.
  const std::string& Trouble() const { return trouble_; }

 private:
  std::vector<std::filesystem::path> made_;  // parents behind what is in them
  std::string trouble_;
};

}  // namespace vantor::tools
