#include <algorithm>
#include <new>
#include <optional>

#include "tools/check/check_file.h"
#include "tools/commands.h"
#include "tools/findings_text.h"
#include "tools/output.h"
#include "tools/session.h"

namespace vantor::tools {
namespace {

// kExitDone, or the status of what was said: then there are no findings.
int Find(Session& session, const CheckDepth& depth, Findings& findings) {
  const int opened = session.TryOpen();
  if (opened != kExitDone && opened != kExitRefused) return opened;
  if (opened == kExitRefused) FindInRefused(session, depth, findings);
  const int found = opened == kExitDone ? FindInOpened(session, depth, findings) : kExitDone;
  return found == kExitDone && session.SayTrouble() ? kExitUsage : found;
}

int StatusOf(const Findings& findings, bool isStrict) {
  const std::optional<Severity> worst = Worst(findings);
  return worst && *worst >= (isStrict ? Severity::kWarning : Severity::kError) ? kExitRefused : kExitDone;
}

// False when it cannot be written. Where memory has run out, as has been said then, there may be no object.
bool PrintUnreadable(const std::string& name, const std::string& why, std::FILE* out) {
  try {
    return Print(out, FindingsJson(name, {MakeFinding(FindingKind::kUnreadable, {}, {}, why)}));
  } catch (const std::bad_alloc&) {
    return true;
  }
}

struct Sums {
  std::size_t files = 0;
  std::size_t withErrors = 0;
  std::size_t withWarnings = 0;
  std::size_t unchecked = 0;

  void Add(const Findings& findings) {
    const Severity worst = Worst(findings).value_or(Severity::kNote);
    withErrors += worst == Severity::kError ? 1 : 0;
    withWarnings += worst == Severity::kWarning ? 1 : 0;
  }
  std::string Text() const {
    std::string text = fmt::format("{} files: {} with errors, {} with warnings, {} healthy", files, withErrors,
                                   withWarnings, files - withErrors - withWarnings - unchecked);
    if (unchecked > 0) text += fmt::format(", {} not checked", unchecked);
    return text + "\n";
  }
};

}  // namespace

int RunCheck(const Options& options, std::FILE* out, std::FILE* messages) {
  int status = kExitDone;
  Sums sums;
  for (const std::string& name : options.files) {
    Options ofFile = options;
    ofFile.file = name;
    Session session(ofFile, messages);
    Findings findings;
    ++sums.files;
    const int found = Find(session, {options.deep, !options.complete}, findings);
    if (found != kExitDone) {
      ++sums.unchecked;
      status = kExitUsage;
      // For people it has been said.
      if (!options.json || PrintUnreadable(name, session.LastSaid(), out)) continue;
      session.Say(CannotWrite("the answer"));
      return kExitUsage;
    }
    SortFindings(findings);
    sums.Add(findings);
    status = std::max(status, StatusOf(findings, options.strict));
    if (!Print(out, options.json ? FindingsJson(name, findings) : FindingsText(name, findings))) {
      session.Say(CannotWrite("the answer"));
      return kExitUsage;
    }
  }
  if (options.files.size() > 1 && !options.json && !Print(out, sums.Text())) {
    Say(messages, CannotWrite("the answer"));
    return kExitUsage;
  }
  return status;
}

}  // namespace vantor::tools
