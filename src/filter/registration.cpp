#include "filter/registration.h"

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "diag/result_names.h"
#include "diag/trace.h"
#include "parser/element_ids.h"
#include "platform/result.h"
#include "platform/text.h"
#include "published/component.h"
#include "published/media_guids.h"

namespace vantor {
namespace {

using platform::RegistrationSystem;

const AMOVIESETUP_MEDIATYPE kInputTypes[] = {
    {&MEDIATYPE_Stream, &kSubtypePrivateMatroska},
    {&MEDIATYPE_Stream, &kSubtypeMatroska},
    {&GUID_NULL, &GUID_NULL},
};

const AMOVIESETUP_PIN kPins[] = {
    // name, rendered, output, zero, many, connects to filter, to pin, media types
    {OLESTR("Input"), FALSE, FALSE, FALSE, FALSE, &CLSID_NULL, nullptr, 3, kInputTypes},
    {OLESTR("Output"), FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 0, nullptr},
};

// Offset, length, mask (none), bytes: what an EBML header begins with.
std::string FirstBytes() {
  char text[32];
  std::snprintf(text, sizeof text, "0,4,,%08X", static_cast<unsigned>(ids::kEbmlHeader));
  return text;
}

constexpr const char* kExtensions[] = {".webm", ".mkv", ".mka", ".mks"};

std::string StreamTypesKey() { return "Media Type\\" + GuidText(MEDIATYPE_Stream); }

HRESULT WriteMediaTypeValues(RegistrationSystem& system, const std::string& key, const CLSID& source) {
  const HRESULT result = system.WriteClassesValue(key, "0", FirstBytes());
  if (FAILED(result)) return result;
  return system.WriteClassesValue(key, "Source Filter", GuidText(source));
}

// A key that keeps old values gets its own all the same: with them a file may still be known by its first bytes.
HRESULT WriteMediaTypeKey(RegistrationSystem& system, const GUID& subtype, const CLSID& source) {
  const std::string key = StreamTypesKey() + "\\" + GuidText(subtype);
  const HRESULT cleared = Guarded([&] { return system.ClearClassesKey(key); });
  const HRESULT written = Guarded([&] { return WriteMediaTypeValues(system, key, source); });
  return FAILED(cleared) ? cleared : written;
}

// Whether a class that these keys are of has the say over them.
bool IsKeyOfAnother(const ServerSetup& server) { return !SameGuid(server.keyOwner, CLSID_NULL); }

// Without memory to find out it counts as registered: a key left over harms less than one that is missing.
bool IsRegistered(RegistrationSystem& system, const CLSID& classId) {
  bool isThere = true;
  Guarded([&] {
    isThere = system.HasClassesValue("CLSID\\" + GuidText(classId) + "\\InprocServer32", "");
    return S_OK;
  });
  return isThere;
}

HRESULT WriteMissingMediaTypeKey(RegistrationSystem& system, const GUID& subtype, const CLSID& source) {
  const std::string key = StreamTypesKey() + "\\" + GuidText(subtype);
  return system.HasClassesValue(key, "Source Filter") ? S_OK : WriteMediaTypeValues(system, key, source);
}

void DeleteMediaTypeKeys(RegistrationSystem& system, std::initializer_list<GUID> subtypes) {
  for (const GUID& subtype : subtypes) {
    Guarded([&] {
      system.DeleteClassesKey(StreamTypesKey(), GuidText(subtype));
      return S_OK;
    });
  }
}

void DeleteExtensionKeys(RegistrationSystem& system) {
  for (const char* extension : kExtensions) {
    Guarded([&] {
      system.DeleteClassesKey("Media Type\\Extensions", extension);
      return S_OK;
    });
  }
}

// A message for which there is no memory is left out; it changes no result.
template <typename Text>
void Show(RegistrationSystem& system, Text text) {
  Guarded([&] {
    system.ShowError("Error", text());
    return S_OK;
  });
}

HRESULT RegisterTypeLibrary(RegistrationSystem& system) {
  const std::string path = system.ModulePath();
  std::unique_ptr<platform::TypeLibrary> library;
  HRESULT result = system.LoadTypeLibrary(path, library);
  if (FAILED(result)) {
    VANTOR_TRACE("\nVX_RegisterTypeLibrary: LoadTypeLib failed 0x%08x", static_cast<std::uint32_t>(result));
    Show(system, [&] {
      return std::string("Failed ") + ResultName(result) + " to register type library: " + system.ErrorText(result);
    });
    return result;
  }
  result = library->Register(path);
  if (FAILED(result)) {
    VANTOR_TRACE("\nVX_RegisterTypeLibrary: RegisterTypeLib failed 0x%08x", static_cast<std::uint32_t>(result));
    Show(system, [&] { return "Failed to register type library: " + system.ErrorText(result); });
  }
  return result;
}

}  // namespace

const AMOVIESETUP_FILTER kFilterSetup = {&kMkvDmx.classId, kMkvDmx.filterName, MERIT_NORMAL, 2, kPins};
const AMOVIESETUP_FILTER kCompleteFilterSetup = {&kMkvDmxComplete.classId, kMkvDmxComplete.filterName, MERIT_NORMAL + 1,
                                                 2, kPins};

// Every step by itself: one that runs out of memory does not keep the others from being taken.
HRESULT RegisterServer(RegistrationSystem& system, const ClassRegistrar& classes, const ServerSetup& server) {
  const auto write = IsKeyOfAnother(server) ? WriteMissingMediaTypeKey : WriteMediaTypeKey;
  const HRESULT written = Guarded([&] { return write(system, kSubtypePrivateMatroska, CLSID_AsyncReader); });
  DeleteExtensionKeys(system);
  HRESULT registered = Guarded([&] { return RegisterTypeLibrary(system); });
  if (SUCCEEDED(registered)) registered = Guarded([&] { return classes(TRUE); });
  if (FAILED(written)) return written;
  return FAILED(registered) ? registered : S_OK;
}

HRESULT UnregisterServer(RegistrationSystem& system, const ClassRegistrar& classes, const ServerSetup& server) {
  if (!IsKeyOfAnother(server)) {
    DeleteMediaTypeKeys(system, {kSubtypePrivateMatroska, kSubtypeMatroska});
  } else if (!IsRegistered(system, server.keyOwner)) {
    DeleteMediaTypeKeys(system, {kSubtypePrivateMatroska});
  }
  DeleteExtensionKeys(system);
  Guarded([&] { return system.UnregisterTypeLibrary(server.typeLibraryId, kTypeLibraryMajor, kTypeLibraryMinor); });
  return Guarded([&] { return classes(FALSE); });
}

}  // namespace vantor
