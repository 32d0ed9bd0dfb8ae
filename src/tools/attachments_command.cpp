#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_path.h"
#include "platform/text.h"
#include "tools/commands.h"
#include "tools/extras_json.h"
#include "tools/extras_text.h"
#include "tools/interrupt_watch.h"
#include "tools/opened_file.h"
#include "tools/output.h"
#include "tools/output_file.h"
#include "tools/output_folder.h"
#include "tools/safe_name.h"
#include "tools/session.h"
#include "tools/text_table.h"

namespace vantor::tools {
namespace {

// What is held of an attached file at a time.
constexpr std::size_t kAttachmentPiece = std::size_t{1} << 20;

// False when it was not copied whole: the file's trouble tells why, or the store's failure, or there was an interrupt.
bool CopyAttachment(ByteStore& bytes, const MkvAttachedFile& attached, OutputFile& file) {
  std::vector<std::uint8_t> piece(
      static_cast<std::size_t>(std::min<std::uint64_t>(kAttachmentPiece, attached.dataSize)));
  std::uint64_t position = attached.dataPosition;
  std::uint64_t left = attached.dataSize;
  while (left > 0 && !file.HasFailed()) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), left));
    if (InterruptWatch::Interrupted() || !bytes.Read(static_cast<std::int64_t>(position), piece.data(), size)) {
      return false;
    }
    file.Append({piece.data(), size});
    position += size;
    left -= size;
  }
  return file.Complete();
}

// Writes the attached files. They appear together when all are whole, or none does; until then those that are wait,
// most of them closed, so that any number of them will do.
class AttachmentWriter {
 public:
  AttachmentWriter(const Options& options, Session& session) : options_(options), session_(session) {}

  // kExitDone, or the status of what was said: after kExitRefused all are written but those that the file has not
  // whole.
  int WriteAll(const MkvAttachmentList& attachments) {
    if (!folder_.Make(options_.attachments.folder)) return Failed(folder_.Trouble());
    int status = kExitDone;
    for (std::size_t i = 0; i < attachments.size(); ++i) {
      if (const std::string lack = LackOf(attachments[i]); !lack.empty()) {
        session_.SayOfFile(fmt::format("attachment {} {}; not written", i + 1, lack));
        status = kExitRefused;
        paths_.emplace_back();
      } else if (const int written = Write(attachments[i], i + 1); written != kExitDone) {
        return written;
      }
    }
    if (InterruptWatch::Interrupted()) return session_.Interrupted();
    const OutputFile* const failed = Place();
    return failed == nullptr ? status : Failed(failed->Trouble());
  }
  // One for each attachment, empty for those that were not written.
  const std::vector<std::string>& Paths() const { return paths_; }

 private:
  // Why the file has not all its bytes; empty when it has. To be asked once of each.
  std::string LackOf(const MkvAttachedFile& attached) {
    const auto length = static_cast<std::uint64_t>(session_.Bytes()->Length());
    if (attached.dataPosition > length || attached.dataSize > length - attached.dataPosition) {
      return "is cut off at the end of the file";
    }
    // Those of a sound file do not overlap.
    claimed_ += attached.dataSize;
    return claimed_ > length ? "claims bytes of others" : "";
  }

  int Write(const MkvAttachedFile& attached, std::size_t number) {
    const std::string name =
        names_.Take(SafeName(WideToUtf8(attached.FileName), "attachment " + std::to_string(number)));
    const auto& path =
        paths_.emplace_back(platform::FromPath(platform::ToPath(options_.attachments.folder) / platform::ToPath(name)));
    if (IsSameFile(options_.file, path)) return Failed(path + ": is the file that is read");
    OutputFile& file = *files_.emplace_back(std::make_unique<OutputFile>());
    const Overwrite overwrite = options_.attachments.force ? Overwrite::kYes : Overwrite::kNo;
    if (file.Open(path, overwrite, OutputFile::Name::kMade) && CopyAttachment(*session_.Bytes(), attached, file)) {
      return kExitDone;
    }
    if (file.HasFailed()) return Failed(file.Trouble());
    return session_.SayTrouble() ? kExitUsage : session_.Interrupted();
  }

  OutputFile* Place() {
    std::vector<OutputFile*> files;
    for (const auto& file : files_) files.push_back(file.get());
    return PlaceAll(files);
  }

  int Failed(const std::string& why) {
    session_.Say(why);
    return kExitUsage;
  }

  const Options& options_;
  Session& session_;
  OutputFolder folder_;  // outlives what is in it
  std::vector<std::unique_ptr<OutputFile>> files_;
  UniqueNames names_;
  std::uint64_t claimed_ = 0;  // bytes of those before; each is within the file, so that the sum does not overflow
  std::vector<std::string> paths_;
};

std::string AttachmentsJson(const std::string& file, const MkvAttachmentList& attachments,
                            const std::vector<std::string>& paths) {
  Buffer out;
  JsonObject object(out, 0);
  object.Value("schema_version", 1);
  object.Text("file", file);
  std::size_t number = 0;
  object.Array("attached_files", attachments, [&](std::size_t depth, const MkvAttachedFile& attached) {
    AppendAttachment(out, depth, attached, number + 1, number < paths.size() ? paths[number] : std::string());
    ++number;
  });
  object.Close();
  return fmt::to_string(out) + "\n";
}

}  // namespace

int RunAttachments(const Options& options, std::FILE* out, std::FILE* messages) {
  // Outlives the files, which go before an interrupt ends the program.
  std::optional<InterruptWatch> watch;
  Session session(options, messages);
  if (const int opened = session.OpenBytes(); opened != kExitDone) return opened;
  OpenedFile file(session.Bytes(), session.FullFileName());
  if (!file.IsOpen()) return session.FailedToOpen();
  const FileExtras extras = ReadExtras(file.Root(), {.attachments = true});
  if (!extras.isComplete) session.SayOfFile(kExtrasOverLimit);
  AttachmentWriter writer(options, session);
  const MkvAttachmentList& attachments = extras.attachments;
  int status = kExitDone;
  if (options.attachments.extract && !attachments.empty()) {
    // Those that could not be listed would be missing among the files.
    if (session.SayTrouble()) return kExitUsage;
    watch.emplace();
    status = writer.WriteAll(attachments);
    if (status != kExitDone && status != kExitRefused) return status;
  }
  const std::string text = options.json ? AttachmentsJson(options.file, attachments, writer.Paths())
                                        : AttachmentsText(attachments, writer.Paths(), TableWidth(out));
  if (!Print(out, text)) {
    session.Say(CannotWrite("the answer"));
    return kExitUsage;
  }
  const int finished = session.Finish();
  if (finished == kExitDone && attachments.empty() && !options.json) session.SayOfFile("there are no attachments");
  return std::max(finished, status);
}

}  // namespace vantor::tools
