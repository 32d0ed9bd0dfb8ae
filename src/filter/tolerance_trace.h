// What the parser tolerated, in the trace log.
//
//   CollectForTrace(*root);  // nothing where nothing is traced
//   root->Open();
//   TraceTolerated(*root);
#pragma once

#include "parser/byte_source.h"

namespace vantor {

// Has the source note what it tolerates, in a build that traces. Raises running out of memory.
void CollectForTrace(CMkvFileReader& source);
// Writes a line for each note, and for how many there was no room.
void TraceTolerated(const CMkvFileReader& source);

}  // namespace vantor
