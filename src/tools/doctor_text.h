// What `doctor` prints: one screen for people, one object for programs.
#pragma once

#include <string>
#include <vector>

#include "tools/doctor_facts.h"

namespace vantor::tools {

std::string DoctorText(const DoctorFacts& facts, const std::vector<Ailment>& ailments);
// A line that ends in a line feed.
std::string DoctorJson(const DoctorFacts& facts, const std::vector<Ailment>& ailments);

}  // namespace vantor::tools
