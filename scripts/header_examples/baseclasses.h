// What the examples in the headers of src/baseclasses take as given.
#pragma once
#include "baseclasses/filter.h"

struct IFoo : IUnknown {};
struct IMyFilter : IDispatch {};
extern const GUID CLSID_MyFilter, LIBID_My, IID_IFoo, IID_IMyFilter;
struct CMyFilter {
  static CUnknown* CALLBACK CreateInstance(LPUNKNOWN pUnkOuter, HRESULT* phr);
};
