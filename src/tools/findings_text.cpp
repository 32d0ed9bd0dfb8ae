#include "tools/findings_text.h"

#include <vector>

#include "tools/messages.h"

namespace vantor::tools {
namespace {

std::string Place(const Finding& finding) {
  std::string place;
  if (finding.track) place += fmt::format("track {}: ", *finding.track);
  if (finding.position) place += fmt::format("byte {}: ", *finding.position);
  return place;
}

const char* CompleteWords(const Finding& finding) {
  if (!finding.complete) return "";
  switch (*finding.complete) {
    case CompleteSays::kDelivers:
      return "; the complete component delivers it";
    case CompleteSays::kDeliversSome:
      return "; the complete component delivers a part of it";
    case CompleteSays::kDoesNot:
      break;
  }
  return "; the complete component does not deliver it either";
}

std::string Lines(const Findings& findings) {
  std::string text;
  for (const Finding& finding : findings) {
    text += fmt::format("  {:<7}  {}: {}{}\n", SeverityName(finding.severity), finding.Id(), Place(finding),
                        Printable(finding.text));
    text += fmt::format("           {}\n", AdviceText(finding));
  }
  return text;
}

}  // namespace

std::string PlacedText(const Finding& finding) { return Place(finding) + finding.text; }

std::string SumsText(const Findings& findings) {
  std::vector<std::string> parts;
  for (const Severity severity : {Severity::kError, Severity::kWarning}) {
    if (const std::size_t count = Count(findings, severity); count > 0) {
      parts.push_back(fmt::format("{} {}{}", count, SeverityName(severity), count == 1 ? "" : "s"));
    }
  }
  return parts.empty() ? "healthy" : fmt::format("{}", fmt::join(parts, ", "));
}

std::string FindingLines(const Findings& findings) {
  return findings.empty() ? std::string() : fmt::format("\n{}", Lines(findings));
}

std::string FindingsText(const std::string& file, const Findings& findings) {
  return Printable(file) + ": " + SumsText(findings) + "\n" + Lines(findings);
}

std::string AdviceText(const Finding& finding) { return finding.Advice() + std::string(CompleteWords(finding)); }

void AppendFinding(JsonObject& object, const Finding& finding) {
  object.Text("id", finding.Id());
  object.Text("severity", SeverityName(finding.severity));
  object.Optional("position", finding.position);
  object.Optional("track", finding.track);
  object.Text("text", finding.text);
  object.Text("advice", finding.Advice());
  object.TextOrNull("complete", finding.complete ? CompleteName(*finding.complete) : "");
}

std::string FindingsJson(const std::string& file, const Findings& findings) {
  Buffer out;
  JsonObject object(out, JsonObject::kOneLine);
  object.Value("schema_version", 1);
  object.Text("file", file);
  object.Objects("findings", findings, AppendFinding);
  object.Close();
  out.push_back('\n');
  return fmt::to_string(out);
}

}  // namespace vantor::tools
