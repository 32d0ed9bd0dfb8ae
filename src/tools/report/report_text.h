// A report as it is written: a page that needs nothing beside it, or its data for programs.
#pragma once

#include <string>
#include <string_view>

#include "tools/report/report_facts.h"

namespace vantor::tools {

// The page's style, which holds no text of any file.
extern const std::string_view kReportStyle;

std::string ReportPage(const std::string& file, const ReportFacts& facts);
// A line that ends in a line feed.
std::string ReportJson(const std::string& file, const ReportFacts& facts);

}  // namespace vantor::tools
