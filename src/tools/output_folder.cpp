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
  for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
    if (std::filesystem::create_directory(*folder, error)) made_.insert(made_.begin(), *folder);
    if (!error) continue;
    // What has such a name without being a folder, a link that leads nowhere above all, is somebody else's.
    std::error_code none;
    const bool isOther = std::filesystem::exists(std::filesystem::symlink_status(*folder, none));
    trouble_ = path + ": cannot make the folder: " +
               (isOther ? platform::FromPath(*folder) + " is there and is no folder" : error.message());
    return false;
  }
  return true;
}

}  // namespace vantor::tools
