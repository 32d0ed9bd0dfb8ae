#include <algorithm>
#include <cstdint>
#include <string>

#include "tools/chapter_formats.h"
#include "tools/check/findings.h"
#include "tools/commands.h"
#include "tools/extras_text.h"
#include "tools/opened_file.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/text_table.h"

namespace vantor::tools {
namespace {

std::string MetadataForm(const Session& session, const OpenedFile& file, const Editions& editions) {
  // 100 ns in a signed number are nanoseconds in an unsigned one, but for some centuries at the end.
  const std::int64_t longest = INT64_MAX / 100;
  const auto duration = static_cast<std::uint64_t>(std::clamp<std::int64_t>(file.Duration(), 0, longest) * 100);
  const MetadataChapters chapters = ChaptersMetadata(editions, duration);
  if (chapters.leftOut > 0) {
    session.SayOfFile("warning: " + CountText(chapters.leftOut, "chapter is", "chapters are") +
                      " left out: this form has no nested, hidden or disabled ones, and one edition");
  }
  return chapters.text;
}

}  // namespace

int RunChapters(const Options& options, std::FILE* out, std::FILE* messages) {
  Session session(options, messages);
  if (const int opened = session.OpenBytes(); opened != kExitDone) return opened;
  OpenedFile file(session.Bytes(), session.FullFileName());
  if (!file.IsOpen()) return session.FailedToOpen();
  const FileExtras extras = ReadExtras(file.Root(), {.chapters = true});
  if (!extras.isComplete) session.SayOfFile(kExtrasOverLimit);
  std::string text;
  switch (options.chapterFormat) {
    case ChapterFormat::kText:
      text = ChaptersText(extras.editions, TableWidth(out));
      break;
    case ChapterFormat::kXml:
      text = ChaptersXml(extras.editions);
      break;
    case ChapterFormat::kMetadata:
      text = MetadataForm(session, file, extras.editions);
      break;
  }
  if (!Print(out, text)) {
    session.Say(CannotWrite("the chapters"));
    return kExitUsage;
  }
  const int status = session.Finish();
  if (status == kExitDone && CountChapters(extras.editions) == 0) session.SayOfFile("there are no chapters");
  return status;
}

}  // namespace vantor::tools
