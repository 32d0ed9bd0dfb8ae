// Whether chapters are to be played in an order of their own, which may lead through other files. Only the tool asks:
// the filter plays a file as it lies.
//
//   if (HasOrderedEdition(element)) Use(true);
#pragma once

#include "parser/element.h"

namespace vantor::tools {

// The element is a Chapters element.
bool HasOrderedEdition(const MkvElement& chapters);

}  // namespace vantor::tools
