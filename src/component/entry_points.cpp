// The component's exported entry points, over the class factory table.
#include "baseclasses/class_factory.h"
#include "baseclasses/dll_setup.h"
#include "filter/registration.h"

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, void** object) {
  return CClassFactory::GetClassObject(g_Templates, g_cTemplates, clsid, riid, object);
}

STDAPI DllCanUnloadNow() { return CClassFactory::CanUnloadNow(); }

// Where the system has no registry there is nothing to register with: E_NOTIMPL.
STDAPI DllRegisterServer() {
  vantor::platform::RegistrationSystem* system = vantor::platform::SystemRegistration();
  return system ? vantor::RegisterServer(*system, AMovieDllRegisterServer2, vantor::kServer) : E_NOTIMPL;
}

STDAPI DllUnregisterServer() {
  vantor::platform::RegistrationSystem* system = vantor::platform::SystemRegistration();
  return system ? vantor::UnregisterServer(*system, AMovieDllRegisterServer2, vantor::kServer) : E_NOTIMPL;
}
