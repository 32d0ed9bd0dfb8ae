// How the server registers itself, so that graph builders find the filter for Matroska and WebM files: by the class and
// its filter data, by the bytes such a file begins with, and with its type library.
#pragma once

#include <functional>

#include "baseclasses/setup_data.h"
#include "platform/registration.h"
#include "published/component.h"

namespace vantor {

// What the list of filters is told: name, merit, an input pin for Matroska streams and an output pin. Where both
// filters are in it, the complete one goes first by its merit.
extern const AMOVIESETUP_FILTER kFilterSetup;
extern const AMOVIESETUP_FILTER kCompleteFilterSetup;

// What else tells the servers of the two apart.
struct ServerSetup {
  GUID typeLibraryId = kTypeLibraryId;
  // The class that the keys of the first bytes belong to when it is registered too; CLSID_NULL: they are this server's.
  CLSID keyOwner = {};
};
// That of the module, beside its table of classes.
extern const ServerSetup kServer;

// Registers (TRUE) or unregisters (FALSE) the classes and filters of the server: AMovieDllRegisterServer2.
using ClassRegistrar = std::function<HRESULT(BOOL)>;

// In this order: writes the key by which the system's file source knows Matroska files from their first bytes, in place
// of all values it had, since one left over would be one more pattern of bytes; deletes the keys that map file
// extensions to media types, which would be asked before the bytes; registers the type library inside the module;
// registers the classes, unless the type library failed. Gives the first failure; keys that cannot be deleted do not
// count. A server that the key is not of writes it only where there is none, and no value of it is deleted.
HRESULT RegisterServer(platform::RegistrationSystem& system, const ClassRegistrar& classes,
                       const ServerSetup& server = {});

// In this order: deletes the first-bytes keys of both Matroska subtypes, deletes the extension keys, unregisters the
// type library, unregisters the classes. Keys with keys below them stay. No failure ends it; the result is that of
// unregistering the classes. A server that they are not of deletes no key while the class that they are of is
// registered, and otherwise the one that it may have written.
HRESULT UnregisterServer(platform::RegistrationSystem& system, const ClassRegistrar& classes,
                         const ServerSetup& server = {});

}  // namespace vantor
