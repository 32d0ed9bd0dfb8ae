// What a filter tells the system's list of filters about itself and its pins.
#pragma once

#include "platform/com.h"

struct AMOVIESETUP_MEDIATYPE {
  const CLSID* clsMajorType;
  const CLSID* clsMinorType;
};

struct AMOVIESETUP_PIN {
  LPCWSTR strName;
  BOOL bRendered;  // the filter renders the input of this pin
  BOOL bOutput;
  BOOL bZero;  // there may be none of this pin
  BOOL bMany;  // there may be several
  const CLSID* clsConnectsToFilter;
  LPCWSTR strConnectsToPin;
  UINT nMediaTypes;
  const AMOVIESETUP_MEDIATYPE* lpMediaType;
};

struct AMOVIESETUP_FILTER {
  const CLSID* clsID;
  LPCWSTR strName;
  DWORD dwMerit;
  UINT nPins;
  const AMOVIESETUP_PIN* lpPin;
};

// Enters the filter into the system's list through the mapper, or removes it. Null data gives S_FALSE.
HRESULT AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* pSetupData, IFilterMapper2* pMapper, BOOL bRegister);
