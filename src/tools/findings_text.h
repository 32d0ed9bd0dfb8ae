// Findings as they are printed: for people, and as JSON, one object a line.
//
//   Print(options.json ? FindingsJson(name, findings) : FindingsText(name, findings));
#pragma once

#include <string>

#include "tools/findings.h"

namespace vantor::tools {

// The file's name with its sums, then a finding a line with its advice below.
std::string FindingsText(const std::string& file, const Findings& findings);
// Those lines alone, an empty one above them; nothing without findings.
std::string FindingLines(const Findings& findings);
std::string FindingsJson(const std::string& file, const Findings& findings);

// "2 errors, 1 warning"; "healthy" without either.
std::string SumsText(const Findings& findings);

}  // namespace vantor::tools
