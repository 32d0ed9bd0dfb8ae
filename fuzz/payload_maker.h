// Payloads of elements, made up: values that sit at edges, texts that mean something, blocks with laces.
//
//   Raw number = MakeNumber(random);
//   Raw block = MakeBlock(random, {1, 2}, 400);  // of track 1 or 2, at most about 400 bytes
#pragma once

#include <cstddef>
#include <vector>

#include "fuzz/element_tree.h"
#include "fuzz/known_elements.h"
#include "fuzz/random.h"

namespace vantor::fuzz {

Raw MakeNumber(Random& random);
Raw MakeFloat(Random& random);
Raw MakeText(Random& random);
Raw MakeBytes(Random& random, std::size_t most);
// A block of one of the tracks (there is at least one), with a lace of any kind, sometimes a wrong one.
Raw MakeBlock(Random& random, const std::vector<std::uint64_t>& tracks, std::size_t most);

}  // namespace vantor::fuzz
