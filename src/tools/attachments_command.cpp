#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/file_path.h"
#include "platform/text.h"
#include "tools/commands.h"
#include "tools/extras_json.h"
#include "tools/extras_text.h"
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

// False when the file could not be written or read: the file's trouble tells, or the store's failure.
bool CopyAttachment(ByteStore& bytes, const MkvAttachedFile& attached, OutputFile& file) {
  std::vector<std::uint8_t> piece(
      static_cast<std::size_t>(std::min<std::uint64_t>(kAttachmentPiece, attached.dataSize)));
  std::uint64_t position = attached.dataPosition;
  std::uint64_t left = attached.dataSize;
  while (left > 0 && !file.HasFailed()) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), left));
    if (!bytes.Read(static_cast<std::int64_t>(position), piece.data(), size)) return false;
    file.Append({piece.data(), size});
    position += size;
    left -= size;
  }
  return file.Finish();
}

class AttachmentWriter {
 public:
  AttachmentWriter(const Options& options, Session& session) : options_(options), session_(session) {}

  // Each file, whether the others could be written or not.
  void WriteAll(const MkvAttachmentList& attachments) {
    for (std::size_t i = 0; i < attachments.size(); ++i) paths_.push_back(Write(attachments[i], i + 1));
  }
  // One for each attachment, empty for those that were not written.
  const std::vector<std::string>& Paths() const { return paths_; }
  int Status() const { return status_; }

 private:
  std::string Write(const MkvAttachedFile& attached, std::size_t number) {
    const std::string name =
        names_.Take(SafeName(WideToUtf8(attached.FileName), "attachment " + std::to_string(number)));
    const auto length = static_cast<std::uint64_t>(session_.Bytes()->Length());
    if (attached.dataPosition > length || attached.dataSize > length - attached.dataPosition) {
      Fail(kExitRefused, "attachment " + std::to_string(number) + " is cut off at the end of the file; not written");
      return {};
    }
    // Those of a sound file do not overlap.
    claimed_ += attached.dataSize;
    if (claimed_ > length) {
      Fail(kExitRefused, "attachment " + std::to_string(number) + " claims bytes of others; not written");
      return {};
    }
    std::string path = platform::FromPath(platform::ToPath(options_.attachments.folder) / platform::ToPath(name));
    if (IsSameFile(options_.file, path)) {
      Fail(kExitUsage, path + ": is the file that is read");
      return {};
    }
    OutputFile file;
    const Overwrite overwrite = options_.attachments.force ? Overwrite::kYes : Overwrite::kNo;
    if (file.Open(path, overwrite, OutputFile::Name::kMade) && CopyAttachment(*session_.Bytes(), attached, file)) {
      return path;
    }
    Fail(kExitUsage, file.Trouble());
    return {};
  }

  // A read that failed is said with the command's end.
  void Fail(int status, const std::string& why) {
    if (!why.empty()) session_.Say(status == kExitRefused ? options_.file + ": " + why : why);
    status_ = std::max(status_, status);
  }

  const Options& options_;
  Session& session_;
  UniqueNames names_;
  std::uint64_t claimed_ = 0;  // bytes of those before; each is within the file, so that the sum does not overflow
  std::vector<std::string> paths_;
  int status_ = kExitDone;
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
  Session session(options, messages);
  if (const int opened = session.OpenBytes(); opened != kExitDone) return opened;
  OpenedFile file(session.Bytes(), session.FullFileName());
  if (!file.IsOpen()) return session.FailedToOpen();
  const FileExtras extras = ReadExtras(file.Root(), {.attachments = true});
  if (!extras.isComplete) session.SayOfFile(kExtrasOverLimit);
  OutputFolder folder;
  AttachmentWriter writer(options, session);
  const MkvAttachmentList& attachments = extras.attachments;
  if (options.attachments.extract && !attachments.empty()) {
    if (!folder.Make(options.attachments.folder)) {
      session.Say(folder.Trouble());
      return kExitUsage;
    }
    writer.WriteAll(attachments);
  }
  const std::string text = options.json ? AttachmentsJson(options.file, attachments, writer.Paths())
                                        : AttachmentsText(attachments, writer.Paths(), TableWidth(out));
  if (!Print(out, text)) {
    session.Say(CannotWrite("the answer"));
    return kExitUsage;
  }
  if (attachments.empty() && !options.json) session.SayOfFile("there are no attachments");
  return std::max(session.Finish(), writer.Status());
}

}  // namespace vantor::tools
