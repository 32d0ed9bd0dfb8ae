// Component: the entry points of an in-process component, and the shared library they came from.
//
//   std::string error;
//   std::unique_ptr<Component> component = Component::Load("/usr/lib/vantor/libvantormkv.so", error);
//   ComPtr<IBaseFilter> filter;
//   HRESULT hr = component->CreateFilter(kClsidMkvDmx, filter.Out());
//
// The component is known by nothing but DllGetClassObject, DllCanUnloadNow and the filter's class id. A program that is
// linked with one gives the two functions instead of a path. Every object of the component must be released before the
// Component goes; if the component then still refuses to be unloaded, its library stays loaded.
#pragma once

#include <memory>
#include <string>

#include "platform/com.h"
#include "platform/platform.h"
#include "published/component.h"

namespace vantor {

class Component {
 public:
  using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, LPVOID*);
  using CanUnloadNowFunction = HRESULT(STDAPICALLTYPE*)();

  // The path is a whole one; without a folder the system looks for it where it looks for libraries. Null, with one line
  // in words in error, when the library or one of its entry points cannot be had.
  static std::unique_ptr<Component> Load(const std::string& path, std::string& error);
  // Loads the component of that identity that lies beside the running program or the library this code is in, or else
  // where it is installed with them.
  static std::unique_ptr<Component> LoadBesideProgram(std::string& error, const ComponentIdentity& identity = kMkvDmx);

  // Where that one lies; empty, with one line in words in error, when there is none.
  static std::string PathBesideProgram(std::string& error, const ComponentIdentity& identity = kMkvDmx);

  Component(GetClassObjectFunction getClassObject, CanUnloadNowFunction canUnloadNow) noexcept;
  ~Component();
  Component(const Component&) = delete;
  Component& operator=(const Component&) = delete;

  HRESULT CreateFilter(REFCLSID classId, IBaseFilter** filter) const noexcept;
  // Whether no object of the component is alive.
  bool CanUnloadNow() const noexcept;

 private:
  GetClassObjectFunction getClassObject_;
  CanUnloadNowFunction canUnloadNow_;
  std::unique_ptr<SharedLibrary> library_;
};

}  // namespace vantor
