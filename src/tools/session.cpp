#include "tools/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "platform/file_path.h"
#include "platform/system_error.h"
#include "platform/text.h"
#include "tools/check/header_findings.h"
#include "tools/json_text.h"
#include "tools/memory_watch.h"

namespace vantor::tools {
namespace {

// What is in the way of a path, as far as the system tells more than that there is nothing to be read.
std::string WordsOfPath(const std::string& name) {
  const std::filesystem::path path = platform::ToPath(name);
  std::error_code error;
  const std::filesystem::file_status followed = std::filesystem::status(path, error);
  if (error == std::errc::too_many_symbolic_link_levels) return "is a loop of symbolic links";
  if (followed.type() == std::filesystem::file_type::not_found) {
    std::error_code ignored;
    const bool isLink = std::filesystem::is_symlink(std::filesystem::symlink_status(path, ignored));
    return isLink ? "is a symbolic link that points to nothing" : "no such file";
  }
  return error ? "cannot be read: " + platform::SystemErrorText(error.value()) : "cannot be read";
}

std::string Words(FileError error, const std::string& name) {
  switch (error) {
    case FileError::kDirectory:
      return "is a folder";
    case FileError::kDenied:
      return "no permission to read it";
    case FileError::kPipe:
      return "is a pipe or a device, which cannot be read from any position";
    case FileError::kMissing:
    case FileError::kNone:
    case FileError::kOther:
      break;
  }
  return WordsOfPath(name);
}

constexpr const char* kStandardInput =
    "standard input cannot be read from any position, as a media file has to be; save it as a file first";
constexpr const char* kOutOfMemory = "out of memory";

std::string Words(const ReadFailure& failure) {
  if (failure.fault == ReadFault::kCut) {
    return fmt::format("the file became shorter while it was read; it has no byte {}", failure.position);
  }
  std::string words = fmt::format("reading failed at byte {}", failure.position);
  if (failure.systemError != 0) {
    words += ": " + platform::SystemErrorText(failure.systemError);
  }
  return words;
}

// Filters look for files beside the one they play, so its whole path is what they are told; and the system looks for a
// library without a folder where its own are, but on a command line it is one in the current folder.
std::string FullName(const std::string& path) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(platform::ToPath(path), error);
  return error ? path : platform::FromPath(full);
}

}  // namespace

void Session::SayOfFile(const std::string& message) const {
  // Kept first: what runs out of memory when it has been said would be said once more.
  lastSaid_ = message;
  tools::Say(messages_, (options_.file.empty() ? "\"\"" : options_.file) + ": " + message);
}

std::string Session::Trouble() const {
  const std::optional<ReadFailure> failure = bytes_ ? bytes_->FirstFailure() : std::nullopt;
  if (MemoryWatch::RanOut() || (failure && failure->fault == ReadFault::kNoMemory)) {
    return kOutOfMemory;
  }
  return failure ? Words(*failure) : std::string();
}

int Session::Failed(const std::string& what, HRESULT result) const {
  const std::string trouble = result == E_OUTOFMEMORY ? kOutOfMemory : Trouble();
  SayOfFile(trouble.empty() ? fmt::format("{} ({})", what, ResultText(result)) : trouble);
  return trouble.empty() ? kExitRefused : kExitUsage;
}

int Session::Interrupted() const {
  Say("interrupted");
  return kExitInterrupted;
}

bool Session::SayTrouble() const {
  const std::string trouble = Trouble();
  if (!trouble.empty()) SayOfFile(trouble);
  return !trouble.empty();
}

int Session::Finish(const std::string& trouble) const {
  const std::vector<CountedEvent> events = graph_.Events();
  const auto abort = std::find_if(events.begin(), events.end(),
                                  [](const CountedEvent& counted) { return counted.event.code == EC_ERRORABORT; });
  if (const std::string first = Trouble(); !first.empty() || !trouble.empty()) {
    SayOfFile((first.empty() ? trouble : first) + "; what is shown is not all of the file");
    return kExitUsage;
  }
  if (abort != events.end()) {
    return Failed("the filter announced an error; streams end early", static_cast<HRESULT>(abort->event.param1));
  }
  if (const std::uint64_t lost = LostFrames(graph_); lost > 0) {
    SayOfFile(fmt::format("the filter lost {} frame{}", lost, lost == 1 ? "" : "s"));
    return kExitRefused;
  }
  return kExitDone;
}

WideString Session::FullFileName() const { return Utf8ToWide(FullName(options_.file)); }

int Session::Open() {
  const int opened = TryOpen();
  if (opened != kExitRefused) {
    return opened;
  }
  std::string why = WhyRefused(refusal_);
  if (why.empty()) {
    OpenedFile file(bytes_, FullFileName(), Policy());
    if (file.IsOpen()) why = BrokenTrackText(MatchTracks(file.Root(), file.Upstream(), graph_.Pins()));
  }
  return Failed(why.empty() ? "the filter refuses the file" : why, connectResult_);
}

int Session::OpenBytes() {
  FileError fileError = FileError::kNone;
  bytes_ = OpenStore(options_.file, StoreKind::kFastest, fileError);
  if (bytes_) return kExitDone;
  SayOfFile(options_.file == "-" ? kStandardInput : Words(fileError, options_.file));
  return kExitUsage;
}

int Session::FailedToOpen() {
  const std::string why = WhyRefused(ShapeOfRefused(bytes_));
  if (SayTrouble()) return kExitUsage;
  SayOfFile(why.empty() ? "is no Matroska or WebM file" : why);
  return kExitRefused;
}

int Session::TryOpen() {
  if (const int opened = OpenBytes(); opened != kExitDone) return opened;
  std::string error;
  component_ = options_.component.empty() ? Component::LoadBesideProgram(error, Identity())
                                          : Component::Load(FullName(options_.component), error);
  if (!component_) {
    Say("cannot load the component: " + error);
    return kExitUsage;
  }
  const HRESULT created = graph_.Create(*component_, Identity().classId);
  if (FAILED(created)) {
    Say(created == E_OUTOFMEMORY ? kOutOfMemory
                                 : fmt::format("the component makes no filter ({})", ResultText(created)));
    return kExitUsage;
  }
  shape_ = ShapeOf(bytes_);
  connectResult_ = graph_.ConnectInput(bytes_, FullFileName());
  if (SUCCEEDED(connectResult_)) {
    return kExitDone;
  }
  refusal_ = ShapeOfRefused(bytes_, Policy());
  if (connectResult_ == E_OUTOFMEMORY || !Trouble().empty()) {
    return Failed("the filter refuses the file", connectResult_);
  }
  return kExitRefused;
}

void Session::WarnOfDamage() {
  if (const std::string warning = Warning(shape_); !warning.empty()) {
    SayOfFile("warning: " + warning + "; vantor-mkv check FILE tells more");
  }
}

std::uint64_t LostFrames(const Graph& graph) {
  std::uint64_t lost = 0;
  for (const CountedEvent& counted : graph.Events()) {
    if (counted.event.code == EC_STREAM_ERROR_STILLPLAYING) {
      lost += counted.count;
    }
  }
  return lost;
}

}  // namespace vantor::tools
