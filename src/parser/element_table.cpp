#include "parser/element_table.h"

namespace vantor {

HRESULT ReadChildren(const MkvElement& master, std::initializer_list<ElementField> table) {
  if (!master) return E_POINTER;
  MkvElement child = master.FirstChild();
  if (!child) return S_FALSE;
  constexpr std::uint32_t kWalkStep = 4096;
  std::uint32_t walked = 0;
  do {
    if (++walked % kWalkStep == 0 && master.file->interrupted && master.file->interrupted()) return E_ABORT;
    for (const ElementField& field : table) {
      if (field.Id() != child.id.value) continue;
      field.Read(child);
      break;
    }
  } while (child.MoveNext());
  return S_OK;
}

}  // namespace vantor
