#include "baseclasses/setup_data.h"

#include <vector>

#include "platform/result.h"

namespace {

std::vector<REGPINTYPES> PinTypes(const AMOVIESETUP_PIN& pin) {
  std::vector<REGPINTYPES> types(pin.nMediaTypes);
  for (UINT i = 0; i < pin.nMediaTypes; ++i) {
    types[i] = {pin.lpMediaType[i].clsMajorType, pin.lpMediaType[i].clsMinorType};
  }
  return types;
}

DWORD PinFlags(const AMOVIESETUP_PIN& pin) {
  return (pin.bZero ? REG_PINFLAG_B_ZERO : 0) | (pin.bRendered ? REG_PINFLAG_B_RENDERER : 0) |
         (pin.bMany ? REG_PINFLAG_B_MANY : 0) | (pin.bOutput ? REG_PINFLAG_B_OUTPUT : 0);
}

}  // namespace

HRESULT AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* pSetupData, IFilterMapper2* pMapper, BOOL bRegister) {
  if (!pSetupData) return S_FALSE;
  return vantor::Guarded([&] {
    // Also before it is entered, so that nothing of an older entry stays.
    HRESULT hr = pMapper->UnregisterFilter(nullptr, nullptr, *pSetupData->clsID);
    if (!bRegister) return hr;

    std::vector<std::vector<REGPINTYPES>> types;  // each keeps its memory when the outer one grows
    std::vector<REGFILTERPINS2> pins;
    for (UINT i = 0; i < pSetupData->nPins; ++i) {
      const AMOVIESETUP_PIN& pin = pSetupData->lpPin[i];
      types.push_back(PinTypes(pin));
      REGFILTERPINS2 entry = {};
      entry.dwFlags = PinFlags(pin);
      entry.nMediaTypes = pin.nMediaTypes;
      entry.lpMediaType = types.back().data();
      pins.push_back(entry);
    }
    REGFILTER2 filter = {};
    filter.dwVersion = 2;
    filter.dwMerit = pSetupData->dwMerit;
    filter.cPins2 = pSetupData->nPins;
    filter.rgPins2 = pins.data();
    return pMapper->RegisterFilter(*pSetupData->clsID, pSetupData->strName, nullptr, nullptr, nullptr, &filter);
  });
}
