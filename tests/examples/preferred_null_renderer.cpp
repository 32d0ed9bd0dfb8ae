// Enters the platform's null renderer, which takes everything and shows nothing, in the list of filters that a graph
// asks, before all others, or takes it out again: what a graph renders by itself then plays where there is no screen
// and no sound card.
//
//   preferred_null_renderer enter
//   preferred_null_renderer remove
#include <dshow.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr CLSID kNullRenderer = {0xc1f400a4, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};
// An entry of its own, beside the one that the platform may have.
constexpr const WCHAR* kEntry = L"preferred null renderer";

HRESULT Enter(IFilterMapper2* mapper) {
  const REGPINTYPES types[] = {{&MEDIATYPE_Video, &GUID_NULL}, {&MEDIATYPE_Audio, &GUID_NULL}};
  REGFILTERPINS pin = {};
  pin.strName = const_cast<LPWSTR>(L"In");
  pin.bRendered = TRUE;
  pin.nMediaTypes = 2;
  pin.lpMediaType = types;
  REGFILTER2 filter = {};
  filter.dwVersion = 1;
  filter.dwMerit = MERIT_PREFERRED + 0x100000;
  filter.cPins = 1;
  filter.rgPins = &pin;
  return mapper->RegisterFilter(kNullRenderer, L"Preferred null renderer", nullptr, &CLSID_LegacyAmFilterCategory,
                                kEntry, &filter);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  IFilterMapper2* mapper = nullptr;
  HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (SUCCEEDED(hr)) {
    hr = CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                          reinterpret_cast<void**>(&mapper));
  }
  if (SUCCEEDED(hr)) {
    hr = std::strcmp(argv[1], "enter") == 0
             ? Enter(mapper)
             : mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, kEntry, kNullRenderer);
    mapper->Release();
  }
  if (FAILED(hr)) std::fprintf(stderr, "preferred_null_renderer: 0x%08lX\n", static_cast<unsigned long>(hr));
  return FAILED(hr) ? 1 : 0;
}
