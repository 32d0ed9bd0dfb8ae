// Findings as they are printed: for people, and as JSON, one object a line.
//
//   Print(options.json ? FindingsJson(name, findings) : FindingsText(name, findings));
#pragma once

#include <cstddef>
#include <string>

#include "tools/check/findings.h"
#include "tools/json_text.h"

namespace vantor::tools {

// The file's name with its sums, then a finding a line with its advice below.
std::string FindingsText(const std::string& file, const Findings& findings);
// Those lines alone, an empty one above them; nothing without findings.
std::string FindingLines(const Findings& findings);
// What it says, behind the track and the position that it is about.
std::string PlacedText(const Finding& finding);
// One finding as an object of JSON, with a depth as JsonObject's.
void AppendFinding(Buffer& out, std::size_t depth, const Finding& finding);
// All of them, on one line.
std::string FindingsJson(const std::string& file, const Findings& findings);

// "2 errors, 1 warning"; "healthy" without either.
std::string SumsText(const Findings& findings);

}  // namespace vantor::tools
