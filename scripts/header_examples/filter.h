// What the examples in the headers of src/filter take as given.
#pragma once
#include "filter/mkv_filter.h"
#include "filter/output_pin_maker.h"
#include "filter/tolerance_trace.h"

extern CMkvFileRoot* root;
extern IPin* upstream;
extern CFontInstaller& fonts;
extern CVXMkvDmx& filter;
extern CCritSec& filterLock;
extern OutputPinList& list;
extern OutputPins& pins;
extern const Positions& positions;
extern LONGLONG* current;
extern const Patience& patience;
extern HRESULT result;
