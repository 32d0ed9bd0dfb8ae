// Seeds of the targets whose inputs are not files: elements with encodings and laces, description files, command lines.
#pragma once

#include <string>
#include <vector>

#include "support/mkv_builder.h"

namespace vantor::fuzz {

struct Seed {
  std::string name;
  test::Raw bytes;
};

std::vector<Seed> LacingSeeds();
std::vector<Seed> DescriptionSeeds();
std::vector<Seed> ArgumentSeeds();

}  // namespace vantor::fuzz
