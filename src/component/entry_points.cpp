// The component's exported entry points, over the one-entry class factory table.
#include "baseclasses/class_factory.h"
#include "filter/ids.h"
#include "filter/mkv_filter.h"

CFactoryTemplate g_Templates[] = {
    {vantor::kFilterName, &vantor::kClsidMkvDmx, vantor::CVXMkvDmx::CreateInstance, nullptr, nullptr},
};
int g_cTemplates = 1;

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, void** object) {
  return CClassFactory::GetClassObject(g_Templates, g_cTemplates, clsid, riid, object);
}

STDAPI DllCanUnloadNow() { return CClassFactory::CanUnloadNow(); }

// The registry has its own writer; until it is built in there is nothing to register.
STDAPI DllRegisterServer() { return E_NOTIMPL; }
STDAPI DllUnregisterServer() { return E_NOTIMPL; }
