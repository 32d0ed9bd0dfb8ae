// Registration of a server's classes, and of their filters with the system's list of filters.
//
//   STDAPI DllRegisterServer() { return AMovieDllRegisterServer2(TRUE); }
//   STDAPI DllUnregisterServer() { return AMovieDllRegisterServer2(FALSE); }
#pragma once

#include "baseclasses/class_factory.h"
#include "platform/registration.h"

// Registers or unregisters every entry of g_Templates that has setup data:
// - its class: HKEY_CLASSES_ROOT\CLSID\{...}, whose default value is the entry's name, and InprocServer32 below it with
//   this module's path and "ThreadingModel" = "Both";
// - its filter and pins, with the filter mapper.
// Registering ends at the first failure. Unregistering goes on through all of it and gives the first failure; what was
// not registered is none. E_NOTIMPL where the system has no registry.
HRESULT AMovieDllRegisterServer2(BOOL bRegister);

// The same for another table, on the system given.
HRESULT AMovieDllRegisterTemplates(const CFactoryTemplate* pTemplates, int cTemplates, BOOL bRegister,
                                   vantor::platform::RegistrationSystem& system);
