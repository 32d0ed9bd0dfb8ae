#include "tools/chapter_order.h"

#include "parser/element_table.h"

namespace vantor::tools {

bool HasOrderedEdition(const MkvElement& chapters) {
  bool isOrdered = false;
  ReadRecord(chapters, {{0x45B9, [&](const MkvElement& edition) {
                           CMkvUInt ordered;
                           ReadRecord(edition, {{0x45DD, ordered}});
                           isOrdered = isOrdered || ordered.value != 0;
                         }}});
  return isOrdered;
}

}  // namespace vantor::tools
