// What registering a server asks of the system: its registry of classes, its list of filters, its type libraries, and a
// word to the user. Tests put their own in its place.
#pragma once

#include <memory>
#include <string>

#include "platform/com.h"
#include "platform/com_ptr.h"

namespace vantor::platform {

// A type library that was loaded and is held until destruction.
class TypeLibrary {
 public:
  virtual ~TypeLibrary() = default;
  // Enters it into the registry as lying at `path`, without a help directory.
  virtual HRESULT Register(const std::string& path) = 0;
};

// Text is UTF-8; registry paths are separated by backslashes and count from HKEY_CLASSES_ROOT.
class RegistrationSystem {
 public:
  // The path of the module that holds this code, which is what gets registered.
  virtual std::string ModulePath() = 0;

  // Sets a string value, making the key and those above it when they are missing. An empty name is the key's default
  // value.
  virtual HRESULT WriteClassesValue(const std::string& key, const std::string& name, const std::string& text) = 0;
  // Whether the key is there and has a value of that name. One that cannot be looked at has none.
  virtual bool HasClassesValue(const std::string& key, const std::string& name) = 0;
  // Deletes every value of a key and leaves the keys below it. A missing key has none.
  virtual HRESULT ClearClassesKey(const std::string& key) = 0;
  // Deletes one key below another, and nothing below it: a key with subkeys stays. True when it was deleted;
  // an empty name is no key below another.
  virtual bool DeleteClassesKey(const std::string& parent, const std::string& name) = 0;
  // Deletes a key and everything below it. A missing key gives HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND).
  virtual HRESULT DeleteClassesTree(const std::string& key) = 0;

  // The system's list of filters. The caller's thread is prepared for COM.
  virtual HRESULT OpenFilterMapper(ComPtr<IFilterMapper2>& mapper) = 0;

  virtual HRESULT LoadTypeLibrary(const std::string& path, std::unique_ptr<TypeLibrary>& library) = 0;
  virtual HRESULT UnregisterTypeLibrary(const GUID& library, WORD major, WORD minor) = 0;

  // The system's description of a result.
  virtual std::string ErrorText(HRESULT result) = 0;
  // Shows a message and waits until it was read.
  virtual void ShowError(const std::string& title, const std::string& text) = 0;

 protected:
  ~RegistrationSystem() = default;
};

// The running system; null where there is no registry, which is everywhere but on Windows.
RegistrationSystem* SystemRegistration();

}  // namespace vantor::platform
