#include "tools/output_folder.h"

#include <system_error>

#include "platform/file_path.h"

namespace vantor::tools {

OutputFolder::~OutputFolder() {
  for (const std::filesystem::path& folder : made_) {
    std::error_code holdsSomething;
    std::filesystem::remove(folder, holdsSomething);
  }
}

bool OutputFolder::Make(const std::string& path) {
  std::filesystem::path missing = platform::ToPath(path);
  std::error_code error;
  while (!missing.empty() && missing.has_relative_path() && !std::filesystem::exists(missing, error)) {
    made_.push_back(missing);
    missing = missing.parent_path();
  }
  if (made_.empty()) return true;
  std::filesystem::create_directories(platform::ToPath(path), error);
  if (error) trouble_ = path + ": cannot make the folder: " + error.message();
  return !error;
}

}  // namespace vantor::tools
