#include "tools/output_file.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/file_path.h"
#include "platform/system_error.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 18;

// Whether nothing that a file could be made in has the name. What cannot be looked at, the system speaks of when a file
// is made there; so it does of a drive's current folder ("C:") and of names that go past its usual rules ("\\?\").
bool IsNoFolder(const std::filesystem::path& folder) {
  const std::string root = platform::FromPath(folder.root_name());
  if (folder.empty() || !(root.empty() || (root.ends_with(':') && folder.has_root_directory()))) return false;
  std::error_code error;
  const std::filesystem::file_type type = std::filesystem::status(folder, error).type();
  return type == std::filesystem::file_type::not_found ||
         (type != std::filesystem::file_type::none && type != std::filesystem::file_type::unknown &&
          type != std::filesystem::file_type::directory);
}

}  // namespace

bool OutputFile::MayOpen(const std::string& path, Overwrite overwrite, Name name) {
  path_ = path;
  overwrite_ = overwrite;
  const bool isStream = IsStream(path);
  std::error_code error;
  const std::filesystem::file_status there =
      isStream ? std::filesystem::file_status() : std::filesystem::status(platform::ToPath(path), error);
  const bool isLink = !isStream && std::filesystem::is_symlink(platform::ToPath(path), error);
  const std::filesystem::path folder = platform::ToPath(path).parent_path();
  if (std::filesystem::is_directory(there)) {
    Fail("is a folder");
  } else if (!isStream && IsNoFolder(folder)) {
    Fail("there is no folder " + platform::FromPath(folder));
  } else if (isStream && name == Name::kMade) {
    Fail("is a device or a pipe");
  } else if ((std::filesystem::is_regular_file(there) || isLink) && overwrite == Overwrite::kNo) {
    Fail("exists already; --force overwrites it");
  }
  return !HasFailed();
}

bool OutputFile::Open(const std::string& path, Overwrite overwrite, Name name) {
  if (!MayOpen(path, overwrite, name)) return false;
  if (!(path == "-" ? file_.OpenStandardOutput() : file_.Open(path))) {
    FailBySystem();
    return false;
  }
  buffer_.reserve(kBufferSize);
  return true;
}

void OutputFile::Append(std::span<const std::uint8_t> bytes) {
  if (HasFailed()) return;
  if (buffer_.size() + bytes.size() > kBufferSize) {
    Flush();
    if (HasFailed()) return;
    if (bytes.size() >= kBufferSize) {
      if (!file_.WriteAt(static_cast<std::int64_t>(written_), bytes.data(), bytes.size())) return FailBySystem();
      written_ += bytes.size();
      return;
    }
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

void OutputFile::Replace(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  if (HasFailed()) return;
  if (file_.IsStream()) {
    return Fail("what goes into a pipe or a device cannot be changed afterwards, as this form wants");
  }
  Flush();
  if (!HasFailed() && !file_.WriteAt(static_cast<std::int64_t>(offset), bytes.data(), bytes.size())) FailBySystem();
}

bool OutputFile::Complete() {
  if (isComplete_) return !HasFailed();
  isComplete_ = true;
  if (!HasFailed()) Flush();
  if (!HasFailed() && !file_.Complete()) FailBySystem();
  // There may be hundreds that wait for the last.
  std::vector<std::uint8_t>().swap(buffer_);
  return !HasFailed();
}

bool OutputFile::Place() {
  if (!HasFailed() && !file_.Place(overwrite_ == Overwrite::kYes)) FailBySystem();
  return !HasFailed();
}

void OutputFile::Flush() {
  if (!file_.WriteAt(static_cast<std::int64_t>(written_), buffer_.data(), buffer_.size())) return FailBySystem();
  written_ += buffer_.size();
  buffer_.clear();
}

void OutputFile::Fail(const std::string& reason) {
  if (trouble_.empty()) trouble_ = (path_ == "-" ? "standard output" : path_) + ": " + reason;
}

void OutputFile::FailBySystem() { Fail(platform::SystemErrorText(platform::LastSystemError())); }

OutputFile* CompleteAll(const std::vector<OutputFile*>& files) {
  const auto failed = std::find_if_not(files.begin(), files.end(), [](OutputFile* file) { return file->Complete(); });
  return failed == files.end() ? nullptr : *failed;
}

OutputFile* PlaceAll(const std::vector<OutputFile*>& files) {
  if (OutputFile* const failed = CompleteAll(files)) return failed;
  for (auto file = files.begin(); file != files.end(); ++file) {
    if ((*file)->Place()) continue;
    std::for_each(files.begin(), file, [](OutputFile* placed) { placed->TakeBack(); });
    return *file;
  }
  return nullptr;
}

NameKind KindOfName(const std::string& path) {
  return path == "-" ? NameKind::kStandardOutput : platform::NewFile::KindOfName(path);
}

bool IsSameFile(const std::string& one, const std::string& other) {
  // To look at a pipe by its name is to open it, which its reader would take for the writer.
  if (IsStream(other)) return platform::NewFile::IsOpenStreamOf(one, other == "-" ? "/dev/stdout" : other);
  std::error_code error;
  return std::filesystem::equivalent(platform::ToPath(one), platform::ToPath(other), error) && !error;
}

}  // namespace vantor::tools
