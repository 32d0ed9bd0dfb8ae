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
  std::error_code error;
  std::vector<std::filesystem::path> missing;
  for (std::filesystem::path folder = platform::ToPath(path);
       !folder.empty() && folder.has_relative_path() && !std::filesystem::is_directory(folder, error);
       folder = folder.parent_path()) {
    missing.push_back(folder);
  }
  error.clear();
  // What has such a name without being a folder, a link that leads nowhere above all, is somebody else's.
  for (auto folder = missing.rbegin(); folder != missing.rend() && !error; ++folder) {
    if (std::filesystem::create_directory(*folder, error)) made_.insert(made_.begin(), *folder);
  }
  if (error) trouble_ = path + ": cannot make the folder: " + error.message();
  return !error;
}

}  // namespace vantor::tools
