#include "tools/findings_text.h"

#include <iterator>
#include <vector>

#include "platform/text.h"
#include "tools/json_text.h"
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
    text += fmt::format("           {}{}\n", finding.Advice(), CompleteWords(finding));
  }
  return text;
}

void AppendNumber(Buffer& out, const char* key, const std::optional<std::uint64_t>& number) {
  fmt::format_to(std::back_inserter(out), R"(,"{}":{})", key, number ? std::to_string(*number) : "null");
}

void AppendText(Buffer& out, std::string_view key, std::string_view text) {
  fmt::format_to(std::back_inserter(out), R"(,"{}":)", key);
  // Names in it need not be valid UTF-8.
  AppendJsonString(out, WideToUtf8(Utf8ToWide(std::string(text))));
}

}  // namespace

std::string SumsText(const Findings& findings) {
  std::vector<std::string> parts;
  for (const Severity severity : {Severity::kError, Severity::kWarning}) {
    if (const std::size_t count = Count(findings, severity); count > 0) {
      parts.push_back(fmt::format("{} {}{}", count, SeverityName(severity), count == 1 ? "" : "s"));
    }
  }
  return parts.empty() ? "healthy" : fmt::format("{}", fmt::join(parts, ", "));
}

std::string FindingLines(const Findings& findings) { return findings.empty() ? "" : "\n" + Lines(findings); }

std::string FindingsText(const std::string& file, const Findings& findings) {
  return Printable(file) + ": " + SumsText(findings) + "\n" + Lines(findings);
}

std::string FindingsJson(const std::string& file, const Findings& findings) {
  Buffer out;
  out.append(std::string_view(R"({"schema_version":1)"));
  AppendText(out, "file", file);
  out.append(std::string_view(R"(,"findings":[)"));
  bool isFirst = true;
  for (const Finding& finding : findings) {
    out.append(std::string_view(isFirst ? R"({"id":)" : R"(,{"id":)"));
    isFirst = false;
    AppendJsonString(out, std::string_view(finding.Id()));
    AppendText(out, "severity", SeverityName(finding.severity));
    AppendNumber(out, "position", finding.position);
    AppendNumber(out, "track", finding.track);
    AppendText(out, "text", finding.text);
    AppendText(out, "advice", finding.Advice());
    out.append(std::string_view(R"(,"complete":)"));
    if (finding.complete) {
      AppendJsonString(out, std::string_view(CompleteName(*finding.complete)));
    } else {
      out.append(std::string_view("null"));
    }
    out.push_back('}');
  }
  out.append(std::string_view("]}\n"));
  return fmt::to_string(out);
}

}  // namespace vantor::tools
