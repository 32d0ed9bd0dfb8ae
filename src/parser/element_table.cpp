#include "parser/element_table.h"

namespace vantor {

HRESULT ReadChildren(const MkvElement& master, std::initializer_list<ElementField> table) {
  if (!master) return E_POINTER;
  MkvElement child = master.FirstChild();
  if (!child) return S_FALSE;
  do {
    for (const ElementField& field : table) {
      if (field.Id() != child.id.value) continue;
      field.Read(child);
      break;
    }
  } while (child.MoveNext());
  return S_OK;
}

}  // namespace vantor
