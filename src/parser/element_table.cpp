#include "parser/element_table.h"

#include "parser/interruption.h"

namespace vantor {

HRESULT ReadChildren(const MkvElement& master, std::initializer_list<ElementField> table) {
  if (!master) return E_POINTER;
  MkvElement child = master.FirstChild();
  if (!child) return S_FALSE;
  InterruptionPoll poll(*master.file);
  do {
    if (poll.Interrupted()) return E_ABORT;
    // Tables have a few lines and are built on the stack of their caller, so that a linear search beats any other.
    for (const ElementField& field : table) {
      if (field.Id() != child.id.value) continue;
      field.Read(child);
      break;
    }
  } while (child.MoveNext());
  return S_OK;
}

}  // namespace vantor
