// A system to register with that writes down what it is asked, in order, and fails where it is told to.
//
//   FakeRegistration system;
//   system.Fail("load", E_ACCESSDENIED);
//   EXPECT_EQ(RegisterServer(system, classes), E_ACCESSDENIED);
//   EXPECT_TRUE(system.calls.back().starts_with("load "));
#pragma once

#include <cstdio>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/registration.h"
#include "platform/text.h"

namespace vantor::test {

class FakeRegistration final : public platform::RegistrationSystem {
 public:
  std::vector<std::string> calls;
  // What the registry holds, for those who look: "key [name]".
  std::set<std::string> values;
  std::string modulePath = "C:\\Filters\\vantormkv.ax";

  // Every call whose line begins so fails.
  void Fail(std::string beginning, HRESULT result) { failures_.emplace_back(std::move(beginning), result); }

  // Every call whose line begins so runs out of memory; "words": asking for the words of a result, which is no line.
  std::string throwing;

  // Writes a line down and gives the result that was asked for, S_OK otherwise.
  HRESULT Note(const std::string& line) {
    calls.push_back(line);
    if (!throwing.empty() && line.starts_with(throwing)) throw std::bad_alloc();
    for (const auto& [beginning, result] : failures_) {
      if (line.starts_with(beginning)) return result;
    }
    return S_OK;
  }

  std::string ModulePath() override { return modulePath; }
  HRESULT WriteClassesValue(const std::string& key, const std::string& name, const std::string& text) override {
    return Note("write " + key + " [" + name + "] = " + text);
  }
  bool HasClassesValue(const std::string& key, const std::string& name) override {
    const std::string value = key + " [" + name + "]";
    Note("look for " + value);
    return values.contains(value);
  }
  HRESULT ClearClassesKey(const std::string& key) override { return Note("clear " + key); }
  bool DeleteClassesKey(const std::string& parent, const std::string& name) override {
    return SUCCEEDED(Note("delete " + parent + "\\" + name));
  }
  HRESULT DeleteClassesTree(const std::string& key) override { return Note("delete all of " + key); }
  HRESULT OpenFilterMapper(ComPtr<IFilterMapper2>& mapper) override {
    const HRESULT result = Note("open mapper");
    if (SUCCEEDED(result)) mapper = ComPtr<IFilterMapper2>(&mapper_);
    return result;
  }
  HRESULT LoadTypeLibrary(const std::string& path, std::unique_ptr<platform::TypeLibrary>& library) override {
    const HRESULT result = Note("load " + path);
    if (SUCCEEDED(result)) library = std::make_unique<Library>(*this);
    return result;
  }
  HRESULT UnregisterTypeLibrary(const GUID& library, WORD major, WORD minor) override {
    return Note("unregister library " + GuidText(library) + " " + std::to_string(major) + "." + std::to_string(minor));
  }
  std::string ErrorText(HRESULT result) override {
    if (throwing == "words") throw std::bad_alloc();
    char text[32];
    std::snprintf(text, sizeof text, "words for %08X", static_cast<unsigned>(result));
    return text;
  }
  void ShowError(const std::string& title, const std::string& text) override { Note("show " + title + ": " + text); }

  // References that others hold on the mapper.
  ULONG MapperReferences() const { return mapper_.references; }

 private:
  class Library final : public platform::TypeLibrary {
   public:
    explicit Library(FakeRegistration& system) : system_(system) {}
    HRESULT Register(const std::string& path) override { return system_.Note("register library " + path); }

   private:
    FakeRegistration& system_;
  };

  class Mapper final : public IFilterMapper2 {
   public:
    explicit Mapper(FakeRegistration& system) : system_(system) {}
    virtual ~Mapper() = default;
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP CreateCategory(REFCLSID, DWORD, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP UnregisterFilter(const CLSID*, LPCOLESTR, REFCLSID filter) override {
      return system_.Note("unregister filter " + GuidText(filter));
    }
    STDMETHODIMP RegisterFilter(REFCLSID filter, LPCWSTR name, IMoniker**, const CLSID*, LPCOLESTR,
                                const REGFILTER2* data) override {
      char numbers[64];
      std::snprintf(numbers, sizeof numbers, " merit %08lX pins %lu", static_cast<unsigned long>(data->dwMerit),
                    static_cast<unsigned long>(data->cPins2));
      std::string line = "register filter " + GuidText(filter) + " " + WideToUtf8(name) + numbers;
      for (ULONG i = 0; i < data->cPins2; ++i) {
        const REGFILTERPINS2& pin = data->rgPins2[i];
        line += ", flags " + std::to_string(pin.dwFlags);
        for (UINT k = 0; k < pin.nMediaTypes; ++k) {
          line += " " + GuidText(*pin.lpMediaType[k].clsMajorType) + GuidText(*pin.lpMediaType[k].clsMinorType);
        }
      }
      return system_.Note(line);
    }
    STDMETHODIMP EnumMatchingFilters(IEnumMoniker**, DWORD, BOOL, DWORD, BOOL, DWORD, const GUID*, const REGPINMEDIUM*,
                                     const CLSID*, BOOL, BOOL, DWORD, const GUID*, const REGPINMEDIUM*,
                                     const CLSID*) override {
      return E_NOTIMPL;
    }
    ULONG references = 0;

   private:
    FakeRegistration& system_;
  };

  std::vector<std::pair<std::string, HRESULT>> failures_;
  Mapper mapper_{*this};
};

}  // namespace vantor::test
