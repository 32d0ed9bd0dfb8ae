// Findings as they are printed: for people, and as JSON, one object a line.
//
//   Print(options.json ? FindingsJson(name, findings) : FindingsText(name, findings));
#pragma once

#include <string>

#include "tools/check/findings.h"
#include "tools/json_object.h"

namespace vantor::tools {

// The file's name with its sums, then a finding a line with its advice below.
std::string FindingsText(const std::string& file, const Findings& findings);
// Those lines alone, an empty one above them; nothing without findings.
std::string FindingLines(const Findings& findings);
// What it says, behind the track and the position that it is about.
std::string PlacedText(const Finding& finding);
// Its advice, and what the complete component does about it.
std::string AdviceText(const Finding& finding);
// The members of a finding as JSON.
void AppendFinding(JsonObject& object, const Finding& finding);
// All of them, on one line.
std::string FindingsJson(const std::string& file, const Findings& findings);

// "2 errors, 1 warning"; "healthy" without either.
std::string SumsText(const Findings& findings);

}  // namespace vantor::tools
