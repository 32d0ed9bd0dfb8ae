#include "baseclasses/dll_setup.h"

#include "platform/result.h"
#include "platform/text.h"

using vantor::ComPtr;
using vantor::platform::RegistrationSystem;

namespace {

// The calling thread as a COM thread: one that is already of another kind will do.
class CComThread {
 public:
  CComThread() : m_hr(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  ~CComThread() {
    if (SUCCEEDED(m_hr)) CoUninitialize();
  }
  CComThread(const CComThread&) = delete;
  CComThread& operator=(const CComThread&) = delete;

 private:
  const HRESULT m_hr;
};

HRESULT UnlessMissing(HRESULT hr) { return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? S_OK : hr; }

std::string ClassKey(const CFactoryTemplate& entry) { return "CLSID\\" + vantor::GuidText(*entry.m_ClsID); }

HRESULT RegisterCom(const CFactoryTemplate& entry, RegistrationSystem& system) {
  const std::string path = system.ModulePath();
  if (path.empty()) return E_UNEXPECTED;
  const std::string key = ClassKey(entry);
  const std::string server = key + "\\InprocServer32";
  HRESULT hr = system.WriteClassesValue(key, "", vantor::WideToUtf8(entry.m_Name));
  if (SUCCEEDED(hr)) hr = system.WriteClassesValue(server, "", path);
  if (SUCCEEDED(hr)) hr = system.WriteClassesValue(server, "ThreadingModel", "Both");
  return hr;
}

HRESULT Register(const CFactoryTemplate* pTemplates, int cTemplates, RegistrationSystem& system) {
  for (int i = 0; i < cTemplates; ++i) {
    if (!pTemplates[i].m_pAMovieSetup_Filter) continue;
    const HRESULT hr = RegisterCom(pTemplates[i], system);
    if (FAILED(hr)) return hr;
  }
  ComPtr<IFilterMapper2> pMapper;
  HRESULT hr = system.OpenFilterMapper(pMapper);
  for (int i = 0; SUCCEEDED(hr) && i < cTemplates; ++i) {
    if (!pTemplates[i].m_pAMovieSetup_Filter) continue;
    hr = AMovieSetupRegisterFilter2(pTemplates[i].m_pAMovieSetup_Filter, pMapper.Get(), TRUE);
  }
  return FAILED(hr) ? hr : S_OK;
}

HRESULT Unregister(const CFactoryTemplate* pTemplates, int cTemplates, RegistrationSystem& system) {
  ComPtr<IFilterMapper2> pMapper;
  HRESULT hrFirst = system.OpenFilterMapper(pMapper);
  const auto keep = [&hrFirst](HRESULT hr) {
    if (SUCCEEDED(hrFirst)) hrFirst = UnlessMissing(hr);
  };
  for (int i = 0; i < cTemplates; ++i) {
    const AMOVIESETUP_FILTER* pSetup = pTemplates[i].m_pAMovieSetup_Filter;
    if (!pSetup) continue;
    if (pMapper) keep(AMovieSetupRegisterFilter2(pSetup, pMapper.Get(), FALSE));
    keep(system.DeleteClassesTree(ClassKey(pTemplates[i])));
  }
  return FAILED(hrFirst) ? hrFirst : S_OK;
}

}  // namespace

HRESULT AMovieDllRegisterTemplates(const CFactoryTemplate* pTemplates, int cTemplates, BOOL bRegister,
                                   RegistrationSystem& system) {
  return vantor::Guarded([&] {
    const CComThread thread;
    return bRegister ? Register(pTemplates, cTemplates, system) : Unregister(pTemplates, cTemplates, system);
  });
}
