// A component for the tool to load in place of the real one: the toy splitter under the demultiplexer's class id.
#include "host/component.h"
#include "host/fake_splitter.h"

STDAPI DllGetClassObject(REFCLSID classId, REFIID riid, LPVOID* object) {
  const bool known = vantor::SameGuid(classId, vantor::kClsidMkvDmx);
  return vantor::test::ToyGetClassObject(known ? vantor::test::FakeSplitter::kClassId : GUID{}, riid, object);
}

STDAPI DllCanUnloadNow() { return vantor::test::ToyCanUnloadNow(); }
