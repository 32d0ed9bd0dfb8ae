// Makes the seek index and the cues of a file point at what they name again, after the file was changed.
#pragma once

#include <vector>

#include "fuzz/element_tree.h"

namespace vantor::fuzz {

// In every Segment: a seek entry's position becomes that of the first child with its identifier, and the cues' cluster
// positions become those of the Clusters in order, starting over at the end. Values keep their widths.
void RepairIndexes(std::vector<ElementNode>& file);

}  // namespace vantor::fuzz
