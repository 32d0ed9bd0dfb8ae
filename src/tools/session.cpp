#include "tools/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/file_path.h"
#include "platform/text.h"
#include "tools/json_text.h"

namespace vantor::tools {
namespace {

const char* Words(FileError error) {
  switch (error) {
    case FileError::kMissing:
      return "no such file";
    case FileError::kDirectory:
      return "is a directory";
    case FileError::kDenied:
      return "no permission to read it";
    case FileError::kPipe:
      return "is a pipe or a device, which cannot be read from any position";
    case FileError::kNone:
    case FileError::kOther:
      break;
  }
  return "cannot be read";
}

// Filters look for files beside the one they play, so its whole path is what they are told; and the system looks for a
// library without a folder where its own are, but on a command line it is one in the current folder.
std::string FullName(const std::string& path) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(platform::ToPath(path), error);
  return error ? path : platform::FromPath(full);
}

}  // namespace

void Session::SayOfFile(const std::string& message) const { Say(options_.file + ": " + message); }

int Session::Failed(const std::string& what, HRESULT result) const {
  SayOfFile(fmt::format("{} ({})", what, ResultText(result)));
  return kExitRefused;
}

int Session::Open() {
  FileError fileError = FileError::kNone;
  const std::shared_ptr<ByteStore> bytes = OpenStore(options_.file, StoreKind::kFastest, fileError);
  if (!bytes) {
    SayOfFile(Words(fileError));
    return kExitUsage;
  }
  std::string error;
  component_ = options_.component.empty() ? Component::LoadBesideProgram(error)
                                          : Component::Load(FullName(options_.component), error);
  if (!component_) {
    Say("cannot load the component: " + error);
    return kExitUsage;
  }
  const HRESULT created = graph_.Create(*component_);
  if (FAILED(created)) {
    Say(fmt::format("the component makes no filter ({})", ResultText(created)));
    return kExitUsage;
  }
  shape_ = ShapeOf(bytes);
  connectResult_ = graph_.ConnectInput(bytes, Utf8ToWide(FullName(options_.file)));
  if (FAILED(connectResult_)) {
    const std::string why = WhyRefused(shape_);
    return Failed(why.empty() ? "the filter refuses the file" : why, connectResult_);
  }
  return kExitDone;
}

void Session::WarnOfDamage() {
  if (const std::string warning = Warning(shape_); !warning.empty()) {
    SayOfFile("warning: " + warning);
  }
}

bool HasErrorEvent(const Graph& graph) {
  const std::vector<GraphEvent> events = graph.Events();
  return std::any_of(events.begin(), events.end(), [](const GraphEvent& event) { return event.code == EC_ERRORABORT; });
}

}  // namespace vantor::tools
