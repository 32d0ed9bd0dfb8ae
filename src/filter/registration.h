// How the server registers itself, so that graph builders find the filter for Matroska and WebM files: by the class and
// its filter data, by the bytes such a file begins with, and with its type library.
#pragma once

#include <functional>

#include "baseclasses/setup_data.h"
#include "platform/registration.h"

namespace vantor {

// What the list of filters is told: name, merit, an input pin for Matroska streams and an output pin.
extern const AMOVIESETUP_FILTER kFilterSetup;

// Registers (TRUE) or unregisters (FALSE) the classes and filters of the server: AMovieDllRegisterServer2.
using ClassRegistrar = std::function<HRESULT(BOOL)>;

// In this order: writes the key by which the system's file source knows Matroska files from their first bytes, in place
// of all values it had, since one left over would be one more pattern of bytes; deletes the keys that map file
// extensions to media types, which would be asked before the bytes; registers the type library inside the module;
// registers the classes, unless the type library failed. Gives the first failure; keys that cannot be deleted do not
// count.
HRESULT RegisterServer(platform::RegistrationSystem& system, const ClassRegistrar& classes);

// In this order: deletes the first-bytes keys of both Matroska subtypes, deletes the extension keys, unregisters the
// type library, unregisters the classes. Keys with keys below them stay. No failure ends it; the result is that of
// unregistering the classes.
HRESULT UnregisterServer(platform::RegistrationSystem& system, const ClassRegistrar& classes);

}  // namespace vantor
