// Recipes of files that are made to cost more than they are long.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "support/mkv_builder.h"

namespace vantor::test {

// What a file may cost, opened, played to its end by all pins, sought and played again: for each of its bytes. Memory
// is what is on the heap at once, delivered are the bytes of all samples.
struct Cost {
  double reads = 0;
  double bytesRead = 0;
  double memory = 0;
  double delivered = 0;
  // Mebibytes that records may take whatever the file's length: the slack of their room, and as much again and more
  // while a list of them grows.
  double records = 0;
};

struct HostileRecipe {
  const char* name;
  std::function<Raw(std::size_t size)> make;  // a file of about that many bytes
  Cost limit;
  // The stream description beside it, of about that many bytes too, which then count as the file's.
  std::function<std::string(std::size_t size)> describe = {};
};

const std::vector<HostileRecipe>& HostileRecipes();

}  // namespace vantor::test
